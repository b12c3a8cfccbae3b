#!/bin/sh
# The fleet of docs/fleet.md, small. Usage: check_fleet.sh BUILD-DIRECTORY SOURCE-DIRECTORY
set -eu
build=$1
cd "$2"
for program in parallel sqlite3; do
    command -v $program >/dev/null || {
        echo "skipped: no $program here (scripts/setup.sh --fleet)"
        exit 0
    }
done
work=$(mktemp -d /tmp/vigil.XXXXXX)
fleet=
fleet_size=4
finish() {
    trap - EXIT INT TERM
    for one in $fleet; do
        kill -KILL "$one" 2>/dev/null || true
        wait "$one" 2>/dev/null || true
    done
    rm -rf "$work"
}
give_up() {
    echo "$*" >&2
    exit 1
}
trap finish EXIT
trap 'exit 1' INT TERM
PATH=$build:$build/lab:$PATH
# GNU parallel keeps files of its own there
HOME=$work
export PATH HOME
. scripts/demo_fleet.sh
