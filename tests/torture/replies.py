"""Replies that no daemon should send, made of the real ones: a mutating daemon in front of every report.

The lab answers each request once; from then on its answers are kept, changed, and sent. The segment lies in front of
a page that nothing may touch. A run that falls short is named by its number: --only NUMBER, with the same seed, makes
it again.
"""
import ctypes
import json
import os
import random
import select
import shutil
import signal
import socket
import stat
import struct
import time

from appliance import FORWARDED, HANG_SECONDS, REPORTS, Appliance, Figures, is_sanitizers, left_behind, options, shared

RECORD = 208
LARGE = 1 << 20  # a segment that takes long to fill
BATCHES = (1, 1, 2, 4, 8, 12)  # of a run, where nothing that is changed ends it
REPLIES_OF_A_RUN = 16  # a daemon that never sets the last flag has to end some time
PLACES = ("var/tmp/obslog.d", "usr/ramdisk/var/mgmt.d", "usr/ramdisk/var/obschartd.d")
NUMBERS = (0, 1, 2, 3, 7, 255, 256, 65535, 65536, 0x7fffffff, 0x80000000, 0xffffffff, 0xfffffffe, 0x1000000)

libc = ctypes.CDLL(None, use_errno=True)
libc.shmat.restype = ctypes.c_void_p
libc.shmat.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_int]
libc.shmdt.argtypes = [ctypes.c_void_p]


