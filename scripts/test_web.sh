#!/bin/sh
# Tries the page of examples/web in a browser: against the lab appliance and against daemons that are hostile, empty,
# broken and slow. Installs what is missing.
#   scripts/test_web.sh [FOLDER]    pictures of the page go to the folder; without one they are not kept
set -eu
[ $# -le 1 ] || {
    echo "usage: scripts/test_web.sh [FOLDER]" >&2
    exit 2
}
pictures=
[ $# -eq 0 ] || {
    mkdir -p "$1"
    pictures=$(cd "$1" && pwd)
}
cd "$(dirname "$0")/.."
scripts/setup.sh --web-test
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target vigil-json vigil-lab dict_full >/dev/null
exec /usr/bin/python3 -B tests/web/page_test.py --build build ${pictures:+--pictures "$pictures"}
