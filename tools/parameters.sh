# shellcheck shell=bash
# The application's 39 parameters as ./run reads, sets and shows them. It is sourced. The host camera
# keeps them in <state>/parameters.conf, one root.Zerith_markers.NAME=value a line.

readonly parameter_prefix=root.Zerith_markers.

parameter_names=(DetectionOverlaysOn SelectedDetectionOverlay IsRequirePresent DisplayNonAOI EulaAccepted
    SelectedDictionary
    Detection{1,2,3}{0,1,2,3}{x,y}
    MarkersSeconds
    Markers{0,1,2,3}{x,y})

# What ./run will write before the start (name -> value), and what is in force (name -> value).
declare -A parameter_change=() parameter=()

is_parameter() { # NAME
    local name
    for name in "${parameter_names[@]}"; do
        [ "$name" != "$1" ] || return 0
    done
    return 1
}

# load_parameters FILE: fills `parameter`; what the file does not hold is "0", as from the factory.
load_parameters() {
    local line name
    for name in "${parameter_names[@]}"; do parameter[$name]=0; done
    [ -e "$1" ] || return 0
    while IFS= read -r line || [ -n "$line" ]; do
        [[ ${line,,} == "${parameter_prefix,,}"*=* ]] || continue
        name=${line:${#parameter_prefix}}
        name=${name%%=*}
        is_parameter "$name" && parameter[$name]=${line#*=}
    done <"$1"
}

# store_parameters FILE: puts `parameter_change` into the file, which is replaced in one step; all other
# lines stay as they are.
store_parameters() {
    local file=$1 new line name
    declare -A left=()
    for name in "${!parameter_change[@]}"; do left[$name]=1; done
    new=$(mktemp "$file.XXXXXX") || return 1
    {
        if [ -e "$file" ]; then
            while IFS= read -r line || [ -n "$line" ]; do
                name=""
                if [[ ${line,,} == "${parameter_prefix,,}"*=* ]]; then
                    name=${line:${#parameter_prefix}}
                    name=${name%%=*}
                fi
                if [ -z "$name" ] || ! [[ -v "parameter_change[$name]" ]]; then
                    printf '%s\n' "$line"
                elif [[ -v "left[$name]" ]]; then
                    printf '%s%s=%s\n' "$parameter_prefix" "$name" "${parameter_change[$name]}"
                    unset "left[$name]"
                fi
            done <"$file"
        fi
        for name in "${parameter_names[@]}"; do
            [[ -v "left[$name]" ]] || continue
            printf '%s%s=%s\n' "$parameter_prefix" "$name" "${parameter_change[$name]}"
        done
    } >"$new" && chmod 644 "$new" && sync "$new" && mv "$new" "$file" && return 0
    rm -f "$new"
    return 1
}

# demonstration WIDTH HEIGHT OVERLAY: the settings that ./run starts with in a fresh state. Area 1 is the
# middle of the analysis picture, which has the given size in pixels.
demonstration() {
    local left=$(($1 / 4)) right=$(($1 * 3 / 4)) top=$(($2 / 4)) bottom=$(($2 * 3 / 4))
    local -A settings=(
        [EulaAccepted]=true
        [IsRequirePresent]=true [MarkersSeconds]=3
        [SelectedDictionary]=5x5 [DisplayNonAOI]=true
        [DetectionOverlaysOn]=true [SelectedDetectionOverlay]=$3
        [Detection10x]=$left [Detection10y]=$top [Detection11x]=$right [Detection11y]=$top
        [Detection12x]=$right [Detection12y]=$bottom [Detection13x]=$left [Detection13y]=$bottom)
    local name
    for name in "${!settings[@]}"; do
        # What --set has asked for holds.
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
