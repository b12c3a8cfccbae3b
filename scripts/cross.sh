#!/bin/sh
# 64-bit Arm: builds with the cross compiler and runs the program suite, the unit tests and every verb of the demo under
# qemu-aarch64, which must print what this machine's build prints, byte for byte. As root, in a bare system (chroots.sh);
# the trees stay in build-cross/. What cannot run there is printed with its reason.
set -eu
cd "$(dirname "$0")/.."
trees=build-cross

# Tests that say nothing about the program under qemu: name, and why.
cannot_run() {
    cat <<'END'
LabLive.WhatCannotBeWatchedIsRefusedWithAReason no interface can be opened: qemu hands on no question about time stamps
LabLive.ANamespaceShowsWhoTalksInIt the same
Signals.WhatIsIgnoredAtTheStartStaysIgnored qemu interrupts a call also for a signal that is ignored
END
}

build() {
    echo "== building for this machine, and for arm64"
    cmake -S . -B $trees/native -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ >/dev/null
    cmake -S . -B $trees/arm64 -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=aarch64 \
        -DCMAKE_C_COMPILER=aarch64-linux-gnu-gcc -DCMAKE_CXX_COMPILER=aarch64-linux-gnu-g++ >/dev/null
    cmake --build $trees/native -j "$(nproc)" --target program_tests
    cmake --build $trees/arm64 -j "$(nproc)" --target unit_tests program_tests
    file $trees/arm64/vigil | grep -q 'ARM aarch64'
}

# From here on whoever runs a program of the native tree runs that for arm64, with its libraries; seen from in here only.
put_in_place() {
    gcc -O1 -Wall -Werror -static -o $trees/under_qemu scripts/under_qemu.c
    for program in vigil vigil-json lab/vigil-lab tools/vigil-ouidb; do
        cp $trees/arm64/$program $trees/native/$program.arm64
        mount --bind $trees/under_qemu $trees/native/$program
    done
    for folder in tests/dict lab/lab_dict.so tests/faults.so; do
        mount --bind $trees/arm64/$folder $trees/native/$folder
    done
}

# demo_of MACHINE: all of the demo against a lab, both as they stand in the native tree, in the same place for either
# machine. Every output lies in $results/MACHINE, numbered.
demo_of() {
    outputs=$results/$1
    mkdir "$outputs"
    rm -rf "$work"
    mkdir -p "$work/root/usr/obslog" "$work/root/usr/keslog"
    for folder in obslog keslog; do # whose free space is told
        mount -t tmpfs -o size=16m tmpfs "$work/root/usr/$folder"
    done
    export VIGIL_ROOT="$work/root" TZ=UTC0
    $trees/native/lab/vigil-lab --sessions 2000 --seed 3 --now 1790000000 >"$work/lab" 2>"$work/errors" &
    lab=$!
    until [ -s "$work/lab" ]; do
        kill -0 "$lab"
        sleep 0.2
    done
    ! grep . "$work/errors" || return 1
    number=0
    # shellcheck disable=SC2317 # called by demo_verbs.sh
    vigil() {
        number=$((number + 1))
        code=0
        FAULT_TIME=1790000100 LD_PRELOAD=$PWD/$trees/native/tests/faults.so \
            $trees/native/vigil "$@" >"$outputs/$number" || code=$?
        cat "$outputs/$number"
        printf '\n$ vigil %s (status %s)\n' "$*" "$code" >>"$outputs/$number"
        return $code
    }
    LAB_ARGUMENTS=given # an empty answer is none of our business
    (. scripts/demo_verbs.sh) >"$work/demo" || {
        tail -n 20 "$work/demo"
        return 1
    }
    kill "$lab"
    wait "$lab"
    umount "$work/root/usr/obslog" "$work/root/usr/keslog"
}

compare_demos() {
    diff -r "$results/native" "$results/arm64"
    echo "$(find "$results/native" -type f | wc -l) command lines of the demo, the same bytes and statuses"
    rm -rf "$work" "$results"
}

# These work with the sources in their own process: all of it is for arm64.
in_process=Session.*:Tables.MembershipTest

program_suite() {
    qemu-aarch64 $trees/arm64/tests/program_tests --gtest_brief=1 --gtest_filter="$in_process"
    left_out=$(cannot_run | sed 's/^\([^ ]*\) .*/:\1/' | tr -d '\n')
    cannot_run | sed 's/^\([^ ]*\) */cannot run here: \1: /'
    $trees/native/tests/program_tests --gtest_brief=1 --gtest_filter="*-$in_process$left_out"
}

if [ "${1:-}" = --inside ]; then
    build
    work=$(mktemp -d /tmp/vigil.XXXXXX)
    results=$(mktemp -d /tmp/vigil.XXXXXX)
    echo "1000.00 1000.00" >"$results/uptime" # of the clocks that are told, none may go on
    mount --bind "$results/uptime" /proc/uptime
    echo "== every verb of the demo on this machine, then under qemu-aarch64"
    demo_of native
    put_in_place
    qemu-aarch64 $trees/native/vigil-json.arm64 --version
    demo_of arm64
    compare_demos
    echo "== unit tests under qemu-aarch64"
    qemu-aarch64 $trees/arm64/tests/unit_tests --gtest_brief=1
    echo "== program suite, each program under qemu-aarch64"
    program_suite
    exit 0
fi
. scripts/chroots.sh
make_chroot cross bookworm amd64,arm64 "$cross_packages"
in_chroot cross "$PWD" sh scripts/cross.sh --inside
