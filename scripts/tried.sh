#!/bin/sh
# The two commands of the README, as they stand, on bare systems: Debian 12 and 13, with g++ and with clang++. As root
# (chroots.sh); each system is made anew, so that what setup.sh installs is all that is there. Hours for all of it.
#   scripts/tried.sh                       all four
#   scripts/tried.sh trixie clang++        one
#   scripts/tried.sh --short [...]         no sanitizers: builds the release tree and runs its tests
# Any warning of a compiler ends the build, so a system that passes has none.
set -eu
cd "$(dirname "$0")/.."
. scripts/chroots.sh

short=
[ "${1:-}" != --short ] || {
    short=1
    shift
}
case $#:${1:-bookworm}:${2:-g++} in
0:* | 2:bookworm:g++ | 2:trixie:g++ | 2:bookworm:clang++ | 2:trixie:clang++) ;;
*)
    echo "usage: scripts/tried.sh [--short] [bookworm|trixie g++|clang++]" >&2
    exit 2
    ;;
esac

work=$(mktemp -d "${TMPDIR:-/tmp}/vigil-tried.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
failed=

# The README says CXX=clang++ for the other compiler and nothing for g++.
try() {
    release=$1
    compiler=$2
    tree=$work/$release-$compiler
    mkdir -p "$tree"
    git archive HEAD | tar -x -C "$tree"
    rm -f "$chroots/tried.made"
    make_chroot tried "$release" amd64 "" || return 1
    setting=A=
    [ "$compiler" = g++ ] || setting=CXX=$compiler
    echo "== $release, $compiler"
    if [ -n "$short" ]; then
        commands="apt-get -q update && scripts/setup.sh && cmake --preset release && cmake --build --preset release -j $(nproc) &&
            ctest --preset release -j $(nproc)"
    else
        commands="scripts/demo.sh && scripts/test.sh"
    fi
    in_chroot tried "$tree" env "$setting" sh -c "$commands" >"$work/log" 2>&1 || {
        cp "$work/log" "$chroots/tried.log"
        tail -n 60 "$work/log"
        echo "$release, $compiler failed: all of it is in $chroots/tried.log"
        return 1
    }
    grep -E 'tests passed|Total Test time' "$work/log"
    ! grep -nE '[0-9]: warning:' "$work/log"
}

for release in bookworm trixie; do
    for compiler in g++ clang++; do
        case ${1:-$release}${2:-$compiler} in
        "$release$compiler") try "$release" "$compiler" || failed="$failed $release/$compiler" ;;
        esac
    done
done
[ -z "$failed" ] || {
    echo "FAILED:$failed"
    exit 1
}
