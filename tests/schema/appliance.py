"""The daemons' side of a run: control sockets below a private root, segments, replies as a script gives them."""
import ctypes
import os
import shutil
import socket
import struct
import subprocess
import tempfile
import threading

SOCKETS = {
    "analysis": "/var/tmp/obslog.d",
    "management": "/usr/ramdisk/var/mgmt.d",
    "chart": "/usr/ramdisk/var/obschartd.d",
}
FOLDERS = ["/var/tmp", "/usr/ramdisk/var", "/usr/ramdisk/bin", "/usr/ramdisk/etc", "/usr/obslog", "/conf", "/log"]

# How instrumented programs behave: memory is not freed before the end of a run.
SANITIZERS = {
    "ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1:handle_segv=2",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}

_libc = ctypes.CDLL(None, use_errno=True)
_libc.shmat.restype = ctypes.c_void_p
_libc.shmat.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_int]
_libc.shmdt.argtypes = [ctypes.c_void_p]

RECORD = 208
# What a daemon puts in front of an answer for the stand-in dictionary: three protocols and two groups.
USER_ARRAYS = b"".join(
    struct.pack("<H2x", number) + name.ljust(52, b"\0")
    for number, name in [(9001, b'A"},{"B'), (0, b""), (9003, b"\\\xd6\xd0\xff"), (9101, b"GROUP"), (0, b"")]
)


class Request:
    """A record as it arrived: code, module, and the argument text without the NUL that may count."""

    def __init__(self, record, text):
        self.code, self.length = struct.unpack_from("<Ii", record, 0)
        self.dictionary = record[20] != 0
        self.cursor = struct.unpack_from("<i", record, 156)[0]
        self.module = record[36:152].split(b"\0", 1)[0]
        self.text = text

    def __repr__(self):
        return f"({self.code} {self.module!r} {self.text!r})"


class Reply:
    """One batch: records or text, or a way to fail."""

    def __init__(self, answer=b"", count=0, length=None, error=0, text=b"", last=True, size=RECORD, before=None):
        self.answer, self.count, self.error, self.text, self.last = answer, count, error, text, last
        self.length = len(answer) if length is None else length
        self.size = size  # bytes of the record that are sent; 0 closes without a reply
        self.before = before  # called when the request has arrived


class Root:
    """A private root, and runs below it."""

    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="vigil-json.", dir="/tmp")
        self.script = lambda request: Reply(error=1, text=b"NO_SCRIPT")
        self.requests, self.faults = [], []

    def close(self):
        shutil.rmtree(self.root, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def environment(self, more=None):
        return {"VIGIL_ROOT": self.root, "TZ": "UTC0", "PATH": "/usr/bin:/bin", **SANITIZERS, **(more or {})}

    def run(self, program, words, script=None, environment=None, output=None, seconds=60):
        """Runs a program; returns (standard output, status, requests that arrived)."""
        if script:
            self.script = script
        self.requests = []
        run = subprocess.run(
            [program, *words],
            stdin=subprocess.DEVNULL,
            stdout=output or subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=self.environment(environment),
            timeout=seconds,
            close_fds=False,
        )
        if run.returncode < 0 or b"Sanitizer" in run.stderr or b"runtime error" in run.stderr:
            raise AssertionError(f"{words}: ended by {run.returncode}: {run.stderr.decode(errors='replace')[-3000:]}")
        if self.faults:
            raise AssertionError(f"{words}: the script failed: {self.faults.pop()}")
        return run.stdout, run.returncode, self.requests


class Appliance(Root):
    """A root with daemons: `script` is called with each request and returns its reply."""

    def __init__(self, dictionary=None, files=()):
        super().__init__()
        for folder in FOLDERS:
            os.makedirs(self.root + folder)
        for place, content in files:
            with open(self.root + place, "wb") as file:
                file.write(content)
        if dictionary:
            shutil.copy(dictionary, self.root + "/usr/ramdisk/bin/dict.so")
        self.listeners = []
        for daemon, place in SOCKETS.items():
            listener = socket.socket(socket.AF_UNIX)
            listener.bind(self.root + place)
            listener.listen(64)
            self.listeners.append(listener)
            threading.Thread(target=self._serve, args=(listener, daemon), daemon=True).start()

    def close(self):
        for listener in self.listeners:
            listener.shutdown(socket.SHUT_RDWR)  # ends the thread that accepts
            listener.close()
        super().close()

    def _serve(self, listener, daemon):
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            with connection:
                try:
                    self._exchange(connection, daemon)
                except OSError:
                    pass  # a client that was stopped
                except Exception as fault:  # shown by whoever looks at the run
                    self.faults.append(repr(fault))

    def _exchange(self, connection, daemon):
        record = b""
        while len(record) < RECORD:
            piece = connection.recv(RECORD - len(record))
            if not piece:
                return  # connected and left: a verb without a request
            record += piece
        record = bytearray(record)
        segment, size = struct.unpack_from("<i", record, 16)[0], struct.unpack_from("<I", record, 172)[0]
        length = struct.unpack_from("<i", record, 4)[0]
        base = _libc.shmat(segment, None, 0)
        if base in (None, ctypes.c_void_p(-1).value):
            raise OSError(ctypes.get_errno(), "shmat")
        try:
            text = ctypes.string_at(base, min(max(length, 0), size)).split(b"\0", 1)[0] if length > 0 else b""
            request = Request(record, text)
            request.daemon = daemon
            self.requests.append(request)
            reply = self.script(request)
            if reply.before:
                reply.before()
            answer = reply.answer
            if request.dictionary and reply.error == 0:
                answer = USER_ARRAYS + answer
            ctypes.memmove(base, (answer + b"\0")[:size], min(len(answer) + 1, size))
        finally:
            _libc.shmdt(base)
        record[21] = 1 if reply.last else 0
        struct.pack_into("<i", record, 32, reply.error)
        if reply.error:
            record[36:152] = reply.text[:116].ljust(116, b"\0")
        cursor = struct.unpack_from("<i", record, 156)[0]
        struct.pack_into("<iii", record, 156, cursor + 1, 0, reply.count)
        struct.pack_into("<i", record, 168, reply.length)
        connection.sendall(bytes(record[: reply.size]))
