# Sourced by the scripts beside it: builds both sides and prepares a private root. Needs scripts/setup.sh --bench.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
top=$(dirname "$here")
build=${VIGIL_BUILD:-$top/build}
vigil=$build/vigil
work=$(mktemp -d /tmp/vigil.XXXXXX)
export VIGIL_ROOT=$work/root TZ=CST-8
daemon=
cleanup() {
  stop_daemon
  rm -rf "$work"
}
trap cleanup EXIT

stop_daemon() {
  if [ -n "$daemon" ]; then
    kill "$daemon" 2>/dev/null || true
    wait "$daemon" 2>/dev/null || true
    daemon=
  fi
}

# start_daemon [RECORDS [RECORD_SIZE]]: one replay daemon at the management socket
socket=$VIGIL_ROOT/usr/ramdisk/var/mgmt.d
start_daemon() {
  stop_daemon
  rm -f "$socket"
  "$work/replay" "$socket" "$@" &
  daemon=$!
  for _ in $(seq 100); do
    [ -S "$socket" ] && return
    sleep 0.02
  done
  echo "the replay daemon did not start" >&2
  exit 1
}

pair() { python3 "$here/pair.py" "$@"; }

mkdir -p "$VIGIL_ROOT/usr/ramdisk/var" "$VIGIL_ROOT/usr/ramdisk/bin" "$VIGIL_ROOT/usr/ramdisk/etc" \
  "$VIGIL_ROOT/var/tmp" "$VIGIL_ROOT/conf"
: > "$VIGIL_ROOT/conf/kestrel.conf"
gcc -O2 -o "$work/floor" "$here/exchange_floor.c"
gcc -O2 -o "$work/replay" "$here/replay_daemon.c"
gcc -O2 -shared -fPIC -o "$VIGIL_ROOT/usr/ramdisk/bin/dict.so" "$here/empty_dict.c"
cmake -S "$top" -B "$build" >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log"; exit 1; }
cmake --build "$build" -j2 --target vigil >"$work/make.log" 2>&1 || { cat "$work/make.log"; exit 1; }
