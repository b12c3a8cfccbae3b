"""Daemons that fail, runs that are stopped, output that is lost."""
import fcntl
import os
import random
import signal
import subprocess
import termios
import threading
import time

from appliance import Reply
from content import BENIGN
from reports import REPORTS, script_of
from runs import FAILED, STOPPED, difference, failing, is_part, shown, without_end
from strict import Fault, parse
from texts import HOSTILE, RandomTexts, Texts, decode

TRUNCATED, FULL = 100, 208  # bytes of a reply record


def failures(check, built):
    """Ways to fail, each a function of (script, exchange that fails) and the error text it must give, if known."""
    hostile = (b'"},{"\\' + bytes(range(1, 256)))[:116]
    yield "refuses", lambda: Reply(error=7, text=hostile), decode(hostile)
    yield "refuses in silence", lambda: Reply(error=-1, text=b""), None
    yield "closes", lambda: Reply(size=0), None
    yield "cuts its reply", lambda: Reply(size=TRUNCATED), None
    if built.records:
        yield "counts below zero", lambda: Reply(count=-1, length=0), "INV_REPLY"
        yield "counts beyond the segment", lambda: Reply(count=2**31 - 1, length=0), "INV_REPLY"


def check_failures(check):
    """A daemon that fails in any batch leaves a document whose last word is the error."""
    for report in REPORTS:
        entry = check.schemas.entries[report.command]
        built = report.build(Texts(HOSTILE), 6)
        whole = report.same(built.document)
        for at in range(1 if built.one_batch else 3):
            for name, reply, text in failures(check, built):
                script = lambda: failing(script_of(built), at, reply)
                document, error, _ = check.run_both(
                    entry, report.words, script, f"{name} in exchange {at}", complete=False
                )
                if document is None:
                    continue
                what = f"{report} ({name} in exchange {at})"
                if error is None and not (at > 0 and report.same(document) == whole):  # not that many exchanges
                    check.fault(what, f"no error in {str(document)[:300]}")
                elif error and text is not None and error["text"] != text:
                    check.fault(what, f"the error says {error['text']!r}")
                elif not is_part(report.same(without_end(document)), whole):
                    check.fault(what, "other rows than were sent" + difference(whole, report.same(document)))
    check_missing_socket(
        check,
    )


def check_missing_socket(check):
    for report in REPORTS[:1] + [report for report in REPORTS if report.command == "kesidslog listflow"]:
        entry, built = check.schemas.entries[report.command], report.build(Texts(BENIGN, hostile=False), 6)
        socket = check.appliance.root + "/usr/ramdisk/var/mgmt.d"
        for at in (-1, 0):

            def script():
                if os.path.exists(socket + ".gone"):
                    os.rename(socket + ".gone", socket)
                if at < 0:
                    os.rename(socket, socket + ".gone")
                inner, count = script_of(built), [0]

                def serve(request):
                    count[0] += 1
                    if count[0] == 1:
                        os.rename(socket, socket + ".gone")
                    return inner(request)

                return serve

            _, error, _ = check.run_both(
                entry, report.words, script, f"nobody listens after exchange {at}", complete=False
            )
            if error is None or not error["text"].startswith("can't connect"):
                check.fault(str(report), f"nobody listens: {error}")
            os.rename(socket + ".gone", socket)


def check_stops(check):
    """A signal, or the time that was given, ends a run in the middle of its document."""
    for report in REPORTS:
        stopped(check, report, {}, "stopped", signal.SIGTERM)
    for report in REPORTS[0], next(report for report in REPORTS if report.command == "kesidslog listflow"):
        stopped(check, report, {"VIGIL_TIMEOUT": "1"}, "timeout", None)


def stopped(check, report, environment, text, sent):
    built = report.build(Texts(HOSTILE), 6)
    inner, arrived, run, release = script_of(built), [0], [], threading.Event()

    def script(request):
        arrived[0] += 1
        reply = inner(request)
        if arrived[0] == (1 if reply.last else 2):
            reply.before = stop
        return reply

    def stop():
        ready.wait(10)
        if sent:
            os.kill(run[0].pid, sent)
        release.wait(10)

    ready = threading.Event()
    check.appliance.script = script
    run.append(
        subprocess.Popen(
            [check.json, *report.command.split(), *report.words],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            env=check.appliance.environment(environment),
        )
    )
    ready.set()
    try:
        output = run[0].communicate(timeout=30)[0]
    finally:
        release.set()
    try:
        document, error, _ = check.document(
            [], output, run[0].returncode, check.schemas.entries[report.command].schema, False
        )
        if not error or error != {"text": text, "status": STOPPED}:
            raise Fault(f"ended with {run[0].returncode} and {error}")
        if not is_part(report.same(without_end(document)), report.same(built.document)):
            raise Fault("other rows than were sent" + difference(built.document, document))
    except Fault as fault:
        check.fault(f"{report} ({text})", f"{fault}\n    {output[:300]!r}")


