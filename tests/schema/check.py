#!/usr/bin/python3
"""Whether vigil-json keeps its schemas, whatever daemons and strangers say.

    check.py --build DIR --schemas DIR [--long N] [--seed S]

Runs every verb against daemons that this program plays, with records whose texts imitate and break documents, and
against the lab appliance. What comes out is parsed strictly, held against the verb's schema, and compared with what
was sent; daemons fail in every batch and in every way. In the end every member of every schema must have appeared,
and docs/json.md must say of the plain program what it does. --long N adds N daemons with random records that fail
at random.
"""
import argparse
import os
import pathlib
import random
import shlex
import signal
import subprocess
import sys
import threading
import time

import reports
from appliance import Appliance, Reply, Root
from records import dotted
from reports import REPORTS, Built, Report, script_of
from schemas import ALWAYS, NEVER, SOMETIMES, Schemas
from strict import Fault, is_document, parse
from texts import HOSTILE, RandomTexts, Sweep, Texts, decode, decode_gbk

BENIGN = [b"alpha", b"b.example", b"gamma-3", b"delta", b"e"]
TRUNCATED, FULL = 100, 208  # bytes of a reply record
FAILED, STOPPED = 255, 1


def shown(words):
    return shlex.join(words)


class Check:
    def __init__(self, build, folder, seed):
        self.build = pathlib.Path(build).resolve()
        self.json, self.plain = str(self.build / "vigil-json"), str(self.build / "vigil")
        self.schemas = Schemas(folder)
        self.rng = random.Random(seed)
        self.faults = []
        self.runs = 0
        self.plain_forms = {}  # command: whether plain runs that succeeded printed a document: a set of bools
        files = [("/conf/kestrel.conf", reports.CONFIGURATION), ("/vendors", reports.VENDOR_LIST)]
        self.appliance = Appliance(self.build / "tests/dict/dict_full.so", files)
        subprocess.run([self.build / "tools/vigil-ouidb", "make", self.appliance.root + "/vendors",
                        self.appliance.root + "/usr/ramdisk/etc/oui.dat"], check=True, stderr=subprocess.DEVNULL)

    def fault(self, what, why):
        self.faults.append(f"{what}: {why}")

    # ---- One run

    def document(self, words, output, status, schema, complete):
        """The document of a run, held against its schema; raises Fault."""
        self.runs += 1
        document = parse(output)
        if any(separator in output for separator in ("\u2028".encode(), "\u2029".encode())):
            raise Fault("a line separator that is not escaped")
        self.schemas.check(schema, document)
        last = document[-1] if isinstance(document, list) and document else document
        error = last.get("error") if isinstance(last, dict) else None
        if error is not None:
            if list(last)[-1] != "error":
                raise Fault(f"error is not the last member: {list(last)}")
            if error["status"] != status:
                raise Fault(f"ends with {status} and says {error['status']}")
        if complete and error is not None:
            raise Fault(f"failed: {error}")
        return document, error, last.get("notes") if isinstance(last, dict) else None

    def run_both(self, entry, words, script, name, complete=True):
        """Runs both programs against the same script; returns the document, its error and its notes."""
        command = entry.command.split()
        output, status, requests = self.appliance.run(self.json, [*command, *words], script())
        try:
            result = self.document(words, output, status, entry.schema, complete)
            word = (entry.plain.get("with") or "").split()
            plain_output, plain_status, plain_requests = self.appliance.run(self.plain, [*command, *words, *word], script())
            if plain_status != status:
                raise Fault(f"ends with {status}, the plain form with {plain_status}")
            self.same_requests(entry, requests, plain_requests)
            if complete:
                self.plain_forms.setdefault(entry.command, set()).add(is_document(plain_output))
            return result
        except Fault as fault:
            self.fault(f"{shown([*command, *words])} ({name})", f"{fault}\n    {output[:400]!r}")
            return None, None, None

    def same_requests(self, entry, requests, plain):
        word = entry.json_word

        def told(all_of):
            return [(r.daemon, r.code, r.module, [a for a in r.text.split() if not word or not a.startswith(word.split(b"=")[0])])
                    for r in all_of]
        word = word.encode() if word else None
        if told(requests) != told(plain):
            raise Fault(f"asks for {requests}, the plain form for {plain}")
        if word and any(a.startswith(word) for r in requests for a in r.text.split()):
            raise Fault(f"forwards {word!r}")

    # ---- What is checked

    def check_catalogue(self):
        for fault in self.schemas.faults_of_form():
            self.fault("schema", fault)
        printed = subprocess.run([self.build / "tests/print_catalogue"], check=True, capture_output=True, text=True).stdout
        verbs = dict.fromkeys(" ".join(line.split()[1:]) for line in printed.splitlines())
        daemons = {" ".join(line.split()[1:]): line.split()[0] for line in printed.splitlines()}
        forms = {"", "WORD", "sysboot", "--version", "keytbl list"}
        entries = {command: entry for command, entry in self.schemas.entries.items() if command not in forms}
        for command in verbs.keys() - entries.keys():
            self.fault(command, "is not in schema/catalogue.json")
        for command in entries.keys() - verbs.keys():
            self.fault(command, "is in schema/catalogue.json and not in the program")
        listed = [command for command in entries if not command.startswith("MODULE")]
        if listed != [command for command in verbs if not command.startswith("MODULE")]:
            self.fault("catalogue", "the modules or verbs stand in another order than in the program")
        for command, entry in entries.items():
            if daemons.get(command, entry.daemon) != entry.daemon:
                self.fault(command, f"belongs to the {daemons[command]} daemon")

    def check_report(self, report, texts, n, name):
        built = report.build(texts, n)
        entry = self.schemas.entries[report.command]
        document, _, notes = self.run_both(entry, report.words, lambda: script_of(built), f"{name}, {n} records")
        if document is None:
            return
        if notes:
            self.fault(f"{report} ({name})", f"notes {notes}")
        if report.same(document) != report.same(built.document):
            self.fault(f"{report} ({name})", "other values than were sent" + difference(report.same(built.document), report.same(document)))

    def check_reports(self):
        for report in REPORTS:
            self.check_report(report, Texts(BENIGN, hostile=False), 7, "quiet texts")
            self.check_report(report, Texts(HOSTILE), len(HOSTILE) // 2 + 1, "hostile texts")
            self.check_report(report, Sweep(), 24, "every byte value")
            self.check_report(report, Texts([b""], hostile=False), 4, "empty texts")
            self.check_report(report, Texts(BENIGN, hostile=False), 0, "no records")

    def check_encodings(self):
        """The schemas say which texts are GBK: the bytes of UTF-8 come out as other characters there."""
        word = "\u4e2d\u56fd"
        mistaken = decode_gbk(word.encode())[0]
        for report in REPORTS:
            built = report.build(Texts([word.encode()]), 3)
            output, status, _ = self.appliance.run(self.json, [*report.command.split(), *report.words], script_of(built))
            try:
                self.document([], output, status, self.schemas.entries[report.command].schema, True)
                for encoding, text in self.schemas.texts:
                    if (word if encoding == "GBK" else mistaken) in text and "lines" not in built.document:
                        raise Fault(f"{text!r} is not {encoding}")
            except Fault as fault:
                self.fault(report, fault)

    def check_typed_words(self):
        """What is typed of the word that selects JSON changes nothing."""
        for entry in self.schemas.entries.values():
            report = next((report for report in REPORTS if report.command == entry.command), None)
            if not entry.json_word or not report:
                continue
            built = report.build(Texts(BENIGN, hostile=False), 4)
            for typed in ("0", "1", "x"):
                word = entry.json_word.split("=")[0] + "=" + typed
                output, status, requests = self.appliance.run(self.json, [*entry.command.split(), *report.words, word], script_of(built))
                try:
                    document, _, _ = self.document([], output, status, entry.schema, True)
                    if document != built.document:
                        raise Fault("another document" + difference(built.document, document))
                    if any(word.encode() in request.text for request in requests):
                        raise Fault("the word was forwarded")
                except Fault as fault:
                    self.fault(f"{report} {word}", fault)

    def check_texts(self):
        """The verbs whose answer is the daemon's text, or nothing."""
        for entry in self.schemas.entries.values():
            if entry.schema not in ("text.json", "nothing.json", "not-supported.json"):
                continue
            command = entry.command.replace("MODULE", "nosuchmodule")
            entry = type(entry)(command, entry.daemon, entry.said)
            words = sample_words(entry)
            for text in (b'row one\n"}],"error":{"text":"x"}\n\\', b"\xd6\xd0\xb9\xfa\n" + bytes(range(1, 256)), b""):
                supported = entry.schema != "not-supported.json"
                script = lambda: lambda request: Reply(text, count=3)
                document, error, notes = self.run_both(entry, words, script, repr(text), complete=supported)
                if document is None:
                    continue
                if supported:
                    expected = {"text": decode(text)} if entry.schema == "text.json" else {}
                    if document != expected and not (text == b"" and document == {}):
                        self.fault(f"{command} ({text!r})", f"{document}")
                elif error["text"] != "NOT_SUPPORTED":
                    self.fault(command, f"{document}")

    def failures(self, built):
        """Ways to fail, each a function of (script, exchange that fails) and the error text it must give, if known."""
        hostile = (b'"},{"\\' + bytes(range(1, 256)))[:116]
        yield "refuses", lambda: Reply(error=7, text=hostile), decode(hostile)
        yield "refuses in silence", lambda: Reply(error=-1, text=b""), None
        yield "closes", lambda: Reply(size=0), None
        yield "cuts its reply", lambda: Reply(size=TRUNCATED), None
        if built.records:
            yield "counts below zero", lambda: Reply(count=-1, length=0), "INV_REPLY"
            yield "counts beyond the segment", lambda: Reply(count=2**31 - 1, length=0), "INV_REPLY"

    def check_failures(self):
        """A daemon that fails in any batch leaves a document whose last word is the error."""
        for report in REPORTS:
            entry = self.schemas.entries[report.command]
            built = report.build(Texts(HOSTILE), 6)
            whole = report.same(built.document)
            for at in range(1 if built.one_batch else 3):
                for name, reply, text in self.failures(built):
                    script = lambda: failing(script_of(built), at, reply)
                    document, error, _ = self.run_both(entry, report.words, script, f"{name} in exchange {at}", complete=False)
                    if document is None:
                        continue
                    what = f"{report} ({name} in exchange {at})"
                    if error is None and not (at > 0 and report.same(document) == whole):  # not that many exchanges
                        self.fault(what, f"no error in {str(document)[:300]}")
                    elif error and text is not None and error["text"] != text:
                        self.fault(what, f"the error says {error['text']!r}")
                    elif not is_part(report.same(without_end(document)), whole):
                        self.fault(what, "other rows than were sent" + difference(whole, report.same(document)))
        self.check_missing_socket()

    def check_missing_socket(self):
        for report in REPORTS[:1] + [report for report in REPORTS if report.command == "kesidslog listflow"]:
            entry, built = self.schemas.entries[report.command], report.build(Texts(BENIGN, hostile=False), 6)
            socket = self.appliance.root + "/usr/ramdisk/var/mgmt.d"
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
                _, error, _ = self.run_both(entry, report.words, script, f"nobody listens after exchange {at}", complete=False)
                if error is None or not error["text"].startswith("can't connect"):
                    self.fault(str(report), f"nobody listens: {error}")
                os.rename(socket + ".gone", socket)

    def check_forms(self):
        for words, entry, status in [([], "", FAILED), (["obs"], "WORD", FAILED), (["nosuch"], "WORD", FAILED), ([""], "WORD", FAILED),
                                     (["sysboot"], "sysboot", 0)]:
            output, ended, _ = self.appliance.run(self.json, words)
            plain, plain_ended, _ = self.appliance.run(self.plain, words)
            self.plain_forms.setdefault(entry, set()).add(is_document(plain))
            lines = plain.decode().splitlines()
            try:
                document, _, _ = self.document(words, output, ended, self.schemas.entries[entry].schema, True)
                expected = {"boot": int(lines[0].split("_")[0])} if words == ["sysboot"] else {"verbs" if words else "modules": lines}
                if (document, ended) != (expected, status) or plain_ended != status:
                    raise Fault(f"{document} with {ended}, the plain form {lines} with {plain_ended}")
            except Fault as fault:
                self.fault(shown(words) or "no word", fault)
        self.check_version()
        for words in (["a", "b"], ["chart", "nosuch"], ["keytbl", "stat"], ['"', "\\\xff"]):
            self.refused(words, None, f"invalid commands: {decode(' '.join(words).encode('utf-8', 'surrogateescape'))}", 1)

    def check_version(self):
        output, ended, _ = self.appliance.run(self.json, ["--version"])
        plain, plain_ended, _ = self.appliance.run(self.plain, ["--version"])
        self.plain_forms.setdefault("--version", set()).add(is_document(plain))
        try:
            document, _, _ = self.document(["--version"], output, ended, self.schemas.entries["--version"].schema, True)
            if document.keys() != {"version", "vendor_key"} or ended != 0 or (plain, plain_ended) != (b"", FAILED):
                raise Fault(f"{document} with {ended}, the plain form {plain} with {plain_ended}")
        except Fault as fault:
            self.fault("--version", fault)

    def refused(self, words, environment, text, status=FAILED, script=None, requests=0):
        """vigil-json must refuse these words with this text, before anything is asked."""
        output, ended, arrived = self.appliance.run(self.json, words, script, environment)
        try:
            document, error, _ = self.document(words, output, ended, "nothing.json", False)
            if list(document) != ["error"] or error["text"] != text or ended != status or len(arrived) > requests:
                raise Fault(f"{document} with {ended} after {arrived}")
        except Fault as fault:
            self.fault(f"{shown(words)} with {environment}", f"{fault}\n    {output[:300]!r}")

    def check_refusals(self):
        quiet = lambda request: Reply(b"fine")
        for value in ("0", "3601", "x", "-1", "1.5", " 5", "5 ", "1e2", "99999999999999999999"):
            self.refused(["module", "list"], {"VIGIL_TIMEOUT": value}, "VIGIL_TIMEOUT must be 1 to 3600", script=quiet)
            output, status, arrived = self.appliance.run(self.plain, ["module", "list"], quiet, {"VIGIL_TIMEOUT": value})
            if (output, status, arrived) != (b"VIGIL_TIMEOUT must be 1 to 3600\n", FAILED, []):
                self.fault(f"plain VIGIL_TIMEOUT={value}", f"{output!r} {status}")
        for value in ("1", "3600"):
            output, status, _ = self.appliance.run(self.json, ["module", "list"], quiet, {"VIGIL_TIMEOUT": value})
            if (output, status) != (b'{"text":"fine"}\n', 0):
                self.fault(f"VIGIL_TIMEOUT={value}", f"{output!r} {status}")
        self.refused(["module", "list"], {"VIGIL_ROOT": "relative"}, "VIGIL_ROOT is no absolute path")
        for word in ("name=x ip=1.2.3.4", "name=x\tip=1", "a=b\n", " ", "a=\x01", "a=\x7f"):
            for command in ("tcpreset list", "obslog stat", "nosuchmodule add", "ipobj listflow", "malclog list", "obsdnsgrp dumpgrp",
                            "chart timesum", "table addip 1", "keytbl list", "mempcap add", "obsiptable addip tid=1", "ipobj listipa -ip",
                            "kesidslog list", "nevt list", "table rmvip 1", "whiteip list", "chart dump"):
                status = 0 if command == "keytbl list" else FAILED
                self.refused([*command.split(), word], None, "INV_ARG", status, quiet)
        # A word that stays here may have a blank in it.
        report = next(report for report in REPORTS if report.command == "nevtlog list")
        built = report.build(Texts(BENIGN, hostile=False), 3)
        output, status, _ = self.appliance.run(self.json, ["nevtlog", "list", "keywd=no such name"], script_of(built))
        if (output, status) != (b'{"data":[], "total":0}\n', 0):
            self.fault("nevtlog list keywd='no such name'", f"{output!r} {status}")
        for words in (["mempcap", "dump"], ["obspcap", "save", "of=/dev/stdout"]):
            self.packets_refused(words)

    def packets_refused(self, words):
        subprocess.run([self.json, "obspcap", "init", "count=1", "bs=0"], env={"VIGIL_ROOT": self.appliance.root}, stdout=subprocess.DEVNULL)
        output, status, requests = self.appliance.run(self.json, words, lambda request: Reply(b"PACKETS"))
        try:
            document, error, _ = self.document(words, output, status, "-".join(words[:2]) + ".json", False)
            if status != FAILED or not error or requests:
                raise Fault(f"{document} with {status} after {requests}")
        except Fault as fault:
            self.fault(shown(words), fault)

    def check_files(self):
        root = self.appliance.root
        for words, expected in [(["obspcap", "init", f"file={root}/ring", "count=2", "bs=0"], {}),
                                (["obspcap", "init", f"file={root}/ring"], {"error": {"text": f'file "{root}/ring" exist!', "status": FAILED}}),
                                (["obspcap", "save", f"if={root}/ring", f"of={root}/out"], {"notes": ["no full block found"]}),
                                (["obspcap", "init", "count=-1"], {"error": {"text": "INV_COUNT", "status": FAILED}})]:
            output, status, _ = self.appliance.run(self.json, words)
            try:
                document, _, _ = self.document(words, output, status, "-".join(words[:2]) + ".json", "error" not in expected)
                if document != expected:
                    raise Fault(document)
            except Fault as fault:
                self.fault(shown(words), fault)
        for words in (["mempcap", "dump"], ["obspcap", "init", f"file={root}/ring2", "count=1", "bs=0"],
                      ["obspcap", "save", f"if={root}/ring", f"of={root}/out"]):
            output, _, _ = self.appliance.run(self.plain, words, lambda request: Reply(b"PACKETS"))
            self.plain_forms.setdefault(" ".join(words[:2]), set()).add(is_document(output))

    def check_notes(self):
        """Messages that stand beside a document."""
        with Appliance() as bare:  # no dictionary, no vendors, no configuration
            for command, words, notes, text in [
                    ("obssyslog list", [], ["file fstat error"], None), ("obsnetbios list", [], ["file fstat error"], None),
                    ("ipobj listbussflow", ["src=nowhere"], ["INV_IPEFLOW"], "dict.so"), ("ipobj listflow", [], None, "dict.so")]:
                report = next(report for report in REPORTS if report.command == command)
                output, status, _ = bare.run(self.json, [*command.split(), *words], script_of(report.build(Texts(BENIGN, hostile=False), 3)))
                try:
                    _, error, said = self.document(words, output, status, self.schemas.entries[command].schema, text is None)
                    if said != notes or (text and text not in error["text"]):
                        raise Fault(f"notes {said}, error {error}")
                except Fault as fault:
                    self.fault(f"{command} below a bare root", f"{fault}\n    {output[:300]!r}")

    def check_stops(self):
        """A signal, or the time that was given, ends a run in the middle of its document."""
        for report in REPORTS:
            self.stopped(report, {}, "stopped", signal.SIGTERM)
        for report in REPORTS[0], next(report for report in REPORTS if report.command == "kesidslog listflow"):
            self.stopped(report, {"VIGIL_TIMEOUT": "1"}, "timeout", None)

    def stopped(self, report, environment, text, sent):
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
        self.appliance.script = script
        run.append(subprocess.Popen([self.json, *report.command.split(), *report.words], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                    env={"VIGIL_ROOT": self.appliance.root, "TZ": "UTC0", **environment}))
        ready.set()
        try:
            output = run[0].communicate(timeout=30)[0]
        finally:
            release.set()
        try:
            document, error, _ = self.document([], output, run[0].returncode, self.schemas.entries[report.command].schema, False)
            if not error or error != {"text": text, "status": STOPPED}:
                raise Fault(f"ended with {run[0].returncode} and {error}")
            if not is_part(report.same(without_end(document)), report.same(built.document)):
                raise Fault("other rows than were sent" + difference(built.document, document))
        except Fault as fault:
            self.fault(f"{report} ({text})", f"{fault}\n    {output[:300]!r}")

    def check_stops_anywhere(self, rounds):
        """A signal that comes while rows are printed leaves whole rows and the end of a document."""
        for command in ("nevt list", "obssyslog list", "ipobj listbussflow"):
            report = next(report for report in REPORTS if report.command == command)
            built = report.build(Texts(HOSTILE), 3000)
            words = [*command.split(), *report.words, "limit=3000"]
            for _ in range(rounds):
                self.appliance.script = script_of(built)
                run = subprocess.Popen([self.json, *words], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                       env={"VIGIL_ROOT": self.appliance.root, "TZ": "UTC0"})
                time.sleep(0.003 + self.rng.random() * 0.04)
                run.terminate()
                output = run.communicate(timeout=30)[0]
                self.runs += 1
                try:
                    if not output and run.returncode == -signal.SIGTERM:
                        continue  # before the program was in its own hands
                    document = parse(output)
                    last = document[-1] if isinstance(document, list) and document else document
                    if run.returncode == 0 and "error" not in last:
                        continue  # too late
                    if last["error"] != {"text": "stopped", "status": STOPPED} or run.returncode != STOPPED:
                        raise Fault(f"ended with {run.returncode} and {last['error']}")
                    if not is_part(report.same(without_end(document)), report.same(built.document)):
                        raise Fault("other rows than were sent")
                except Fault as fault:
                    self.fault(f"{shown(words)} (stopped anywhere)", f"{fault}\n    ...{output[-300:]!r}")

    def check_lost_output(self):
        built = REPORTS[0].build(Texts(BENIGN, hostile=False), 3)
        with open("/dev/full", "wb") as full:
            for words in (["ipobj", "listflow"], ["a", "b"], []):
                _, status, _ = self.appliance.run(self.json, words, script_of(built), output=full)
                if status != FAILED:
                    self.fault(f"{shown(words)} >/dev/full", f"ends with {status}")

    # ---- The lab

    def check_lab(self):
        """Every verb against an appliance that has something to say."""
        with Root() as place:
            lab = subprocess.Popen([self.build / "lab/vigil-lab", "--root", place.root, "--sessions", "300", "--seed", "5"],
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            try:
                if not lab.stdout.readline().startswith(b"ready"):
                    raise AssertionError("the lab does not serve")
                for entry in sorted(self.schemas.entries.values(), key=lambda entry: "remove" in entry.command or "clear" in entry.command):
                    self.lab_verb(place, entry)
            finally:
                lab.terminate()
                lab.wait(60)

    def lab_verb(self, place, entry):
        if entry.command in ("", "WORD", "sysboot", "--version") or entry.command.startswith(("MODULE", "obspcap")):
            return
        asked = [report.words for report in REPORTS if report.command == entry.command] or [sample_words(entry)]
        for words in asked:
            output, status, _ = place.run(self.json, [*entry.command.split(), *words])
            try:
                self.document(words, output, status, entry.schema, False)
            except Fault as fault:
                self.fault(f"lab: {entry.command} {shown(words)}", f"{fault}\n    {output[:300]!r}")

    # ---- Chance

    def check_chance(self, rounds):
        """Daemons with random records that fail at random. `seed` and round tell how to see one again."""
        refusal = lambda rng: Reply(error=rng.choice([1, 7, 256, -1, 2**31 - 1]), text=RandomTexts(rng)(116))
        broken = lambda rng: Reply(size=rng.randrange(FULL))
        miscount = lambda rng: Reply(count=rng.choice([-1, -2**31, 2**31 - 1, 5000]), length=rng.choice([0, -1, 7]), last=False)
        garbage = lambda rng: Reply(bytes(rng.randrange(256) for _ in range(600)), count=rng.randrange(6), length=rng.choice([0, 600]))
        for round_ in range(rounds):
            rng = random.Random(self.rng.randrange(2**62))
            report = rng.choice(REPORTS)
            built = report.build(RandomTexts(rng), rng.randrange(9))
            at, kind = rng.randrange(4), rng.choice([refusal, broken, miscount, garbage])
            served = []

            def reply():
                served.append(1)
                return kind(rng)
            output, status, _ = self.appliance.run(self.json, [*report.command.split(), *report.words], failing(script_of(built), at, reply))
            try:
                document, error, _ = self.document([], output, status, self.schemas.entries[report.command].schema, False)
                if error is None and (status != 0 or served and kind in (refusal, broken)):
                    raise Fault(f"ends with {status} and has no error")
                if not served and report.same(document) != report.same(built.document):
                    raise Fault("other values than were sent" + difference(report.same(built.document), report.same(document)))
                if served and kind in (refusal, broken) and not is_part(report.same(without_end(document)), report.same(built.document)):
                    raise Fault("other rows than were sent" + difference(report.same(built.document), report.same(document)))
            except Fault as fault:
                self.fault(f"round {round_}: {report}, failing in exchange {at}", f"{fault}\n    {output[:600]!r}")

    # ---- In the end

    def check_coverage(self):
        for fault in self.schemas.never_seen():
            self.fault("schema", fault)

    def check_plain_claims(self):
        for command, entry in self.schemas.entries.items():
            forms = self.plain_forms.get(command.replace("MODULE", "nosuchmodule"), set())
            expected = {ALWAYS: {True}, NEVER: {False}, SOMETIMES: {True, False}}[entry.plain["valid"]]
            if forms != expected and entry.schema != "not-supported.json":
                self.fault(command or "no word", f"the plain form is said to be valid {entry.plain['valid']}; runs that were: {sorted(forms)}")

    def run(self, rounds):
        for check in (self.check_catalogue, self.check_forms, self.check_reports, self.check_encodings, self.check_typed_words, self.check_texts, self.check_failures,
                      self.check_refusals, self.check_files, self.check_notes, self.check_stops, self.check_lost_output, self.check_lab):
            began = time.monotonic()
            check()
            if os.environ.get("CHECK_TIMES"):
                print(f"{check.__name__} {time.monotonic() - began:.2f}", file=sys.stderr)
        self.check_stops_anywhere(5 + rounds // 100)
        self.check_chance(rounds)
        self.check_coverage()
        self.check_plain_claims()
        self.appliance.close()


def without_end(document):
    """A document without its last words."""
    if isinstance(document, list):
        last = document[-1] if document else None
        return document[:-1] if isinstance(last, dict) and ("error" in last or "notes" in last) else document
    return {member: value for member, value in document.items() if member not in ("notes", "error")}


def is_part(document, whole):
    """Whether a document is the beginning of another."""
    if not isinstance(document, type(whole)):
        return not document  # nothing, whatever it would have been
    if isinstance(document, dict):
        return all(member in whole and (is_part(value, whole[member]) or member == "text" and whole["text"].startswith(value))
                   for member, value in document.items())
    if isinstance(document, list):
        return document[:-1] == whole[:len(document)][:-1] and len(document) <= len(whole) and (
            not document or is_part(document[-1], whole[len(document) - 1]))
    return document == whole


def failing(script, at, reply):
    """The script with another reply in exchange `at`."""
    count = [0]

    def serve(request):
        count[0] += 1
        return reply() if count[0] == at + 1 else script(request)
    return serve


def sample_words(entry):
    """Something typed for each argument that a verb is known to take."""
    words = []
    for argument in entry.said["x-arguments"]:
        address = "IPv4" in argument.get("values", {}).get("description", "") or argument["name"] == "ip="
        value = "192.0.2.1" if address else "1"
        if argument.get("form") == "position":
            words.append(value)
        elif argument.get("form") == "word":
            words.append(argument["name"])
        elif argument.get("form") != "option":
            words.append(argument["name"] + value)
    return words


def difference(expected, document, place=""):
    """The first place where two documents differ."""
    if type(expected) is type(document) and isinstance(expected, dict) and list(expected) == list(document):
        for member in expected:
            if expected[member] != document[member]:
                return difference(expected[member], document[member], f"{place}/{member}")
    if type(expected) is type(document) and isinstance(expected, list):
        for at, (a, b) in enumerate(zip(expected, document)):
            if a != b:
                return difference(a, b, f"{place}/{at}")
    return f"\n    at {place}\n    sent     {str(expected)[:500]!r}\n    document {str(document)[:500]!r}"


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--build", required=True)
    options.add_argument("--schemas", required=True)
    options.add_argument("--long", type=int, default=150)
    options.add_argument("--seed", type=int, default=1)
    chosen = options.parse_args()
    check = Check(chosen.build, chosen.schemas, chosen.seed)
    check.run(chosen.long)
    for fault in check.faults[:40]:
        print(fault)
    print(f"{check.runs} documents, {len(check.faults)} faults")
    return 1 if check.faults else 0


if __name__ == "__main__":
    sys.exit(main())
