"""A daemon that never sets the last flag: what a run grows by with each record, and that VIGIL_TIMEOUT ends it.

FLAT   keeps a page, or nothing: no growth once the page is full.
KEYS   folds: grows with distinct keys only. Sent the same keys for ever, it stays flat.
ROWS   keeps every row: grows by its row and its index, and no more.
"""
import ctypes
import json
import os
import select
import socket
import struct
import subprocess
import time

from appliance import Appliance, Figures, left_behind, options

FLAT, KEYS, ROWS = "flat", "keys", "rows"
ANALYSIS, MANAGEMENT = "var/tmp/obslog.d", "usr/ramdisk/var/mgmt.d"
RECORD = 208
SEND = 1500  # batches before the second look; half of them before the first
SLACK_KIB = 600  # what is no growth: pages touched late

# Command, daemon, bytes of a record, what it keeps, bytes a kept row may take
COMMANDS = (
    ("ipobj listbussflow limit=5", MANAGEMENT, 228, FLAT, 0),
    ("ipobj listbussflow sort=bytes limit=20", MANAGEMENT, 228, FLAT, 0),
    ("ipobj listflow limit=5 json=1", MANAGEMENT, 228, KEYS, 0),
    ("ipobj listflow portsum=1 json=1", MANAGEMENT, 228, KEYS, 0),
    ("ipobj listipa", MANAGEMENT, 64, FLAT, 0),
    ("outconnect listflow page=1 limit=5", MANAGEMENT, 252, FLAT, 0),
    ("outconnect caluflow", MANAGEMENT, 252, KEYS, 0),
    ("dnsflow listflow page=1 limit=5", MANAGEMENT, 252, FLAT, 0),
    ("dnsflow caluflow", MANAGEMENT, 252, KEYS, 0),
    ("tcpreset list page=1 limit=5", MANAGEMENT, 256, FLAT, 0),
    ("tcpreset listip page=1 limit=5 type=src", MANAGEMENT, 256, KEYS, 0),
    ("tcpreset listdns page=1 limit=5", MANAGEMENT, 256, KEYS, 0),
    ("obssyslog list page=1 limit=5", MANAGEMENT, 356, FLAT, 0),
    ("obssshlog list page=1 limit=5", MANAGEMENT, 132, FLAT, 0),
    ("obstlslog list page=1 limit=5", MANAGEMENT, 104, FLAT, 0),
    ("obsnetbios list page=1 limit=5", MANAGEMENT, 136, FLAT, 0),
    ("nevt list json=1", MANAGEMENT, 352, FLAT, 0),
    ("nevtlog list json=1 page=1 limit=5", MANAGEMENT, 304, FLAT, 0),
    ("nevtlog list showsum=1", MANAGEMENT, 304, KEYS, 0),
    ("kesidslog list page=1 limit=5", MANAGEMENT, 3844, FLAT, 0),
    ("kesidslog listflow page=1 limit=5", MANAGEMENT, 24, FLAT, 0),
    ("idssum list page=1 limit=5", MANAGEMENT, 24, FLAT, 0),
    ("malcip list limit=5", MANAGEMENT, 4, FLAT, 0),
    ("hostinfo list count=5", MANAGEMENT, 120, FLAT, 0),
    ("assetsobj list limit=5", MANAGEMENT, 848, FLAT, 0),
    ("obstopogrp list", MANAGEMENT, 48, ROWS, 48 + 16),
    ("whiteip list", MANAGEMENT, 24, FLAT, 0),
    ("whiteip get", MANAGEMENT, 92, ROWS, 92 + 16),
    ("tunwltable list page=1 limit=10", ANALYSIS, 56, FLAT, 0),
    ("dnstunwltable list page=1 limit=10", MANAGEMENT, 56, FLAT, 0),
)

libc = ctypes.CDLL(None, use_errno=True)
libc.shmat.restype = ctypes.c_void_p
libc.shmat.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_int]
libc.shmdt.argtypes = [ctypes.c_void_p]


def resident(pid):
    with open("/proc/%d/status" % pid) as status:
        for line in status:
            if line.startswith("RssAnon"):
                return int(line.split()[1])
    return 0


