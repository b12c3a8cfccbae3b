#!/usr/bin/env bash
# What one exchange costs beside a bare C program that makes the same system calls.
. "$(dirname "$0")/common.sh"

start_daemon
floor="$work/floor $socket 64"
if ! cmp -s <("$vigil" obstopo stat) <($floor); then
  echo "the two sides print different answers" >&2
  exit 1
fi
pair --pairs "${1:-300}" --goal "user+sys 1.15, faults 1.4" --label "forwarding verb / bare exchange" \
  "$vigil obstopo stat" "$floor"

instructions() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 >/dev/null | awk '/Collected/ {print $4}'
}
if command -v valgrind >/dev/null; then
  a=$(instructions "$vigil" obstopo stat)
  b=$(instructions $floor)
  awk -v a="$a" -v b="$b" \
    'BEGIN {printf "%-44s %d / %d = %.3f  (asked: 1.8)\n", "the same in user instructions", a, b, a / b}'
fi
