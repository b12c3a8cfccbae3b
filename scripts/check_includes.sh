#!/bin/sh
# Each folder includes only folders below it; no report includes another report's folder; the lab's rooms stand in an
# order of their own; nothing includes tests or benchmarks. Prints every line that breaks this and fails.
set -eu
cd "$(dirname "$0")/.."

# folder: what it may include
rules="
base: base
wire: base wire
link: base wire link
common: base wire link common
cli: base wire link common reports cli
lab/dictionary: base wire lab/dictionary
lab/world: lab/dictionary lab/world
lab/packets: base lab/dictionary lab/world lab/packets
lab/views: base lab/dictionary lab/world lab/views
lab/requests: base wire link common lab/dictionary lab/world lab/packets lab/views lab/requests
lab/recording: base wire link lab/dictionary lab/requests lab/recording
lab/daemon: base wire link lab
tools: base wire link common tools
"

# The lines of a folder's sources that include a project file: file:line:target
includes_of() {
    find "$1" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.inc' \) -exec \
        grep -HnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' {} + |
        sed -E 's/^([^:]*:[0-9]+):[^"]*"([^"]*)".*/\1:\2/'
}

# Reads file:line:target; prints those whose target lies outside the folders given.
outside() {
    folder=$1
    shift
    while IFS=: read -r file line target; do
        for allowed in "$@"; do
            case $target in "$allowed"/*) continue 2 ;; esac
        done
        echo "$file:$line: $folder must not include \"$target\""
    done
}

faults=$(
    echo "$rules" | while IFS=: read -r folder allowed; do
        # shellcheck disable=SC2086 # a list of words
        [ -z "$folder" ] || [ ! -d "$folder" ] || includes_of "$folder" | outside "$folder" $allowed
    done
    for folder in reports/*/; do
        folder=${folder%/}
        [ ! -d "$folder" ] || includes_of "$folder" | outside "$folder" base wire link common "$folder"
    done
)
[ -z "$faults" ] || {
    echo "$faults"
    exit 1
}
