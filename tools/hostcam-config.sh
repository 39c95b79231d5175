# shellcheck shell=bash
# The host camera's configuration file as ./run makes it. It is sourced.

# config_value FILE GROUP KEY DEFAULT: the value that the host camera reads.
config_value() {
    group=$2 key=$3 value=$4 awk '
        /^[ \t]*\[/ { inside = ($0 ~ "^[ \t]*\\[" ENVIRON["group"] "\\]"); next }
        inside && match($0, "^[ \t]*" ENVIRON["key"] "[ \t]*=") {
            value = substr($0, RLENGTH + 1); found = 1
        }
        END {
            if (!found) value = ENVIRON["value"]
            gsub(/^[ \t]+|[ \t\r]+$/, "", value); print value
        }' "$1"
}

# config_entry GROUP KEY VALUE: what sets a key at the end of a configuration: groups of the same name
# add up, and the last value of a key holds.
config_entry() {
    printf '\n[%s]\n%s=%s\n' "$1" "$2" "$3"
}

# analysis_size FILE: "WIDTH HEIGHT" of the picture that the application will choose: the largest
# resolution of the sensor's aspect class, turned as the camera is.
analysis_size() {
    local resolutions aspect rotation
    resolutions=$(config_value "$1" camera resolutions 1920x1080,1280x720,640x360)
    aspect=$(config_value "$1" camera aspect-ratio 16:9)
    rotation=$(config_value "$1" camera rotation 0)
    awk -v resolutions="$resolutions" -v aspect="$aspect" -v rotation="$rotation" 'BEGIN {
        low["16:9"] = 1.7; high["16:9"] = 1.8
        low["4:3"] = 1.2; high["4:3"] = 1.4
        low["1:1"] = 0.9; high["1:1"] = 1.1
        count = split(resolutions, item, /[ \t]*,[ \t]*/)
        for (i = 1; i <= count; ++i) {
            if (split(item[i], size, "x") != 2 || size[2] <= 0) continue
            ratio = size[1] / size[2]
            if (ratio > low[aspect] && ratio < high[aspect] && size[1] * size[2] > width * height) {
                width = size[1]; height = size[2]
            }
        }
        if (rotation == 90 || rotation == 270) print height + 0, width + 0
        else print width + 0, height + 0
    }'
}
