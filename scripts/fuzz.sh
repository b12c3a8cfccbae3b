#!/bin/sh
# Fuzzing in process: each door of tests/fuzz (what a daemon, a file or a user brings) under the sanitizers, with
# allocations that fail, and with a segment that changes while it is read. Prints one line of figures a door and form
# of the output; fails when anything is found, which is left as build-fuzz/found-*.
#   scripts/fuzz.sh [DOOR [SECONDS]]    a door (all), so many seconds for each form (60)
set -eu
cd "$(dirname "$0")/.."
doors=$(ls tests/corpus)
only=${1:-all}
seconds=${2:-60}
case " all $(echo "$doors" | tr '\n' ' ')" in
*" $only "*) ;;
*)
    echo "usage: scripts/fuzz.sh [DOOR [SECONDS]]; DOOR is one of: all $(echo "$doors" | tr '\n' ' ')" >&2
    exit 2
    ;;
esac
[ "$only" = all ] || doors=$only
scripts/setup.sh --fuzz

tree=build-fuzz
cmake -B "$tree" -DCMAKE_BUILD_TYPE=Debug -DVIGIL_FUZZ=ON -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$tree" -j "$(nproc)" --target fuzz_plain fuzz_json >/dev/null
failed=
for door in $doors; do
    for form in plain json; do
        grown=$tree/corpus-$form/$door
        log=$tree/$door-$form.log
        mkdir -p "$grown"
        outcome="nothing found"
        VIGIL_DOOR=$door "$tree/tests/fuzz/fuzz_$form" -max_total_time="$seconds" -max_len=2500 -timeout=25 -close_fd_mask=1 \
            -print_final_stats=1 -artifact_prefix="$tree/found-$door-$form-" "$grown" "tests/corpus/$door" >"$log" 2>&1 || {
            outcome="FELL SHORT: $log"
            failed=1
        }
        awk -v what="$door, $form" -v outcome="$outcome" '
            / cov: / { for (i = 1; i < NF; i++) if ($i == "cov:") edges = $(i + 1) }
            /number_of_executed_units/ { runs = $2 }
            END { printf "%s: %d runs, %d edges, %s\n", what, runs, edges, outcome }' "$log"
    done
done
[ -z "$failed" ]
