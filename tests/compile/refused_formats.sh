#!/bin/sh
# What must not compile does not: usage: refused_formats.sh COMPILER INCLUDE-DIRECTORY
set -eu
cd "$(dirname "$0")"
compiles() {
    "$1" -std=gnu++20 -fno-exceptions -funsigned-char -I "$2" -DREFUSED="$3" -fsyntax-only refused_formats.cpp 2>/dev/null
}
compiles "$1" "$2" 0 || {
    echo "what is right does not compile"
    exit 1
}
last=$(grep -oE 'REFUSED == [0-9]+' refused_formats.cpp | tail -1 | grep -oE '[0-9]+$')
status=0
for number in $(seq "$last"); do
    if compiles "$1" "$2" "$number"; then
        echo "case $number compiles"
        status=1
    fi
done
exit $status
