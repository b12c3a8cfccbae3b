#!/bin/sh
# Makes the Debian packages of the last commit in out/: vigil and vigil-lab for amd64, and crosswise for arm64.
#   scripts/package.sh                   both
#   scripts/package.sh --arch amd64      one (needs no root; the other is made in a bare system, see chroots.sh)
#   scripts/package.sh --key HEX         with this key of the vendor database instead of the one for development
#   scripts/package.sh --check           also builds again elsewhere and later, which must give the same bytes; runs
#                                        lintian; installs into a bare system, asks the lab, purges. Needs root
set -eu
cd "$(dirname "$0")/.."
. scripts/chroots.sh

usage() {
    sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2
    exit 2
}
give_up() {
    echo "package.sh: $*" >&2
    exit 1
}

architectures="amd64 arm64"
check=
while [ $# -gt 0 ]; do
    case $1 in
    --arch)
        architectures=${2:-}
        case $architectures in amd64 | arm64) ;; *) usage ;; esac
        shift
        ;;
    --key)
        printf %s "${2:-}" | grep -qxE '[0-9a-fA-F]{32}' || give_up "a key has 32 hexadecimal digits"
        VIGIL_OUI_KEY=$2
        export VIGIL_OUI_KEY
        shift
        ;;
    --check) check=1 ;;
    *) usage ;;
    esac
    shift
done
[ "$(dpkg --print-architecture)" = amd64 ] || give_up "packages are made on an amd64 machine"

version=$(head -n 1 VERSION)
commit=$(git rev-parse HEAD) # whatever is committed meanwhile
out=$PWD/out
work=$(mktemp -d "${TMPDIR:-/tmp}/vigil-package.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The committed tree in a new folder.
stage() {
    mkdir -p "$1"
    git archive "$commit" | tar -x -C "$1"
    "$1/scripts/debian_changelog.py" --check || give_up "scripts/debian_changelog.py was not run"
}

# build ARCHITECTURE FOLDER: the packages come to lie in the folder.
build() {
    stage "$2/vigil-$version"
    echo "== building for $1"
    if [ "$1" = amd64 ]; then
        (cd "$2/vigil-$version" && dpkg-buildpackage -b -us -uc)
    else
        in_chroot cross "$2" env DEB_BUILD_OPTIONS=nocheck \
            sh -c "cd vigil-$version && dpkg-buildpackage -b -us -uc -a$1 -Pcross,nocheck"
    fi >"$2/log" 2>&1 || {
        tail -n 40 "$2/log" >&2
        give_up "the build failed"
    }
    ! grep -nE '[0-9]: warning:' "$2/log" >&2 || give_up "the build warns"
}

# The packages of an architecture.
packages_of() {
    echo "vigil_${version}_$1.deb vigil-lab_${version}_$1.deb"
}

check_same() {
    second=$work/again/some/where/else
    (
        umask 077
        unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER # nothing that was built before
        TZ=Asia/Kathmandu LC_ALL=C build "$1" "$second"
    )
    for package in $(packages_of "$1"); do
        cmp "$out/$package" "$second/$package" || give_up "$package differs from build to build"
    done
    rm -rf "$work/again"
    echo "the same bytes in another folder, later: $(packages_of "$1")"
}

check_lintian() {
    for package in $(packages_of "$1"); do
        lintian --fail-on error,warning --allow-root "$out/$package" || give_up "lintian: $package"
    done
    echo "lintian has neither errors nor warnings: $(packages_of "$1")"
}

key_kind() {
    case $(printf %s "${VIGIL_OUI_KEY:-6b65737472656c2d6465762d6b657931}" | tr A-F a-f) in
    6b65737472656c2d6465762d6b657931) echo development ;;
    *) echo own ;;
    esac
}

check_description() {
    case $(key_kind) in
    development) said="has the key for development" ;;
    *) said="has a key of its operator" ;;
    esac
    dpkg-deb -f "$out/vigil_${version}_$1.deb" Description | tr -s '\n ' ' ' | grep -q "$said" ||
        give_up "the description of vigil does not say that it $said"
}

check_installed() {
    make_chroot bare bookworm amd64 libpcap0.8 || exit 1
    mkdir "$work/installed"
    for package in $(packages_of amd64); do
        cp "$out/$package" "$work/installed"
    done
    cp scripts/installed.sh "$work/installed"
    in_chroot bare "$work/installed" sh installed.sh "$version" "$(key_kind)" || give_up "the installed packages fail"
}

mkdir -p "$out"
case $architectures in
*arm64*) make_chroot cross bookworm amd64,arm64 "$cross_packages" || exit 1 ;;
esac
for architecture in $architectures; do
    build "$architecture" "$work/$architecture"
    for package in $(packages_of "$architecture"); do
        cp "$work/$architecture/$package" "$out/"
    done
    rm -rf "${work:?}/$architecture"
    [ -z "$check" ] || {
        check_description "$architecture"
        check_lintian "$architecture"
        check_same "$architecture"
    }
done
case $check$architectures in
1*amd64*) check_installed ;;
esac
(cd "$out" && for architecture in $architectures; do
    # shellcheck disable=SC2046 # words
    ls -l $(packages_of "$architecture")
done)
