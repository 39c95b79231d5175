#!/usr/bin/env bash
# detector_test.sh [--long | --arm]: the accelerated marker detection beside the library's own: every marker, every
# rejected candidate and their order have to be the same bit for bit. Each check prints "ok NAME", "not ok NAME" or
# "skip NAME: REASON". The tree release is built before; for --arm that of aarch64, too.
#
# What is compared: the built-in scene at twenty sizes, photos and videos in ../shared/testdata (or ZM_TESTDATA) where
# they are, and random pictures with random settings. Two minutes; --long takes all frames and a million random
# pictures, which takes about an hour; --arm takes a small part, under emulation.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
native=${ZM_BUILD:-$root/build/release}
programs=$native/tests/detector
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
subject="marker detection"
# shellcheck source=tests/support/verdict.sh
source "$root/tests/support/verdict.sh"

small=30000 large=40 large_markers=1 frames=1 every=10 unit=20000 emulate=() processor=$(uname -m)
case ${1:-} in
"") ;;
--long) small=1000000 large=2000 frames=5 every=1 unit=1000000 ;;
--arm)
    small=2000 large=4 large_markers=0 frames=1 every=100 unit=300 processor=aarch64
    programs=${ZM_ARM_BUILD:-$root/build/aarch64}/tests/detector
    emulate=(qemu-aarch64-static -L "$("$root/tools/arm64/ensure-sysroot.sh")") || exit
    ;;
*)
    echo "usage: detector_test.sh [--long | --arm]" >&2
    exit 2
    ;;
esac

# instructions LIBRARY PICTURE WIDTH HEIGHT: those of one detection, as the second one in a program adds them.
instructions() {
    local repeat counted=()
    for repeat in 1 2; do
        echo "$2 $3 $4 1 $repeat" | qemu-aarch64 -L "${emulate[2]}" -plugin "$work/count.so" \
            "$programs/detection_worker_$1" 2>"$work/counted" >/dev/null || return
        counted+=("$(sed -n 's/^instructions: //p' "$work/counted")")
    done
    echo $((counted[1] - counted[0]))
}

# On one thread, with noise 4 and 4 markers.
count_instructions() {
    local size stock accelerated
    if ! qemu-aarch64 --help 2>/dev/null | grep -q -e -plugin; then
        echo "skip $subject: instructions: there is no qemu-aarch64 that takes plugins (package qemu-user)"
        return
    fi
    cc -shared -fPIC -O2 -o "$work/count.so" "$root/tools/arm64/instruction_count.c" &&
        "$native/bench/detection_bench" --pictures "$work"
    verdict $? "instructions can be counted"
    for size in 1280x720 1920x1080 3840x2160; do
        stock=$(instructions stock "$work/$size.rgb" "${size%x*}" "${size#*x}")
        accelerated=$(instructions accelerated "$work/$size.rgb" "${size%x*}" "${size#*x}")
        [ "${accelerated:-0}" -gt 0 ] && [ $((100 * accelerated)) -le $((30 * stock)) ]
        verdict $? "at most 0.30 of the instructions on Arm at $size: $accelerated of $stock"
    done
}

"$root/tests/detector/accelerate_test.sh" || failures=$((failures + 1))

ZM_RANDOM_PICTURES=$unit "${emulate[@]}" "$programs/accelerator_test" >"$work/log" 2>&1 || {
    grep -v -e '       OK ' -e ' RUN ' "$work/log"
    false
}
verdict $? "thresholds and contours are the library's in $unit random pictures"

if ! [ -x "$programs/detector_dump_stock" ]; then
    echo "skip $subject: the library itself: this OpenCV is not accelerated, so there is nothing to compare"
    [ "$failures" = 0 ]
    exit
fi
for library in stock accelerated; do
    "${emulate[@]}" "$programs/detector_dump_$library" library >"$work/$library"
done
! grep -q "accelerated marker detection" "$work/stock" && grep -q "accelerated marker detection" "$work/accelerated"
verdict $? "each library tells which one it is"

# compare NAME MARKERS THREADS WORD...: both programs at once with the same words, and input where there is some, the
# accelerated one with THREADS threads. At least MARKERS markers and one candidate must be there to be compared.
compare() {
    local name=$1 markers=$2 threads=$3 input=/dev/null stock=0
    shift 3
    ! [ -e "$work/pictures" ] || input=$work/pictures
    "${emulate[@]}" "$programs/detector_dump_stock" "$@" 1 <"$input" >"$work/stock" &
    stock=$!
    if "${emulate[@]}" "$programs/detector_dump_accelerated" "$@" "$threads" <"$input" >"$work/accelerated" &&
        wait "$stock" && cmp "$work/stock" "$work/accelerated" &&
        awk -v wanted="$markers" '{ markers += $3; rejected += $5 } END { exit !(markers >= wanted && rejected > 0) }' \
            "$work/stock"; then
        verdict 0 "the same in $name ($(wc -l <"$work/stock") pictures, $processor)"
    else
        diff -a "$work/stock" "$work/accelerated" | head -n 6
        verdict 1 "the same in $name"
    fi
    rm -f "$work/pictures"
}

compare "random small pictures" 10 2 random 0 "$small" 70
compare "random large pictures" "$large_markers" 3 random 10000000 "$large" 1200
"$native/tests/detector/scene_pgm" "$frames" >"$work/pictures"
compare "the built-in scene at twenty sizes" 10 2 pictures

data=${ZM_TESTDATA:-$root/../shared/testdata}
for folder in images chessboard negatives video; do
    if ! [ -d "$data/$folder" ]; then
        echo "skip $subject: $folder: there is no $data/$folder"
        continue
    fi
    for file in "$data/$folder"/*; do
        ffmpeg -v quiet -i "$file" -vf "select=not(mod(n\,$every))" -vsync passthrough -pix_fmt gray -f image2pipe -c:v pgm - \
            </dev/null >>"$work/pictures"
    done
    compare "$folder" 0 2 pictures
done
[ "${1:-}" != --arm ] || count_instructions
[ "$failures" = 0 ]
