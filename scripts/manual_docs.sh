#!/bin/sh
# Writes docs/manual/ from the manual pages that the build makes of reference/ and schema/.
set -eu
cd "$(dirname "$0")/.."
build=${1:-build}
cmake --build "$build" --target reference >/dev/null
mkdir -p docs/manual
for page in vigil vigil-json vigil-lab vigil-ouidb; do
    mandoc -Ios=vigil -Tmarkdown "$build/reference/$page.1" >"docs/manual/$page.md"
done
