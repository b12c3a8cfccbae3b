#!/usr/bin/env python3
"""Runs two commands in turn (A B A B …) and prints the median of the pairwise ratios of their cost.

  pair.py [--pairs N] [--goal R] [--label TEXT] "COMMAND A" "COMMAND B"

Cost is user + system seconds of the process and its children; wall time, page faults and peak memory are shown
beside it. Output goes to /dev/null: compare what the two print before comparing what they cost.
"""
import argparse
import os
import shlex
import statistics
import sys
import time


def run(command):
    """(user+system s, wall s, page faults, peak KiB) of one run."""
    start = time.perf_counter()
    silent = [(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
    pid = os.posix_spawnp(command[0], command, os.environ, file_actions=silent)
    _, status, usage = os.wait4(pid, 0)
    if os.waitstatus_to_exitcode(status) not in (0, 1):
        sys.exit(f"{command} ended with {os.waitstatus_to_exitcode(status)}")
    return usage.ru_utime + usage.ru_stime, time.perf_counter() - start, usage.ru_minflt, usage.ru_maxrss


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--pairs", type=int, default=15)
    parser.add_argument("--goal", default="")
    parser.add_argument("--label", default="")
    parser.add_argument("a", help="command A as one quoted word")
    parser.add_argument("b", help="command B as one quoted word")
    args = parser.parse_args()
    a, b = shlex.split(args.a), shlex.split(args.b)
    run(a), run(b)  # both warm
    pairs = [(run(a), run(b)) for _ in range(args.pairs)]
    ratio = [statistics.median(x[i] / max(y[i], 1e-9) for x, y in pairs) for i in range(4)]
    goal = f"  (asked: {args.goal})" if args.goal else ""
    print(f"{args.label:44} user+sys {ratio[0]:6.3f}  wall {ratio[1]:6.3f}  faults {ratio[2]:5.2f}  "
          f"memory {ratio[3]:5.2f}{goal}")


if __name__ == "__main__":
    main()
