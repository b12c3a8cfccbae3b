#!/bin/sh
# Everything that must hold: the include rules, the formatting, the analyser, and all tests of the release build
# and of the build with sanitizers. Fails when anything fails; the last output is the tests' summary.
#   scripts/test.sh             minutes
#   scripts/test.sh --analyse   also the path-sensitive checks of the analyser, which take ten times as long
#   scripts/test.sh --coverage  only this: how much of the product code the tests run; fails below 97 % of its lines
#                               and 88 % of its branches
set -eu
checks=-clang-analyzer-*
coverage=
case ${1:-} in
--analyse) checks= ;;
--coverage) coverage=1 ;;
'') ;;
*)
    echo "usage: scripts/test.sh [--analyse|--coverage]" >&2
    exit 2
    ;;
esac
cd "$(dirname "$0")/.."
scripts/setup.sh ${coverage:+--coverage}

jobs=$(nproc)
# What no test can run stands in the code and is counted all the same.
if [ -n "$coverage" ]; then
    tree=build/coverage
    cmake -B "$tree" -DCMAKE_BUILD_TYPE=Debug -DVIGIL_COVERAGE=ON >/dev/null
    cmake --build "$tree" -j "$jobs" >/dev/null
    find "$tree" -name '*.gcda' -delete
    # Whether they pass is asked of the other builds: here a run's limit on file sizes stops its counts too.
    ctest --test-dir "$tree" -j "$jobs" --quiet || true
    exec gcovr -j "$jobs" --root . --object-directory "$tree" --filter '(base|wire|link|common|reports|cli)/' \
        --exclude-throw-branches --print-summary --fail-under-line 97 --fail-under-branch 88
fi
failed=
fail() {
    failed="$failed
  $1"
}

echo "== building"
for tree in release sanitize; do
    cmake --preset $tree -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
    cmake --build --preset $tree -j "$jobs" || {
        echo "the $tree build failed" >&2
        exit 1
    }
done

echo "== protections of the built files"
scripts/check_hardening.sh build/vigil build/vigil-json || fail "protections of the built files"

echo "== include rules"
scripts/check_includes.sh || fail "include rules"

# Only the linker sees that two files give one name two meanings, and only when it is shown the types.
if grep -q '^CMAKE_CXX_COMPILER:.*clang' build/CMakeCache.txt; then
    echo "== one definition a name: skipped, only g++ looks for it"
else
    echo "== one definition a name"
    cmake -B build/odr -DCMAKE_BUILD_TYPE=None -DBUILD_TESTING=OFF \
        -DCMAKE_CXX_FLAGS="-flto=auto -Werror=odr -Werror=lto-type-mismatch" >/dev/null
    cmake --build build/odr -j "$jobs" --target vigil vigil-lab >/dev/null || fail "one definition a name"
fi

sources() {
    find base wire link common reports cli lab tools tests bench -name '*.h' -o -name '*.cpp' 2>/dev/null
}
# The analyser takes minutes; what has not changed since it passed is not looked at again. Its clang does not know
# that locals may be zero from the start.
analyse() {
    stamps=build/analysed
    mkdir -p "$stamps"
    headers=${checks:+quick-}$(sources | grep '\.h$' | LC_ALL=C sort | xargs cat .clang-tidy | cksum | cut -d ' ' -f 1)
    find base link common reports cli lab tools -name '*.cpp' 2>/dev/null | while read -r file; do
        stamp=$stamps/$headers-$(cksum <"$file" | tr ' ' '-')
        [ -e "$stamp" ] || printf '%s %s\n' "$file" "$stamp"
    done | xargs -r -P "$jobs" -L 1 sh -c \
        'clang-tidy --quiet --checks="$0" --extra-arg=-ftrivial-auto-var-init=uninitialized -p build "$1" 2>/dev/null && : >"$2"' "$checks"
}

# What these tools accept changes from version to version.
written_for=14
skipped=
usable() {
    found=$("$1" --version 2>/dev/null | sed -n 's/.*version \([0-9]*\).*/\1/p' | head -n 1)
    [ "$found" = "$written_for" ] && return 0
    skipped="$skipped
  $1: ${found:-no} version here, the tree is written for version $written_for (scripts/setup.sh --dev)"
    return 1
}
if usable clang-format; then
    echo "== clang-format"
    sources | xargs clang-format --dry-run -Werror || fail "clang-format"
fi
if usable clang-tidy; then
    echo "== clang-tidy"
    analyse || fail "clang-tidy"
fi
[ -z "$skipped" ] || echo "== skipped:$skipped"

# A browser is much to install for one test.
browser_packages="lighttpd libjs-dygraphs chromium chromium-driver python3-selenium fonts-droid-fallback"
# shellcheck disable=SC2086 # words
if [ "$(dpkg-query -W -f '${db:Status-Status}\n' $browser_packages 2>/dev/null | grep -cx installed)" -eq "$(echo $browser_packages | wc -w)" ]; then
    echo "== the page of examples/web in a browser"
    scripts/test_web.sh || fail "the page of examples/web"
else
    echo "== skipped: the page of examples/web, which needs $browser_packages (scripts/setup.sh --web-test)"
fi

echo "== a little of what docs/reliability.md promises"
scripts/torture.sh short || fail "scripts/torture.sh short"

for tree in release sanitize; do
    echo "== tests, $tree build"
    ctest --preset $tree -j "$jobs" || fail "tests of the $tree build"
done
if [ -n "$failed" ]; then
    echo "FAILED:$failed" >&2
    exit 1
fi
