#!/usr/bin/env python3
"""How long after a program's first packet vigil shows its session: how_soon.py BUILD ROOT [ROUNDS]

Run it in a network namespace of its own (unshare --user --map-root-user --net), whose loopback the lab then watches.
"""
import fcntl
import os
import socket
import statistics
import struct
import subprocess
import sys
import time

build, root = sys.argv[1:3]
rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 20
environment = dict(os.environ, VIGIL_ROOT=root)

with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
    set_flags, up_and_running = 0x8914, 0x41
    fcntl.ioctl(sock, set_flags, struct.pack("16sh", b"lo", up_and_running))


def shows(port):
    """Whether the list of sessions has one from this port."""
    listing = subprocess.run([f"{build}/vigil", "ipobj", "listbussflow", f"sport={port}", "lang=en"],
                             env=environment, capture_output=True, check=True)
    return not listing.stdout.startswith(b"total 0")


lab = subprocess.Popen([f"{build}/lab/vigil-lab", "--live", "lo"], env=environment, stdout=subprocess.PIPE)
try:
    lab.stdout.readline()
    times = []
    for _ in range(rounds):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as program:
            program.bind(("127.0.0.1", 0))
            begun = time.monotonic()
            program.sendto(b"hello", ("127.0.0.1", 9))
            while not shows(program.getsockname()[1]):
                if time.monotonic() > begun + 30:
                    sys.exit("nothing shows within 30 s")
                time.sleep(0.001)
            times.append(time.monotonic() - begun)
        time.sleep(0.1)
    print(f"a session shows after {statistics.median(times) * 1000:.0f} ms (median of {rounds}), "
          f"{max(times) * 1000:.0f} ms at most")
finally:
    lab.terminate()
    lab.wait()