class Endless:
    """Answers every request with as many records as fit; the same ones each time, and never the last."""

    def __init__(self, place, size, most=2000):
        if os.path.exists(place):
            os.unlink(place)
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(place)
        self.listener.listen(8)
        self.size = size
        self.most = most  # records in an answer
        self.answered = 0
        self.records = 0

    def answer(self, patience):
        """Serves one request; false when none came."""
        if not select.select([self.listener], [], [], patience)[0]:
            return False
        connection, _ = self.listener.accept()
        with connection:
            record = bytearray()
            while len(record) < RECORD:
                piece = connection.recv(RECORD - len(record))
                if not piece:
                    return True
                record += piece
            segment, = struct.unpack_from("<i", record, 16)
            bytes_in_segment, = struct.unpack_from("<I", record, 172)
            arrays = 2048 if record[20] else 0  # room for the user arrays, which are empty
            count = min((bytes_in_segment - arrays) // self.size, self.most)
            at = libc.shmat(segment, None, 0)
            if at == ctypes.c_void_p(-1).value:  # the run has ended
                return True
            ctypes.memset(at, 0, bytes_in_segment)
            libc.shmdt(at)
            struct.pack_into("<i", record, 32, 0)
            record[20] = record[21] = 0
            struct.pack_into("<ii", record, 164, count, count * self.size)
            try:
                connection.sendall(record)
            except OSError:
                return True
            self.answered += 1
            self.records += count
        return True


def watch(appliance, line, place, size, batches):
    """Resident KiB half way and at the end, records between them; None when it does not go on."""
    daemon = Endless(os.path.join(appliance.root, place), size)
    run = appliance.start(line, output=subprocess.DEVNULL)
    sizes = []
    for until in (batches // 2, batches):
        while daemon.answered < until and run.poll() is None and daemon.answer(30):
            pass
        if daemon.answered < until:
            run.kill()
            run.communicate()
            daemon.listener.close()
            return None
        sizes.append((resident(run.pid), daemon.records))
    run.kill()
    run.communicate()
    daemon.listener.close()
    return sizes


def ends(appliance, line, place, size, form):
    """How a run with VIGIL_TIMEOUT=1 ends."""
    daemon = Endless(os.path.join(appliance.root, place), size, most=2)
    path = os.path.join(appliance.work, "output")
    with open(path, "wb") as output:
        run = appliance.start(line, form=form, output=output, environment={"VIGIL_TIMEOUT": "1"})
        deadline = time.time() + 30
        while run.poll() is None and time.time() < deadline:
            daemon.answer(0.05)
        if run.poll() is None:
            run.kill()
        run.communicate()
    daemon.listener.close()
    with open(path, "rb") as output:
        return run.returncode, output.read()


def reason_of(output):
    """The error text of a document: its last member, or its last element's."""
    document = json.loads(output)
    return (document[-1] if isinstance(document, list) else document)["error"]["text"]


def main():
    chosen = options(__doc__)
    figures = Figures("endless")
    batches = chosen.count or (100 if chosen.short else SEND)
    commands = COMMANDS[::5] if chosen.short else COMMANDS
    said = {FLAT: [], KEYS: [], ROWS: []}
    with Appliance(chosen.build) as appliance:
        appliance.end_lab()  # which has installed the dictionary
        for line, place, size, kind, row in commands:
            sizes = watch(appliance, line, place, size, batches)
            if sizes is None:
                figures.short("%s does not go on for ever" % line)
                continue
            grown = sizes[1][0] - sizes[0][0]
            records = sizes[1][1] - sizes[0][1]
            said[kind].append(grown * 1024 / records)
            if grown > SLACK_KIB + row * records / 1024:
                figures.short("%s grew by %d KiB in %d records" % (line, grown, records))
            for form in ("vigil", "vigil-json")[:1 if chosen.short else 2]:
                status, output = ends(appliance, line, place, size, form)
                if status != 1:
                    figures.short("%s %s with VIGIL_TIMEOUT ends with %d" % (form, line, status))
                elif form == "vigil-json" and reason_of(output) != "timeout":
                    figures.short("%s %s does not say that its time is over" % (form, line))
        left_behind(figures, "endless daemons")
    figures.end("%d batches a command; most bytes a record: %s; each ended by VIGIL_TIMEOUT" % (batches, ", ".join(
        "%s %.1f in %d commands" % (kind, max(grown), len(grown)) for kind, grown in said.items() if grown)))


main()
