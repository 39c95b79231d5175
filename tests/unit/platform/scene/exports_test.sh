#!/bin/sh
# exports_test.sh NM LIBRARY: the host camera's library has an OpenCV of its own inside and shows
# nothing of it, so that the application's OpenCV and this one never meet.
set -eu
symbols=$("$1" --dynamic --defined-only "$2")
names=$(printf '%s\n' "$symbols" | cut -d' ' -f3-)
if ! printf '%s\n' "$names" | grep -q '^_ZNK7hostcam5Scene6render'; then
    echo "hostcam::Scene::render is not exported: the list of symbols is not what this test expects" >&2
    exit 1
fi
# Mangled names: those of namespace cv, with their tables and static variables, and OpenCV's C names.
# Functions of ours that merely have OpenCV's types as arguments do not begin so.
if printf '%s\n' "$names" | grep -E '^_Z(T[ISTV]|GV|GR)?Z?N?[VKRO]*2cv|^_?cv[A-Z]|opencv' >&2; then
    echo "these symbols of OpenCV are exported" >&2
    exit 1
fi