def check_stops_anywhere(check, rounds):
    """A signal that comes while rows are printed leaves whole rows and the end of a document."""
    for command in ("nevt list", "obssyslog list", "ipobj listbussflow", "malclog list"):
        report = [report for report in REPORTS if report.command == command][-1]
        built = report.build(Texts(HOSTILE), 2000)
        words = [*command.split(), *report.words, "limit=5000"]
        whole, _, _ = check.appliance.run(check.json, words, script_of(built))
        whole = report.same(parse(whole))
        for round_ in range(rounds):
            output, status = stopped_behind(
                check, words, script_of(built), check.rng.randrange(2**17) if round_ else 0
            )
            check.runs += 1
            try:
                document = parse(output)
                last = document[-1] if isinstance(document, list) else document
                if last.get("error") != {"text": "stopped", "status": STOPPED} or status != STOPPED:
                    raise Fault(f"ended with {status} and {last.get('error')}")
                if not is_part(report.same(without_end(document)), whole):
                    raise Fault("other rows than were sent" + difference(whole, report.same(document)))
            except Fault as fault:
                check.fault(f"{shown(words)} (stopped anywhere)", f"{fault}\n    ...{output[-300:]!r}")


def check_stops_before_a_byte(check):
    """A run that is stopped before its reader takes anything: a document, or the beginning of the one it would be."""
    script = lambda request: Reply(b'a"\xd6' * 50000, length=1)
    for words in (["obstable", "list"], ["table", "get"]):
        whole, _, _ = check.appliance.run(check.json, words, script)
        output, status = stopped_behind(check, words, script, 0, waiting=b" " * PIPE)
        check.runs += 1
        try:
            if status != STOPPED or not whole.startswith(output.strip()):
                parse(output.strip(b" "))
        except Fault as fault:
            check.fault(f"{shown(words)} (stopped before a byte)", f"{fault}\n    {output.strip()[-300:]!r}")


def sleeps(pid):
    with open(f"/proc/{pid}/stat") as stat:
        return stat.read().rsplit(")", 1)[1].split()[0] == "S"


PIPE = 4096  # bytes that a pipe of one page holds


def stopped_behind(check, words, script, read, waiting=b""):
    """Reads so many bytes, lets the run fill its pipe, stops it, and reads on. `waiting` is in the pipe before."""
    check.appliance.script, check.appliance.requests = script, []
    pipe, end = os.pipe()
    fcntl.fcntl(pipe, fcntl.F_SETPIPE_SZ, PIPE)
    os.write(end, waiting)
    run = subprocess.Popen(
        [check.json, *words], stdout=end, stderr=subprocess.DEVNULL, env=check.appliance.environment()
    )
    os.close(end)
    output = piece = b""
    while len(output) < read and (piece or not output):
        piece = os.read(pipe, read - len(output))
        output += piece
    while waiting and run.poll() is None and not (check.appliance.requests and sleeps(run.pid)):
        time.sleep(0.002)
    waiting, before = bytes(4), None
    while (waiting != before or not any(waiting)) and run.poll() is None:
        before = waiting
        time.sleep(0.002)
        waiting = fcntl.ioctl(pipe, termios.FIONREAD, bytes(4))
    run.terminate()
    with os.fdopen(pipe, "rb") as rest:
        return output + rest.read(), run.wait(30)


def check_lost_output(check):
    built = REPORTS[0].build(Texts(BENIGN, hostile=False), 3)
    with open("/dev/full", "wb") as full:
        for words in (["ipobj", "listflow"], ["a", "b"], []):
            _, status, _ = check.appliance.run(check.json, words, script_of(built), output=full)
            if status != FAILED:
                check.fault(f"{shown(words)} >/dev/full", f"ends with {status}")


def check_chance(check, rounds):
    """Daemons with random records that fail at random. `seed` and round tell how to see one again."""
    refusal = lambda rng: Reply(error=rng.choice([1, 7, 256, -1, 2**31 - 1]), text=RandomTexts(rng)(116))
    broken = lambda rng: Reply(size=rng.randrange(FULL))
    miscount = lambda rng: Reply(
        count=rng.choice([-1, -(2**31), 2**31 - 1, 5000]), length=rng.choice([0, -1, 7]), last=False
    )
    garbage = lambda rng: Reply(
        bytes(rng.randrange(256) for _ in range(600)), count=rng.randrange(6), length=rng.choice([0, 600])
    )
    for round_ in range(rounds):
        rng = random.Random(check.rng.randrange(2**62))
        report = rng.choice(REPORTS)
        built = report.build(RandomTexts(rng), rng.randrange(9))
        exchanges = 1 if built.one_batch or built.script else min(max(len(built.records), 1), 3)
        at, kind = rng.randrange(exchanges + 1 if round_ % 8 == 0 else exchanges), rng.choice(
            [refusal, broken, miscount, garbage]
        )
        served = []

        def reply():
            served.append(1)
            return kind(rng)

        output, status, _ = check.appliance.run(
            check.json, [*report.command.split(), *report.words], failing(script_of(built), at, reply)
        )
        check.failed_by_chance += len(served)
        try:
            document, error, _ = check.document(
                [], output, status, check.schemas.entries[report.command].schema, False
            )
            if error is None and (status != 0 or served and kind in (refusal, broken)):
                raise Fault(f"ends with {status} and has no error")
            if not served and report.same(document) != report.same(built.document):
                raise Fault(
                    "other values than were sent" + difference(report.same(built.document), report.same(document))
                )
            if (
                served
                and kind in (refusal, broken)
                and not is_part(report.same(without_end(document)), report.same(built.document))
            ):
                raise Fault(
                    "other rows than were sent" + difference(report.same(built.document), report.same(document))
                )
        except Fault as fault:
            check.fault(f"round {round_}: {report}, failing in exchange {at}", f"{fault}\n    {output[:600]!r}")
