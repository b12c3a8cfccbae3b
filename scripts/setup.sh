#!/bin/sh
# Installs what building and testing need and this machine lacks. Looks first; the package manager is touched
# only for what is missing.
#   scripts/setup.sh           to build, test and run the demo
#   scripts/setup.sh --dev     also what only developers need
#   scripts/setup.sh --fleet   also what scripts/demo.sh fleet needs
#   scripts/setup.sh --web     also what the page in examples/web needs
#   scripts/setup.sh --web-test   also what its test needs: a browser and what drives it
#   scripts/setup.sh --live    also the programs that talk in scripts/demo.sh live
#   scripts/setup.sh --coverage   also what counts the lines that are run
#   scripts/setup.sh --torture   also what scripts/torture.sh needs
#   scripts/setup.sh --fuzz    also what scripts/fuzz.sh needs
#   scripts/setup.sh --bench   also what the benchmarks and their peers need
#   scripts/setup.sh --package  also what makes packages and bare systems
# With CXX=clang++ in the environment also that compiler.
set -eu

packages="g++ binutils cmake make libfmt-dev libgtest-dev nettle-dev libpcap-dev ieee-data python3 python3-jsonschema"
for option in "$@"; do
    case $option in
    --dev) packages="$packages clang-format clang-tidy mandoc zsh jq parallel sqlite3" ;;
    --fleet) packages="$packages parallel sqlite3" ;;
    --package) packages="$packages build-essential debhelper lintian mmdebstrap" ;;
    --coverage) packages="$packages gcovr" ;;
    --torture) packages="$packages strace" ;;
    --fuzz) packages="$packages clang libclang-rt-dev" ;;
    --bench) packages="$packages libbenchmark-dev nfdump mawk sqlite3 openssl valgrind" ;;
    --web) packages="$packages lighttpd libjs-dygraphs" ;;
    --web-test)
        packages="$packages lighttpd libjs-dygraphs chromium chromium-driver python3-selenium fonts-droid-fallback"
        ;;
    --live) packages="$packages iproute2 curl openssl" ;;
    *)
        echo "usage: scripts/setup.sh [--dev] [--fleet] [--web] [--web-test] [--live] [--coverage] [--torture] [--fuzz] [--bench] [--package]" >&2
        exit 2
        ;;
    esac
done

case ${CXX:-} in
*clang*) packages="$packages clang libclang-rt-dev" ;;
esac

missing=
for package in $packages; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

update="apt-get -o DPkg::Lock::Timeout=300 update"
install="env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends$missing"
if [ "$(id -u)" = 0 ]; then
    as_root=
elif sudo -n true 2>/dev/null; then
    as_root="sudo -n"
else
    echo "Packages are missing:$missing. As root, run:" >&2
    echo "$update && $install" >&2
    exit 2
fi
echo "Installing:$missing"
$as_root $update
$as_root $install