class Segment:
    """A client's segment while its request is answered; nothing when it cannot be attached."""

    def __init__(self, record):
        self.size, = struct.unpack_from("<I", record, 172)
        self.at = libc.shmat(struct.unpack_from("<i", record, 16)[0], None, 0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        libc.shmdt(self.at)

    def read(self, size):
        return ctypes.string_at(self.at, min(size, self.size))

    def write(self, content, rest):
        """What lies behind the content stays as it is unless it is given."""
        if rest:
            ctypes.memset(self.at, rest, self.size)
        ctypes.memmove(self.at, bytes(content), min(len(content), self.size))


def change_numbers(rng, record, answer):
    """Count, length, error, cursor, flags."""
    offset = rng.choice((164, 164, 164, 168, 168, 32, 156, 172, 16))
    now, = struct.unpack_from("<I", record, offset)
    number = rng.choice(NUMBERS + ((now + 1) & 0xffffffff, (now - 1) & 0xffffffff, (now * 2) & 0xffffffff, rng.getrandbits(32)))
    struct.pack_into("<I", record, offset, number)


def change_flags(rng, record, answer):
    record[21] = rng.choice((0, 0, 1, 255))
    record[20] = rng.choice((0, 1, 255))


def change_error(rng, record, answer):
    struct.pack_into("<i", record, 32, rng.choice((1, 5, 12, 22, -1, 255, 256)))
    record[36:152] = bytes(rng.choices((0xff, 0x41, *rng.randbytes(4)), k=116))


def change_record(rng, record, answer):
    for _ in range(rng.randint(1, 16)):
        record[rng.randrange(RECORD)] = rng.randrange(256)


def change_bytes(rng, record, answer):
    reach = min(len(answer), rng.choice((256, 4096, 1 << 30)))
    if reach:
        values = rng.choices((0, 255, 255, 0x22, 0x5c, 0x80, *rng.randbytes(4)), k=rng.randint(1, 200))
        for at, value in zip(rng.choices(range(reach), k=len(values)), values):
            answer[at] = value


def fill_stretch(rng, record, answer):
    """Texts without their end, above all."""
    if answer:
        start = rng.randrange(len(answer))
        size = rng.choice((4, 16, 64, 116, 512, len(answer)))
        stretch = bytes([rng.choice((0xff, 0x41, 0xb0, 0x00, 0x01))]) * size
        answer[start:start + size] = stretch[:len(answer) - start]


def fill_all(rng, record, answer):
    answer[:] = rng.randbytes(len(answer)) if rng.random() < 0.5 else bytes([rng.choice((0xff, 0x41, 0x7f))]) * len(answer)


def shift(rng, record, answer):
    start = rng.randrange(len(answer) + 1)
    if rng.random() < 0.5:
        answer[start:start] = rng.randbytes(rng.randint(1, 9))
    else:
        del answer[start:start + rng.randint(1, 9)]


CHANGES = (change_numbers, change_numbers, change_numbers, change_flags, change_error, change_record, change_bytes,
           change_bytes, change_bytes, fill_stretch, fill_stretch, fill_all, shift)


def send(rng, connection, record):
    """The record, whole in most cases."""
    way = rng.random()
    if way < 0.9:
        connection.sendall(record)
    elif way < 0.93:
        connection.sendall(record[:rng.randrange(RECORD)])
    elif way < 0.95:
        connection.sendall(record + record)
    elif way < 0.98:
        step = rng.choice((1, 7, 100))
        for start in range(0, RECORD, step):
            connection.sendall(record[start:start + step])
    # or closes without a word


class Daemon:
    """The three sockets below a root of its own, with answers that were the lab's."""

    def __init__(self, appliance, root):
        self.appliance = appliance
        self.root = root
        shutil.copytree(appliance.root, root, ignore=lambda folder, names: [
            name for name in names if stat.S_ISSOCK(os.lstat(os.path.join(folder, name)).st_mode)])
        self.listeners = {}
        for place in PLACES:
            listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            listener.bind(os.path.join(root, place))
            listener.listen(8)
            self.listeners[listener.fileno()] = (listener, place)
        self.known = {}
        self.replies = 0

    def answer_of(self, place, record, segment):
        """Reply record and answer of the lab, kept since it gave it; wherever a request wants to go on from."""
        length, = struct.unpack_from("<i", record, 4)
        text = segment.read(max(0, min(length, 4096)))
        key = (place, bytes(record[0:4]), bytes(record[20:21]), bytes(record[36:152]), text)
        if key not in self.known:
            with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as lab:
                lab.connect(os.path.join(self.appliance.root, place))
                lab.sendall(record)
                reply = b""
                while len(reply) < RECORD:
                    piece = lab.recv(RECORD - len(reply))
                    if not piece:
                        break
                    reply += piece
            reply = reply if len(reply) == RECORD else bytes(record)
            self.known[key] = (reply, segment.read(segment.size).rstrip(b"\0"))
        return self.known[key]

    def serve(self, listener, place, rng, answered, batches):
        """One exchange. Without a generator of chances nothing is changed."""
        connection, _ = listener.accept()
        with connection:
            request = bytearray()
            while len(request) < RECORD:
                piece = connection.recv(RECORD - len(request))
                if not piece:
                    return
                request += piece
            segment = Segment(request)
            if segment.at == ctypes.c_void_p(-1).value:
                return  # the client has gone
            with segment:
                reply, answer = self.answer_of(place, request, segment)
                record, answer = bytearray(reply), bytearray(answer)
                record[16:20] = request[16:20]
                record[172:176] = request[172:176]
                if answered + 1 < batches:
                    record[21] = 0
                if rng is not None and rng.random() < 0.8:
                    for _ in range(rng.choice((1, 1, 2, 3, 6))):
                        rng.choice(CHANGES)(rng, record, answer)
                if answered >= REPLIES_OF_A_RUN:
                    record[21] = 1
                filled = rng is not None and rng.random() < (0.4 if segment.size < LARGE else 0.1)
                segment.write(answer, rng.choice((0xff, 0x41)) if filled else 0)
            self.replies += 1
            try:
                if rng is None:
                    connection.sendall(record)
                else:
                    send(rng, connection, record)
            except OSError:
                pass  # the client has had enough


class Runs:
    def __init__(self, daemon):
        self.daemon = daemon
        self.output = os.memfd_create("output")
        self.errors = os.memfd_create("errors")
        self.nothing = os.open("/dev/null", os.O_RDONLY)
        self.environment = {**daemon.appliance.environment, "VIGIL_ROOT": daemon.root, "FAULT": "guard",
                            "LD_PRELOAD": daemon.appliance.faults, "KSETC": daemon.root + "/conf"}

    def run(self, line, form, rng):
        """How the run ended (minus a signal, None when it hung), and its output."""
        for file in (self.output, self.errors):
            os.ftruncate(file, 0)
            os.lseek(file, 0, os.SEEK_SET)
        program = self.daemon.appliance.program(line, form)
        pid = os.posix_spawn(program[0], program, self.environment, file_actions=[
            (os.POSIX_SPAWN_DUP2, self.nothing, 0), (os.POSIX_SPAWN_DUP2, self.output, 1), (os.POSIX_SPAWN_DUP2, self.errors, 2)])
        process = os.pidfd_open(pid)
        poll = select.poll()
        for file in (process, *self.daemon.listeners):
            poll.register(file, select.POLLIN)
        answered = 0
        batches = 0 if rng is None else rng.choice(BATCHES)
        hung = False
        deadline = time.monotonic() + HANG_SECONDS
        ended = False
        while not ended:
            for file, _ in poll.poll(1000):
                if file == process:
                    ended = True
                else:
                    self.daemon.serve(*self.daemon.listeners[file], rng, answered, batches)
                    answered += 1
            if not ended and time.monotonic() > deadline:
                os.kill(pid, signal.SIGKILL)
                hung = ended = True
        os.close(process)
        status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
        for listener, _ in self.daemon.listeners.values():  # a connection that nothing was asked over
            listener.setblocking(False)
            try:
                while True:
                    listener.accept()[0].close()
            except BlockingIOError:
                pass
            listener.setblocking(True)
        return (None if hung else status), os.pread(self.output, 1 << 26, 0)

    def said(self):
        return os.pread(self.errors, 3000, 0)


def judge(status, output, said, form):
    if status is None:
        return "hangs"
    if status < 0:
        return "ended by signal %d" % -status
    if is_sanitizers(said):
        return "sanitizer: " + said.decode("latin-1")
    if form == "vigil-json":
        try:
            json.loads(output)
        except ValueError as wrong:
            return "no valid document: %s" % wrong
    return ""


def work(chosen, figures, share, shares):
    """Runs and replies of one of the processes."""
    lines = REPORTS + FORWARDED[::6]
    wanted = (chosen.count or (3000 if chosen.short else 1_000_000)) // shares
    number = share
    with Appliance(chosen.build) as appliance:
        daemon = Daemon(appliance, os.path.join(appliance.work, "changed"))
        runs = Runs(daemon)
        for line in lines:
            for form in ("vigil", "vigil-json"):
                status, output = runs.run(line, form, None)
                wrong = judge(status, output, runs.said(), form)
                if wrong:
                    figures.short("unchanged: %s %s: %s" % (form, line, wrong))
        daemon.replies = made = 0
        while daemon.replies < wanted:
            number = number + shares if chosen.only is None else chosen.only
            rng = random.Random(chosen.seed * 1_000_003 + number)
            line, form = rng.choice(lines), rng.choice(("vigil", "vigil", "vigil-json"))
            status, output = runs.run(line, form, rng)
            made += 1
            wrong = judge(status, output, runs.said(), form)
            if wrong:
                figures.short("--seed %d --only %d: %s %s: %s" % (chosen.seed, number, form, line, wrong))
            if chosen.only is not None:
                os.write(1, output)
                break
        left_behind(figures, "runs with changed replies")
    return made, daemon.replies


def main():
    chosen = options(__doc__)
    if chosen.only is not None:
        chosen.jobs = 1
    figures = Figures("replies")
    made, replies = shared(work, chosen, figures)
    figures.end("%d runs of %d commands took %d changed replies" % (made, len(REPORTS + FORWARDED[::6]), replies))


main()
