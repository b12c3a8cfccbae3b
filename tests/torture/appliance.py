"""A lab appliance below a private root, and runs of vigil against it.

Everything runs in an IPC namespace of its own (scripts/torture.sh makes it), so that a segment that exists there is
one that a run has left behind.
"""
import argparse
import ctypes
import multiprocessing
import os
import shutil
import subprocess
import sys
import tempfile
import time

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HANG_SECONDS = 60  # a bound against hanging, far beyond what any run takes

# Command lines whose answers are the same each time, against a lab that is asked nothing else. The first group has
# handlers of its own: JSON and text, several batches, folds, the vendor file, the configuration, dictionary and not.
REPORTS = """
ipobj listbussflow limit=5
ipobj listbussflow sort=bytes limit=20 lang=en
ipobj listbussflow sort=app limit=5 page=2
ipobj listflow limit=5 json=1
ipobj listflow limit=5
ipobj listflow portsum=1 json=1
ipobj listflow sumloc=1
ipobj listflow appsum=1 json=1
ipobj listflow sumip=1 json=1
ipobj listipa
tcpreset list page=1 limit=5
tcpreset list page=1 limit=5 json=1
tcpreset listip page=1 limit=5 type=src
tcpreset listip page=1 limit=5 type=dst
tcpreset listdns page=1 limit=5
outconnect listflow page=1 limit=5
outconnect listflow page=2 limit=50
outconnect caluflow page=1 limit=5 json=1
outconnect caluflow appsum=1 json=1
outconnect caluflow
dnsflow listflow page=1 limit=5
dnsflow caluflow page=1 limit=5 json=1
dnsflow caluflow
obssyslog list page=1 limit=5
obssshlog list page=1 limit=5
obstlslog list page=1 limit=5
obsnetbios list page=1 limit=5
malclog list
malclog list show_flowlog=1 limit=5
malclog list show_level=1
malclog list show_malc=1 limit=5
malclog list show_srcip=1
malclog list show_dstip=1
malclog list show_dns=1
malclog list show_area=1
malclog list show_flowlog=1 show_level=1 show_malc=1 show_srcip=1 show_dns=1 show_area=1
malcip list limit=5
nevt list json=1
nevt list
nevtlog list
nevtlog list json=1 page=1 limit=5
nevtlog list showsum=1
kesidslog list page=1 limit=5
kesidslog listflow page=1 limit=5
idssum list page=1 limit=5
hostinfo list count=5
hostinfo list
assetsobj list limit=5
obstopogrp list
whiteip list
whiteip get
tunwltable list page=1 limit=10
dnstunwltable list page=1 limit=10
table get tid=1
table getcmp 1
obsiptable get tid=1
obsdnsgrp dumpgrp 1
chart rowlist
chart timesum
chart dump hours=1 json=1
chart dump hours=1
keytbl list
""".strip().splitlines()

FORWARDED = """
module list
obslog stat
obslog get
worker stat
worker list
obssegdelay stat
condtunnel stat
condtunnel list
applevel list
assetsgroup list
assetsgroup stat
assetsgroup2 list
assetsgroup2 stat
assetsobj stat
assetsobj2 stat
assetsobj get id=1
obsiptable getcmp tid=1
obstable list
obstable stat
obstable get
obsdnsgrp list
obsdnsgrp stat
obsdnsgrp get id=1
whiteip stat
dnstuncheck stat
mysqlrd stat
mysqlrd list
obssyslog stat
obssshlog stat
obstlslog stat
obsnetbios stat
netev_chart list
netev_chart stat
netev_session stat
idssum stat
obstopogrp stat
obstopo list
obstopo stat
obstplink list
obstplink stat
obsnetbrch list
obsnetbrch stat
mempcap stat
mempcap list
mempcap get
hostinfo stat
obsreasslog stat
obsreasslog get
obsreasspkt get
obsreasspkt stat
obsreasspkt debug
qtde stat
gadget stat
gadget frob
gadget list
tundata list
""".strip().splitlines()

# Alone, without a session
ALONE = ["", "obs"]


def options(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--build", default=os.path.join(SOURCE, "build"), help="the build tree")
    parser.add_argument("--short", action="store_true", help="what fits in a test run")
    parser.add_argument("--count", type=int, default=0, help="instead of the whole number of runs")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="processes that share the work")
    parser.add_argument("--only", type=int, help="the one run of this number, again")
    chosen = parser.parse_args()
    chosen.build = os.path.abspath(chosen.build)
    for made in ("vigil", "vigil-json", "lab/vigil-lab", "tests/faults.so", "tests/slow_dictionary.so"):
        if not os.path.exists(os.path.join(chosen.build, made)):
            sys.exit("%s is not built: cmake --build %s" % (made, chosen.build))
    return chosen


def segments():
    """Modes of the segments in this namespace, by their ids."""
    with open("/proc/sysvipc/shm") as listing:
        return {int(row[1]): row[2] for row in map(str.split, listing.readlines()[1:])}


def unmarked():
    """How many of them will stay when nobody is attached any more."""
    return sum(mode == "600" for mode in segments().values())


def is_sanitizers(errors):
    return b"Sanitizer" in errors or b"runtime error" in errors


