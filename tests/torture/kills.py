"""Runs are ended at random moments: no segment, no taken slot, no half file; what was printed is a beginning."""
import json
import mmap
import os
import random
import shutil
import signal
import struct
import sys
import time

from appliance import HANG_SECONDS, Appliance, Figures, options, remove_segments, shared, unmarked

SIGNALS = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGQUIT)
MOST_LEFT = 20  # after the last of them: a run removes what others have left more than two seconds before
TALK = ("obstopo stat", "malclog list show_flowlog=1 limit=5", "ipobj listipa", "tcpreset list page=1 limit=50",
        "hostinfo list", "kesidslog list page=1 limit=50", "chart dump hours=1 json=1", "outconnect listflow page=2 limit=50")
# These load the dictionary, which the appliance here is slow to do, and unload it.
LOAD = ("ipobj listflow limit=5 json=1", "ipobj listflow appsum=1 json=1", "ipobj listflow sumloc=1")
BLOCK = 256 * 1024
EMPTY, FULL = 0, 2
HELD, TAKEN = "the ring's lock is held", "the slot is taken"  # which SIGKILL gives nobody the time to give back
PACKETS = bytes(range(256)) * (BLOCK // 256)


class Ring:
    """A capture ring of one block, which is full before each run."""

    def __init__(self, folder):
        self.path = os.path.join(folder, "killed.ring")
        self.saved = os.path.join(folder, "killed.pcap")
        with open(self.path, "wb") as file:
            file.write(struct.pack("<4s7I", b"OBS\0", 0, 1, BLOCK, 0, 0, 0, 0) + bytes(16) + PACKETS)
        with open(self.path, "r+b") as file:
            self.map = mmap.mmap(file.fileno(), 0)

    def command(self):
        return "obspcap save if=%s of=%s" % (self.path, self.saved)

    def fill(self):
        self.map[4:8] = bytes(4)
        self.map[32:40] = struct.pack("<2I", FULL, BLOCK)
        if os.path.exists(self.saved):
            os.unlink(self.saved)

    def fault(self):
        lock, = struct.unpack("<I", self.map[4:8])
        state, = struct.unpack("<I", self.map[32:36])
        size = os.path.getsize(self.saved) if os.path.exists(self.saved) else None
        if lock != 0:
            return HELD
        if state not in (EMPTY, FULL):
            return TAKEN
        if state == FULL and size is not None:
            return "a file of a block that was not taken"
        if state == EMPTY and size != BLOCK:
            return "a file of %s bytes" % size
        return ""


class Command:
    """A command line with its whole output and how long it takes."""

    def __init__(self, line, form):
        self.line = line
        self.form = form
        self.whole = None
        self.seconds = 0.0

    def measure(self, killer):
        for _ in range(3):
            started = time.perf_counter()
            status, self.whole = killer.run(self, None, 0)
            self.seconds = time.perf_counter() - started
        self.status = status


class Killer:
    def __init__(self, appliance):
        self.appliance = appliance
        self.output = os.memfd_create("output")
        self.environment = dict(appliance.environment)
        self.nothing = os.open("/dev/null", os.O_RDONLY)

    def run(self, command, number, delay):
        """Status (minus the signal) and output of a run that gets the signal after the delay."""
        os.ftruncate(self.output, 0)
        os.lseek(self.output, 0, os.SEEK_SET)
        program = self.appliance.program(command.line, command.form)
        pid = os.posix_spawn(program[0], program, self.environment, setsigdef=SIGNALS[1:], file_actions=[
            (os.POSIX_SPAWN_DUP2, self.nothing, 0), (os.POSIX_SPAWN_DUP2, self.output, 1), (os.POSIX_SPAWN_DUP2, self.output, 2)])
        if number is not None:
            time.sleep(delay)
            os.kill(pid, number)
        deadline = time.monotonic() + HANG_SECONDS
        while True:
            ended, status = os.waitpid(pid, os.WNOHANG if number is not None else 0)
            if ended:
                break
            if time.monotonic() > deadline:
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)
                return None, b""
            time.sleep(0.0002)
        return os.waitstatus_to_exitcode(status), os.pread(self.output, 1 << 24, 0)


