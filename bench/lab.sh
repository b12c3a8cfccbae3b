#!/bin/sh
# What the lab appliance costs: packets read per second of one core's time, and the memory of a million sessions, from
# made-up captures through a pipe. Reports are asked afterwards, so that what they count is in the peak too. Then what it
# costs to watch: the memory under floods of ten million sessions, through a pipe and of an interface, and how soon a
# session shows.
. "$(dirname "$0")/common.sh"
cmake --build "$build" -j2 --target vigil-lab >"$work/make.log" 2>&1 || { cat "$work/make.log"; exit 1; }
gcc -O2 -o "$work/gen_capture" "$here/gen_capture.c"
ticks=$(getconf CLK_TCK)
export VIGIL_ROOT="$work/lab"

# Fields behind the program's name: 12 and 13 are the time in the program and in the kernel.
seconds_spent() {
  sed 's/.*) //' "/proc/$daemon/stat" | awk -v ticks="$ticks" '{ print ($12 + $13) / ticks }'
}

ask_reports() {
  for report in "ipobj listflow sort=byte" "ipobj listipa" "outconnect caluflow" "dnsflow caluflow" "hostinfo list" \
    "assetsobj list" "malclog list" "mempcap dump"; do
    # shellcheck disable=SC2086 # words
    "$vigil" $report >"$work/report" || true
  done
}

until_ready() {
  until grep -q ^ready "$work/lab.out"; do
    kill -0 "$1" 2>/dev/null || { cat "$work/lab.errors" >&2; return 1; }
    sleep 0.1
  done
}

# cost NAME SESSIONS PACKETS_EACH HOSTS
cost() {
  : >"$work/lab.out"
  "$work/gen_capture" "$2" "$3" "$4" |
    taskset -c 0 "$build/lab/vigil-lab" --capture - >"$work/lab.out" 2>"$work/lab.errors" &
  daemon=$!
  until_ready "$daemon" || exit 1
  spent=$(seconds_spent)
  ask_reports
  peak=$(awk '/^VmHWM/ { print int($2 / 1024) }' "/proc/$daemon/status")
  packets=$(sed -n 's/.* packets=\([0-9]*\).*/\1/p' "$work/lab.errors")
  echo "$1 $packets $spent $peak" |
    awk '{ printf "%-28s %9d packets, %5.2f s: %8.0f packets a second; peak %4d MiB\n", $1, $2, $3, $2 / $3, $4 }'
  stop_daemon
}

echo "asked: 200000 packets a second on one core; a million sessions below 1024 MiB"
cost long-sessions 100000 50 65536
cost a-million-sessions 1000000 8 65536
cost a-million-of-strangers 1000000 8 4000000

resident() {
  awk -v name="$1" '$1 == name ":" { print int($2 / 1024) }' "/proc/$daemon/status"
}

# Asks every report again and again until the flood is over; the samples of the lab's memory stand in the order of time.
until_over() {
  until "$@"; do
    ask_reports
    resident VmRSS
    sleep 1
  done >"$work/samples"
}

# count_of WORD NAME: a number of `obslog stat`
count_of() {
  "$vigil" obslog stat | sed -n "s/^$1 .*\\b$2=\\([0-9]*\\).*/\\1/p"
}

# report_flood NAME PACKETS WHAT
report_flood() {
  awk -v name="$1" -v packets="$2" -v what="$3" -v spent="$(seconds_spent)" -v peak="$(resident VmHWM)" '
    { at[NR] = $1 }
    END {
      printf "%-28s %9d packets %s, %.0f s: %.0f packets a second\n", name, packets, what, spent, packets / spent
      printf "%-28s %d MiB after a tenth of the time, %d half way, %d at the end; peak %d MiB\n", "", at[int(NR / 10) + 1],
        at[int(NR / 2) + 1], at[NR], peak
    }' "$work/samples"
  stop_daemon
}

# flood SESSIONS PACKETS_EACH HOSTS: fed to a lab that watches, within its default bounds.
flood() {
  : >"$work/lab.out"
  : >"$work/lab.errors"
  "$work/gen_capture" "$1" "$2" "$3" | "$build/lab/vigil-lab" --live - >"$work/lab.out" 2>"$work/lab.errors" &
  daemon=$!
  until_ready "$daemon" || exit 1
  until_over grep -q packets= "$work/lab.errors"
  report_flood "flood of a pipe" "$(sed -n 's/.* packets=\([0-9]*\).*/\1/p' "$work/lab.errors")" \
    "read, $(count_of dropped sessions) sessions dropped"
}

# The same out of the loopback of a network namespace, faster than it can be read.
flood_interface() {
  : >"$work/lab.out"
  # shellcheck disable=SC2016 # the shell inside expands it
  unshare --user --map-root-user --net sh -c 'ip link set lo up || exit
    "$1/lab/vigil-lab" --live lo >"$2/lab.out" 2>"$2/lab.errors" & echo $! >"$2/lab.pid"
    until grep -q ^ready "$2/lab.out"; do kill -0 $! || exit; sleep 0.1; done
    "$2/gen_capture" "$3" "$4" "$5" | "$2/send_frames" >"$2/sent.part" && mv "$2/sent.part" "$2/sent"
    wait' sh "$build" "$work" "$@" &
  until_ready $! || { echo "flood of an interface: no network namespace can be made here"; return; }
  daemon=$(cat "$work/lab.pid")
  until_over test -e "$work/sent"
  report_flood "flood of an interface" $(($(count_of total packets) + $(count_of dropped packets))) \
    "read of $(cat "$work/sent"), $(count_of input lost_packets) lost"
}

gcc -O2 -o "$work/send_frames" "$here/send_frames.c"
echo "asked: 10 million sessions in flat memory, below 256 MiB"
flood 10000000 2 4000000
flood_interface 10000000 2 4000000
export VIGIL_ROOT="$work/soon"
mkdir "$VIGIL_ROOT"
unshare --user --map-root-user --net "$here/how_soon.py" "$build" "$VIGIL_ROOT" ||
  echo "how soon a session shows: no network namespace can be made here"