class Result:
    def __init__(self, status, output, errors=b"", hung=False, left=0):
        self.status = status  # minus the signal when one ended the run
        self.output = output
        self.errors = errors
        self.hung = hung
        self.left = left  # segments; a later run may remove them

    def crash(self):
        """Why no run may end like this one, or nothing."""
        if self.hung:
            return "hangs"
        if self.left:
            return "leaves a segment behind"
        if self.status < 0:
            return "ended by signal %d" % -self.status
        if is_sanitizers(self.errors):
            return "sanitizer: " + self.errors.decode("latin-1")[:2000]
        return ""


class Appliance:
    """The lab with its private root; use it in a `with`."""

    def __init__(self, build, arguments=("--sessions", "3000", "--seed", "1")):
        self.build = build
        self.arguments = arguments
        self.lab = None
        self.work = tempfile.mkdtemp(prefix="torture.", dir="/tmp")
        self.root = os.path.join(self.work, "root")
        os.mkdir(self.root)
        self.environment = {"VIGIL_ROOT": self.root, "TZ": "CST-8", "PATH": os.environ["PATH"],
                            "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0:allocator_may_return_null=1:"
                                            "handle_abort=1",
                            "UBSAN_OPTIONS": "print_stacktrace=1"}
        self.faults = os.path.join(build, "tests", "faults.so")
        self.stopped_clock = {"LD_PRELOAD": self.faults, "FAULT_TIME": str(int(time.time()))}  # or ages change

    def __enter__(self):
        self.lab = subprocess.Popen([os.path.join(self.build, "lab", "vigil-lab"), "--root", self.root, *self.arguments],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if not self.lab.stdout.readline().startswith(b"ready"):
            self.end_lab()
            sys.exit("the lab does not serve")
        return self

    def end_lab(self):
        if self.lab is not None:
            self.lab.terminate()
            self.lab.wait()
            self.lab = None

    def __exit__(self, *_):
        self.end_lab()
        shutil.rmtree(self.work, ignore_errors=True)

    def program(self, line, form="vigil"):
        return [os.path.join(self.build, form), *line.split()]

    def start(self, line, form="vigil", environment=None, output=subprocess.PIPE, before=(), errors=subprocess.PIPE, **more):
        return subprocess.Popen([*before, *self.program(line, form)], env={**self.environment, **(environment or {})},
                                stdin=subprocess.DEVNULL, stdout=output, stderr=errors, **more)

    def run(self, line, **more):
        run = self.start(line, **more)
        try:
            output, errors = run.communicate(timeout=HANG_SECONDS)
            return Result(run.returncode, output or b"", errors or b"", left=unmarked())
        except subprocess.TimeoutExpired:
            run.kill()
            output, errors = run.communicate()
            return Result(run.returncode, output or b"", errors or b"", hung=True)

    def run_with(self, fault, line, **more):
        environment = {**self.stopped_clock, "FAULT": fault, **more.pop("environment", {})}
        return self.run(line, environment=environment, **more)


def own_namespace():
    clone_new_ipc = 0x08000000
    if ctypes.CDLL(None, use_errno=True).unshare(clone_new_ipc) != 0:
        raise OSError(ctypes.get_errno(), "unshare")


def shared(work, chosen, figures):
    """Counts of work(chosen, figures, share, shares), added up over the processes that share it.

    Each has an IPC namespace of its own, in which it starts its own appliance: segments there are its runs'.
    """
    fork = multiprocessing.get_context("fork")
    readers = []
    for share in range(chosen.jobs):
        reader, writer = fork.Pipe(duplex=False)
        fork.Process(target=one_share, args=(writer, work, chosen, figures, share)).start()
        writer.close()
        readers.append(reader)
    parts = [reader.recv() for reader in readers]  # raises when one has ended without
    for _, shortfalls in parts:
        figures.shortfalls += shortfalls
    return [sum(each) for each in zip(*(counts for counts, _ in parts))]


def one_share(writer, work, chosen, figures, share):
    own_namespace()
    writer.send((work(chosen, figures, share, chosen.jobs), figures.shortfalls))


class Figures:
    """Counts what was tried, keeps what fell short, and ends the part."""

    def __init__(self, part):
        self.part = part
        self.started = time.time()
        self.shortfalls = []

    def short(self, text):
        self.shortfalls.append(text)
        if len(self.shortfalls) <= 20:
            print("SHORT  " + text, file=sys.stderr, flush=True)

    def end(self, figures):
        print("%s: %s, %d fell short (%d s)" % (self.part, figures, len(self.shortfalls), time.time() - self.started), flush=True)
        sys.exit(1 if self.shortfalls else 0)


def remove_segments():
    """Removes what is left behind when no run is under way, and returns how many that were.

    The lab may still be attached to the segment of a run that has been killed: it looks again for a while.
    """
    deadline = time.monotonic() + 2
    left = segments()
    while left and time.monotonic() < deadline:
        time.sleep(0.01)
        left = segments()
    for segment in left:
        subprocess.run(["ipcrm", "-m", str(segment)], check=False)
    return len(left)


def left_behind(figures, what):
    left = remove_segments()
    if left:
        figures.short("%d segments left behind by %s" % (left, what))