def judge(command, number, status, output):
    if status is None:
        return "hangs"
    if status not in (-number, 1, command.status):
        return "ends with %d" % status
    if status == command.status and status != 1:
        return "" if output == command.whole else "ends well with other output"
    if command.form == "vigil" or number == signal.SIGKILL:
        return "" if command.whole.startswith(output) else "what was printed is no beginning"
    if (status < 0 and not output) or output == command.whole:
        return ""  # before the run could catch it, or when its document was done
    try:
        document = json.loads(output)
        last = document[-1] if isinstance(document, list) else document
        return "" if last["error"]["text"] == "stopped" else "the document does not say why it ends"
    except (ValueError, KeyError, TypeError, IndexError) as wrong:
        return "no valid document: %s" % wrong


def slow_dictionary(chosen, appliance):
    place = os.path.join(appliance.root, "usr", "ramdisk", "bin", "dict.so")
    os.replace(place, place + ".fast")
    shutil.copy(os.path.join(chosen.build, "tests", "slow_dictionary.so"), place)


def kills_of(chosen):
    return chosen.count or (120 if chosen.short else 20000)


def work(chosen, figures, share, shares):
    """Of each signal: runs ended, runs met before the mark, segments there at the end and later, saves, those that kept."""
    rng = random.Random(chosen.seed * 1009 + share)
    counts = []
    with Appliance(chosen.build) as appliance:
        slow_dictionary(chosen, appliance)
        killer = Killer(appliance)
        ring = Ring(appliance.work)
        talk = [Command(line, form) for line in TALK for form in ("vigil", "vigil-json")]
        load = [Command(line, form) for line in LOAD for form in ("vigil", "vigil-json")]
        save = Command(ring.command(), "vigil")
        ring.fill()
        for command in talk + load:
            command.measure(killer)
        ring.fill()
        save.status, save.whole = killer.run(save, None, 0)
        save.seconds = min(command.seconds for command in talk)
        for number in SIGNALS:
            ended = met = saves = kept = there = 0
            for i in range(share, kills_of(chosen), shares):
                command = rng.choice(load) if i % 3 == 0 else save if i % 7 == 1 else rng.choice(talk)
                if command is save:
                    ring.fill()
                status, output = killer.run(command, number, rng.random() * 1.2 * command.seconds)
                ended += status in (-number, 1)
                wrong = judge(command, number, status, output)
                if wrong:
                    figures.short("%s of %s %s: %s" % (number.name, command.form, command.line, wrong))
                if command is save:
                    saves += 1
                    wrong = ring.fault()
                    if number == signal.SIGKILL and wrong in (HELD, TAKEN):
                        kept += 1
                    elif wrong:
                        figures.short("%s of %s: %s" % (number.name, command.line, wrong))
                # From creation to mark, 4 of the 500 microseconds of a short run, only SIGKILL gets through.
                before, there = there, unmarked()
                met += there > before
            # A run of ten seconds later removes what killed ones have left.
            killer.environment = {**killer.environment, "LD_PRELOAD": appliance.faults, "FAULT_TIME": str(int(time.time()) + 10)}
            killer.run(talk[0], None, 0)
            killer.environment = appliance.environment
            left = remove_segments()
            if left or (met and number != signal.SIGKILL):
                figures.short("%s left %d segments, %d for a while" % (number.name, left, met))
            counts += [ended, met, there, left, saves, kept]
    return counts


def main():
    chosen = options(__doc__)
    figures = Figures("kills")
    count = kills_of(chosen)
    counts = shared(work, chosen, figures)
    said = []
    for number, (ended, met, there, left, saves, kept) in zip(SIGNALS, zip(*[iter(counts)] * 6)):
        text = "%s %d: %d before the end, %d segments left" % (number.name, count, ended, left)
        if number == signal.SIGKILL:
            text += " (%d at first, of %d)" % (there, met)
            text += ", %d of %d saves killed with the slot in their hands" % (kept, saves)
            if there > MOST_LEFT:
                figures.short("SIGKILL left %d segments for the runs to come" % there)
        said.append(text)
    figures.end("; ".join(said))


main()
