#!/bin/sh
# What docs/reliability.md promises, tried out. Each part prints one line of figures, and what fell short; fails when
# anything did.
#   scripts/torture.sh PART [OPTION...]   allocations, calls, replies, kills, endless, output, or all of them
#   scripts/torture.sh short              what fits into a test run: a little of each part, in two minutes
# Options: --build TREE (build), --count N (fewer runs, or more), --seed N, --jobs N. Needs a kernel that
# lets the caller have namespaces of its own (root, or unprivileged ones): segments are counted, and limits set, where
# nobody else is.
set -eu
cd "$(dirname "$0")/.."
parts="allocations calls replies kills endless output"
part=${1:-}
[ "$#" -eq 0 ] || shift
short=
case " $parts " in
*" $part "*) parts=$part ;;
*)
    case $part in
    all) ;;
    short) short=--short ;;
    *)
        echo "usage: scripts/torture.sh PART [OPTION...]; PART is one of: $parts all short" >&2
        exit 2
        ;;
    esac
    ;;
esac
scripts/setup.sh --torture

if unshare --ipc --mount true 2>/dev/null; then
    apart="unshare --ipc --mount"
elif unshare --user --map-root-user --ipc --mount true 2>/dev/null; then
    apart="unshare --user --map-root-user --ipc --mount"
else
    echo "torture.sh: this machine gives no namespaces (unshare --ipc --mount): nothing was tried" >&2
    [ "$short" ] && exit 0 || exit 2
fi
failed=
for part in $parts; do
    $apart python3 tests/torture/"$part".py $short "$@" || failed="$failed $part"
done
[ -z "$failed" ] || {
    echo "fell short:$failed" >&2
    exit 1
}
