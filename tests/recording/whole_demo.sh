#!/bin/sh
# Every verb over the shipped capture, recorded below one root, replays below another byte for byte, exit status
# included. Usage: whole_demo.sh BUILD-DIRECTORY SOURCE-DIRECTORY
set -eu
build=$1
cd "$2"
top=$(mktemp -d /tmp/vigil-demo.XXXXXX)
lab=
finish() {
    trap - EXIT INT TERM
    [ -z "$lab" ] || kill "$lab" 2>/dev/null || true
    rm -rf "$top"
}
trap finish EXIT
trap 'exit 1' INT TERM

# All that vigil prints goes into one file too. Ages are counted from its clock: that stands still.
mkdir "$top/bin"
ln -s "$build/tests/faults.so" "$top/faults.so" # LD_PRELOAD is divided at blanks
cat >"$top/bin/vigil" <<WRAPPER
#!/bin/sh
status=0
LD_PRELOAD=$top/faults.so FAULT_TIME=1800000000 "$build/vigil" "\$@" >"\$work/printed" 2>&1 || status=\$?
cat "\$work/printed"
{
    cat "\$work/printed"
    echo "status \$status"
} >>"\$work/all"
exit \$status
WRAPPER
chmod +x "$top/bin/vigil"
PATH=$top/bin:$PATH
ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0:detect_leaks=0
TZ=CST-8
export PATH ASAN_OPTIONS TZ

# start WORK-FOLDER ARGUMENTS: vigil-lab below a root of its own
start() {
    work=$top/$1
    VIGIL_ROOT=$work/root
    export work VIGIL_ROOT
    shift
    mkdir "$work"
    "$build/lab/vigil-lab" "$@" >"$work/ready" 2>"$work/errors" &
    lab=$!
    for _ in $(seq 600); do
        [ ! -s "$work/ready" ] || return 0
        kill -0 "$lab" 2>/dev/null || break
        sleep 0.1
    done
    cat "$work/errors"
    return 1
}
stop() {
    kill "$lab"
    status=0
    wait "$lab" || status=$?
    lab=
    [ "$status" -eq 0 ] || {
        cat "$work/errors"
        exit 1
    }
}
# In a shell of its own: the demo has names of its own. What it thinks of the output is checked elsewhere.
demo() {
    (. scripts/demo_verbs.sh) >"$work/log" 2>&1 || true
}

umask 0
start recorded --capture tests/data/sample.pcap --record "$top/recording"
demo
stop
[ "$(stat -c %a "$top/recording")" = 700 ] || {
    echo "the recording is not its owner's alone"
    exit 1
}
start another-root --replay "$top/recording"
demo
cat "$work/errors"
[ "$(vigil gadget stat || true)" = NOT_IN_RECORDING ] || {
    echo "a request that the recording lacks is not refused"
    exit 1
}
stop
[ "$(grep -ac ^status "$top/recorded/all")" -gt 150 ]
sed -i '$d' "$work/all" # of what was not in the recording
sed -i '$d' "$work/all"
cmp "$top/recorded/all" "$work/all"
