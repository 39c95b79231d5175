# shellcheck shell=bash
# The application's parameters as ./run sets and shows them. It is sourced.

mapfile -t parameter_names <"${root:?tools/lib.sh comes first}/package/parameters.txt"
readonly parameter_names

declare -gA parameter_change=() # what ./run will set before the start
declare -gA parameter=()        # what is in force
declare -gA camera=()           # what the host camera says of itself

is_parameter() { # NAME
    local name
    for name in "${parameter_names[@]}"; do
        [ "$name" != "$1" ] || return 0
    done
    return 1
}

# analysis_size: "WIDTH HEIGHT" of the picture that the application will choose from what the host camera
# offers, as `camera` tells it: the largest of the sensor's aspect class, turned as the camera is.
analysis_size() {
    awk -v resolutions="${camera[resolutions]}" -v aspect="${camera[aspect-ratio]}" \
        -v rotation="${camera[rotation]}" 'BEGIN {
        low["16:9"] = 1.7; high["16:9"] = 1.8
        low["4:3"] = 1.2; high["4:3"] = 1.4
        low["1:1"] = 0.9; high["1:1"] = 1.1
        count = split(resolutions, item, ",")
        for (i = 1; i <= count; ++i) {
            split(item[i], size, "x")
            ratio = size[1] / size[2]
            if (ratio > low[aspect] && ratio < high[aspect] && size[1] * size[2] > width * height) {
                width = size[1]; height = size[2]
            }
        }
        if (rotation == 90 || rotation == 270) print height + 0, width + 0
        else print width + 0, height + 0
    }'
}

# demonstration: adds to the changes the settings that ./run starts with in a fresh state. Area 1 is the
# middle of the analysis picture. What --set has asked for holds.
demonstration() {
    local size width height left right top bottom name
    size=$(analysis_size)
    width=${size% *} height=${size#* }
    left=$((width / 4)) right=$((width * 3 / 4)) top=$((height / 4)) bottom=$((height * 3 / 4))
    local -A settings=(
        [EulaAccepted]=true
        [IsRequirePresent]=true [MarkersSeconds]=3
        [SelectedDictionary]=5x5 [DisplayNonAOI]=true
        [DetectionOverlaysOn]=true [SelectedDetectionOverlay]=${camera[viewer]}
        [Detection10x]=$left [Detection10y]=$top [Detection11x]=$right [Detection11y]=$top
        [Detection12x]=$right [Detection12y]=$bottom [Detection13x]=$left [Detection13y]=$bottom)
    for name in "${!settings[@]}"; do
        [[ -v "parameter_change[$name]" ]] || parameter_change[$name]=${settings[$name]}
    done
}

points() { # PREFIX: the four corners of Detection1, Markers, ... as (x,y)
    local corner text=""
    for corner in 0 1 2 3; do
        text+=" (${parameter[$1${corner}x]},${parameter[$1${corner}y]})"
    done
    printf '%s' "${text# }"
}

# show_parameters: the 39 values in words.
show_parameters() {
    local eula="not accepted: no picture is analysed" alert search overlays="off" region
    [ "${parameter[EulaAccepted]}" != true ] || eula=accepted
    alert="when no marker was inside area 1 for more than"
    [ "${parameter[IsRequirePresent]}" != true ] || alert="while a marker stays inside area 1 for more than"
    search="the box around area 1"
    [ "${parameter[DisplayNonAOI]}" != true ] || search="the whole picture"
    [ "${parameter[DetectionOverlaysOn]}" != true ] ||
        overlays="on, for the stream ${parameter[SelectedDetectionOverlay]}"
    region=$(points Markers)
    [[ " $region " != *[\(,]0[,\)]* ]] || region="the built-in one, until a pattern is found"
    cat <<TEXT
  End-user agreement  $eula
  Alert               $alert ${parameter[MarkersSeconds]} s
  Dictionary          ${parameter[SelectedDictionary]}
  Searched            $search
  Overlays            $overlays
  Area 1              $(points Detection1)
  Area 2              $(points Detection2), not in use
  Area 3              $(points Detection3), not in use
  Marker region       $region
TEXT
}
