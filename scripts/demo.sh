#!/bin/sh
# A lab appliance below a private root, and vigil at work on it. Builds what is not built.
#   scripts/demo.sh         a short tour: each command line with its output
#   scripts/demo.sh shell   a shell in which vigil works against the appliance; leaving it ends the appliance
#   scripts/demo.sh web [PORT]   a page in the browser, served on this machine only; Ctrl-C ends page and appliance
#   scripts/demo.sh live [INTERFACE]   an appliance that watches this interface, which needs the right to capture, or
#                           without one the loopback of a network namespace of its own, in which programs talk
#   scripts/demo.sh all     every verb that is built; fails on an empty answer where there is something to show
#   scripts/demo.sh fleet [N]   N lab appliances asked at once (docs/fleet.md), 5 unless said otherwise
# LAB_ARGUMENTS replaces what the appliance is started with, for example "--sessions 100000 --seed 7" or
# "--capture FILE"; what that traffic has nothing of is then no failure. The root is made below TMPDIR, or /tmp.
set -eu
cd "$(dirname "$0")/.."
mode=${1:-tour}
case $mode in
tour | shell | all | fleet | web | live) ;;
*)
    echo "usage: scripts/demo.sh [shell|all|fleet [N]|web [PORT]|live [INTERFACE]]" >&2
    exit 2
    ;;
esac
fleet_size=${2:-5}
case $mode$fleet_size in
fleet[3-9] | fleet[1-9][0-9] | fleet[1-9][0-9][0-9]) ;;
fleet*)
    echo "demo.sh: a fleet has 3 to 999 appliances" >&2
    exit 2
    ;;
esac
interface=${2:-}
port=${2:-8080}
case $port in
*[!0-9]*) port=0 ;;
esac
if [ "$mode" = web ] && ! { [ "$port" -ge 1 ] && [ "$port" -le 65535 ]; } 2>/dev/null; then
    echo "demo.sh: a port is a number from 1 to 65535" >&2
    exit 2
fi

give_up() {
    echo "demo.sh: $*" >&2
    exit 1
}
work=
lab=
runner=
fleet=
web=
finish() {
    trap - EXIT HUP INT PIPE TERM
    for one in $fleet; do
        kill -KILL "$one" 2>/dev/null || true
        wait "$one" 2>/dev/null || true
    done
    if [ -n "$web" ]; then
        kill "$web" 2>/dev/null || true
        wait "$web" 2>/dev/null || true
    fi
    if [ -n "$lab" ]; then
        kill "$lab" 2>/dev/null || true
        wait "$lab" 2>/dev/null || true
    fi
    [ -z "$work" ] || rm -rf "$work"
}
trap finish EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 141' PIPE
trap 'exit 143' TERM

# A folder for everything that is made: sockets, files, and a library that vigil loads. Looked at before the long build.
temporary=${TMPDIR:-/tmp}
make_work_folder() {
    work=$(mktemp -d "$temporary/vigil.XXXXXX" 2>/dev/null) ||
        give_up "cannot make a folder in $temporary: set TMPDIR to a folder that can be written and is not full"
    work=$(cd "$work" && pwd)
    case $work in
    *[:\ ]*) give_up "$work has a ':' or a blank in it: set TMPDIR to a folder without" ;;
    esac
    [ "${#work}" -le 74 ] || give_up "the name $work is too long for sockets below it: set TMPDIR to a shorter one"
    dd if=/dev/zero of="$work/space" bs=1024 count=16384 2>/dev/null ||
        give_up "$temporary is full: the demo needs 16 MiB there; set TMPDIR to another folder"
    rm "$work/space"
    echo '#!/bin/sh' >"$work/program"
    chmod +x "$work/program"
    "$work/program" 2>/dev/null ||
        give_up "$temporary cannot hold a library (it is mounted noexec): set TMPDIR to another folder"
}

# One line that changes on a terminal, otherwise a line for every tenth part. What fails is shown whole.
build() {
    on_terminal=
    [ ! -t 1 ] || on_terminal=1
    echo "Building vigil and the lab appliance (minutes the first time, seconds later)"
    cmake --preset release >"$work/build" 2>&1 || {
        cat "$work/build" >&2
        give_up "cmake failed"
    }
    {
        cmake --build --preset release -j "$(nproc)" --target vigil vigil-json vigil-lab 2>&1 || echo failed >"$work/failed"
    } | tee "$work/build" | awk -v on_terminal="$on_terminal" '
        !/^\[ *[0-9]+%\]/ { next }
        on_terminal { printf "\r%-78.78s", $0 }
        !on_terminal && int(substr($0, 2, 3) / 10) > last { last = int(substr($0, 2, 3) / 10); print last * 10 "%" }
        { system("") } # what is printed is seen at once
        END { if (on_terminal) printf "\r%-78s\r", "" }'
    [ ! -e "$work/failed" ] || {
        grep -v '^\[' "$work/build" >&2
        give_up "the build failed"
    }
}

