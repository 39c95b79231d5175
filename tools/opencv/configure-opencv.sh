#!/usr/bin/env bash
# configure-opencv.sh SOURCE BUILD PREFIX PROCESSOR [CMAKE-ARGUMENT...]: configures a small static OpenCV.
#
# Six modules are all that marker detection and the chessboard search need. The Debian source has no
# 3rdparty/ folder, so everything that would use a bundled library is off, and configuring never
# asks the network. Plugins and OpenCL are off so that nothing is loaded at run time from outside.
# No LTO and no -march: measured at a few per cent, and they tie the archives to one compiler or CPU.
set -euo pipefail

source=$1 build=$2 prefix=$3 processor=$4
shift 4
off=(
    WITH_TBB WITH_OPENMP PARALLEL_ENABLE_PLUGINS WITH_IPP WITH_ITT WITH_OPENCL WITH_LAPACK WITH_EIGEN
    WITH_CAROTENE WITH_NDSRVP WITH_VA WITH_VA_INTEL WITH_DIRECTX WITH_PROTOBUF WITH_FLATBUFFERS
    WITH_ADE WITH_QUIRC WITH_1394 WITH_OBSENSOR WITH_FFMPEG WITH_GSTREAMER WITH_V4L WITH_GTK WITH_QT
    WITH_VTK WITH_OPENGL WITH_JPEG WITH_PNG WITH_TIFF WITH_WEBP WITH_OPENJPEG WITH_JASPER
    WITH_OPENEXR WITH_IMGCODEC_HDR WITH_IMGCODEC_SUNRASTER WITH_IMGCODEC_PXM WITH_IMGCODEC_PFM
    BUILD_SHARED_LIBS BUILD_ZLIB BUILD_TESTS BUILD_PERF_TESTS BUILD_EXAMPLES BUILD_DOCS
    BUILD_opencv_apps BUILD_JAVA BUILD_opencv_python2 BUILD_opencv_python3 BUILD_opencv_js
    BUILD_opencv_python_bindings_generator BUILD_PACKAGE OPENCV_GENERATE_PKGCONFIG
    OPENCV_GENERATE_SETUPVARS ENABLE_PRECOMPILED_HEADERS ENABLE_CCACHE
)
# On x86-64 any processor since 2009 will do, and newer ones are used at run time; likewise on 64-bit Arm.
# Elsewhere OpenCV's own choice stands.
cpu=()
case $processor in
x86_64) cpu=(-DCPU_BASELINE=SSE4_2 "-DCPU_DISPATCH=AVX2;AVX512_SKX") ;;
aarch64) cpu=(-DCPU_BASELINE=NEON -DCPU_DISPATCH=NEON_DOTPROD) ;;
esac
flags=()
for name in "${off[@]}"; do flags+=("-D$name=OFF"); done
cmake -S "$source" -B "$build" -G Ninja \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib \
    -DBUILD_LIST=core,imgproc,flann,features2d,calib3d,objdetect \
    "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$source=opencv -ffile-prefix-map=$build=opencv" \
    -DENABLE_PIC=ON -DWITH_PTHREADS_PF=ON \
    "${cpu[@]}" "${flags[@]}" "$@"
# What OpenCV tells of its build when it fails: folders and flags of this machine, which are nobody's business.
printf '%s\n' '"OpenCV, as Zerith Markers builds it\n"' >"$build/modules/core/version_string.inc"
