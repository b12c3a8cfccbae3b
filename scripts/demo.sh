#!/bin/sh
# A lab appliance below a private root, and vigil at work on it. Builds what is not built.
#   scripts/demo.sh         a short tour: each command line with its output
#   scripts/demo.sh shell   a shell in which vigil works against the appliance; leaving it ends the appliance
#   scripts/demo.sh all     every verb that is built; fails on an empty answer where there is something to show
# LAB_ARGUMENTS replaces what the appliance is started with, for example "--sessions 100000 --seed 7".
set -eu
cd "$(dirname "$0")/.."
mode=${1:-tour}
case $mode in
tour | shell | all) ;;
*)
    echo "usage: scripts/demo.sh [shell|all]" >&2
    exit 2
    ;;
esac

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target vigil vigil-lab >/dev/null

root=$(mktemp -d /tmp/vigil.XXXXXX)
lab=
finish() {
    trap - EXIT INT TERM
    if [ -n "$lab" ]; then
        kill "$lab" 2>/dev/null || true
        wait "$lab" 2>/dev/null || true
    fi
    rm -rf "$root" "$root.log"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

VIGIL_ROOT=$root
TZ=${TZ:-UTC0}
PATH=$PWD/build:$PATH
export VIGIL_ROOT TZ PATH

start_lab() {
    # shellcheck disable=SC2086 # words
    build/lab/vigil-lab ${LAB_ARGUMENTS:---capture tests/data/sample.pcap} >"$root.log" 2>&1 &
    lab=$!
    waited=0
    until [ -S "$root/var/tmp/obslog.d" ] && [ -S "$root/usr/ramdisk/var/mgmt.d" ] &&
        [ -S "$root/usr/ramdisk/var/obschartd.d" ]; do
        waited=$((waited + 1))
        if ! kill -0 "$lab" 2>/dev/null || [ "$waited" -gt 600 ]; then
            echo "the lab appliance does not serve:" >&2
            cat "$root.log" >&2
            exit 1
        fi
        sleep 0.1
    done
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
    vigil "$@" >"$root/shown" || status=$?
    cut -c 1-600 "$root/shown" | head -n 24 | iconv -c -f GBK -t UTF-8
    [ -z "$(tail -c 1 "$root/shown")" ] || echo
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
}

start_lab
case $mode in
tour) tour ;;
shell)
    echo "vigil works here (VIGIL_ROOT=$root); try: vigil ipobj listbussflow sort=bytes limit=10"
    "${SHELL:-/bin/sh}" || true
    ;;
all) . scripts/demo_verbs.sh ;;
esac
