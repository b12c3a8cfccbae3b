#!/bin/sh
# Would the tests notice? Plants small faults blindly in the code that ships, one at a time, in a copy of the tree, and
# runs the tests on each.
#   scripts/mutants.sh N SEED     the same seed plants the same faults in the same tree
# A fault counts when it compiles and changes what is compiled. Prints one line for each; those that survive, which may
# still change nothing that can be seen, are for a person to judge. Fails when fewer than 92 of 100 are noticed. It is
# for releases: half a minute a fault on two cores.
set -eu
cd "$(dirname "$0")/.."
wanted=${1:-} seed=${2:-}
case $wanted$seed in
'' | *[!0-9]*)
    echo "usage: scripts/mutants.sh N SEED" >&2
    exit 2
    ;;
esac

tree=$(mktemp -d "${TMPDIR:-/tmp}/vigil-mutants.XXXXXX")
trap 'rm -rf "$tree"' EXIT
trap 'exit 130' INT TERM
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$tree" --
cd "$tree"
export CCACHE_BASEDIR="$tree"
jobs=$(nproc)

build() {
    cmake --build build -j "$jobs" >build/log 2>&1
}
compiled() {
    find build/CMakeFiles/vigil_core.dir build/CMakeFiles/vigil.dir -name '*.o' | LC_ALL=C sort | xargs cat | cksum
}
# The unit and program tests first: most faults are noticed by them. What fails is in build/failed.
tests_pass() {
    for others in -E -R; do
        ctest --test-dir build -j "$jobs" --stop-on-failure --timeout 300 $others '^(Lab.*|[A-Za-z]*)$' >build/run 2>&1 || {
            sed -n 's/^[0-9/ ]* Test *#[0-9]*: \([A-Za-z0-9_.]*\).*\*\*\*.*/\1/p' build/run | head -n 1 >build/failed
            return 1
        }
    done
}

start=$(date +%s)
cmake --preset release >/dev/null
build && tests_pass || {
    tail -n 20 build/log
    cat build/failed 2>/dev/null
    echo "the tests do not pass without a fault" >&2
    exit 1
}
touch common/arguments.h
started=$(date +%s)
build
tests_pass
each=$(($(date +%s) - started + 1))
echo "building and running the tests took $((started - start)) s; $wanted faults may take up to $((wanted * each / 60 + 1)) minutes"

clean=$(compiled)
planted=0 noticed=0
find base wire link common reports cli -name '*.cpp' -o -name '*.h' | LC_ALL=C sort |
    xargs awk -v seed="$seed" -f scripts/mutants.awk | LC_ALL=C sort -n | cut -f 2- >build/faults
while [ "$planted" -lt "$wanted" ] && IFS='	' read -r file number line <&3; do
    cp "$file" build/whole
    LINE=$line awk -v number="$number" 'NR == number { print ENVIRON["LINE"]; next } { print }' build/whole >"$file"
    if build && [ "$(compiled)" != "$clean" ]; then
        planted=$((planted + 1))
        if tests_pass; then
            printf 'SURVIVES %s:%s\n  - %s\n  + %s\n' "$file" "$number" "$(sed -n "${number}p" build/whole)" "$line"
        else
            noticed=$((noticed + 1))
            printf 'noticed  %s:%s by %s: %s\n' "$file" "$number" "$(cat build/failed)" "$(printf '%s' "$line" | sed 's/^ *//')"
        fi
    fi
    cp build/whole "$file"
done 3<build/faults
echo "$planted faults, $noticed noticed, $((planted - noticed)) survived (seed $seed)"
[ "$((noticed * 100))" -ge "$((planted * 92))" ]