start_lab() {
    echo "Starting the lab appliance: ${LAB_ARGUMENTS:-the traffic of tests/data/sample.pcap}"
    mkdir "$work/root"
    VIGIL_ROOT=$work/root
    TZ=${TZ:-UTC0}
    PATH=$PWD/build:$PATH
    export VIGIL_ROOT TZ PATH
    # shellcheck disable=SC2086 # words
    $runner build/lab/vigil-lab ${LAB_ARGUMENTS:---capture tests/data/sample.pcap} >"$work/lab" 2>"$work/lab.errors" &
    lab=$!
    waited=0
    until [ -s "$work/lab" ]; do
        waited=$((waited + 1))
        if ! kill -0 "$lab" 2>/dev/null || [ "$waited" -gt 6000 ]; then
            cat "$work/lab.errors" >&2
            give_up "the lab appliance does not serve"
        fi
        sleep 0.1
    done
    [ -z "${LAB_ARGUMENTS:-}" ] || grep -v '^vigil-ouidb' "$work/lab.errors" >&2 || true
}

# Shows a command line and what it prints, cut to what fits a screen; the daemons' texts are GBK.
show() {
    printf '\n$ vigil'
    for word in "$@"; do
        case $word in
        *' '* | '') printf " '%s'" "$word" ;;
        *) printf ' %s' "$word" ;;
        esac
    done
    printf '\n'
    status=0
    vigil "$@" >"$work/shown" || status=$?
    cut -c 1-600 "$work/shown" | head -n 24 | iconv -c -f GBK -t UTF-8
    [ -z "$(tail -c 1 "$work/shown")" ] || echo
    [ "$status" -eq 0 ] || {
        echo "(status $status)"
        return 1
    }
}

tour() {
    echo "The modules of the analysis daemon:"
    echo
    echo '$ vigil'
    vigil | tr '\n' ' ' || true
    echo
    show sysboot
    echo && echo "Who talks to whom, what there is in the network:"
    show ipobj listflow sort=byte json=1 limit=3
    show hostinfo list count=5
    show assetsobj list limit=1
    show obstopogrp list
    echo && echo "Security:"
    show malclog list show_flowlog=1 show_level=1 limit=1
    show obssyslog list page=1 limit=1
    echo && echo "The state is the appliance's: an address is added to a table, and is there."
    show obsiptable addip tid=1 ip=192.0.2.7 info=demo
    show obsiptable getcmp tid=1
    echo && echo "The sessions, largest first:"
    show ipobj listbussflow sort=bytes limit=20 lang=en
    cat <<'END'

What to try next:
    scripts/demo.sh live                                      traffic as it comes
    scripts/demo.sh shell                                     a shell with this appliance, for commands of your own
    scripts/demo.sh web                                       the same as a page in the browser
    scripts/demo.sh all                                       every verb
    LAB_ARGUMENTS="--capture FILE" scripts/demo.sh shell      the same with your own traffic
END
}

# The web server runs as whoever runs this, and ends with it, as does the page when the appliance ends.
serve_page() {
    VIGIL_JSON=$PWD/build/vigil-json
    VIGIL_SCHEMA=$PWD/schema
    export VIGIL_JSON VIGIL_SCHEMA
    cat >"$work/lighttpd.conf" <<END
var.tree = "$PWD"
var.work = "$work"
var.port = $port
include "$PWD/examples/web/lighttpd.conf"
END
    "$(command -v lighttpd || echo /usr/sbin/lighttpd)" -D -f "$work/lighttpd.conf" >"$work/web" 2>&1 &
    web=$!
    sleep 1
    kill -0 "$web" 2>/dev/null || {
        cat "$work/web" "$work/lighttpd.log" >&2 2>/dev/null || true
        give_up "nothing can be served at port $port: name another one"
    }
    echo "The page: http://127.0.0.1:$port/    (Ctrl-C ends it)"
    while kill -0 "$web" 2>/dev/null && kill -0 "$lab" 2>/dev/null; do
        sleep 1
    done
    give_up "the appliance or the web server has ended"
}

make_work_folder
if [ "$mode" = fleet ]; then
    scripts/setup.sh --fleet
    build
    PATH=$PWD/build:$PWD/build/lab:$PATH
    export PATH
    . scripts/demo_fleet.sh
    exit 0
fi
case $mode in
web) scripts/setup.sh --web ;;
live) scripts/setup.sh --live ;;
*) scripts/setup.sh ;;
esac
build
[ "$mode" != live ] || . scripts/demo_live.sh
start_lab
case $mode in
tour) tour ;;
shell)
    echo "vigil works here (VIGIL_ROOT=$VIGIL_ROOT). Texts of the appliance are GBK. Try:"
    echo "    vigil ipobj listbussflow sort=bytes limit=10 lang=en | iconv -c -f GBK"
    "${SHELL:-/bin/sh}" || true
    ;;
web) serve_page ;;
live) watch_live ;;
all) . scripts/demo_verbs.sh ;;
esac
