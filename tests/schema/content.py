"""What is printed is what was sent, and every verb has a schema."""
import subprocess

from appliance import Reply
from reports import REPORTS, script_of
from runs import difference, sample_words
from strict import Fault
from texts import HOSTILE, Sweep, Texts, decode, decode_gbk

BENIGN = [b"alpha", b"b.example", b"gamma-3", b"delta", b"e"]


def check_catalogue(check):
    for fault in check.schemas.faults_of_form():
        check.fault("schema", fault)
    printed = subprocess.run(
        [check.build / "tests/print_catalogue"],
        check=True,
        capture_output=True,
        text=True,
        env=check.appliance.environment(),
    ).stdout
    verbs = dict.fromkeys(" ".join(line.split()[1:]) for line in printed.splitlines())
    daemons = {" ".join(line.split()[1:]): line.split()[0] for line in printed.splitlines()}
    forms = {"", "WORD", "sysboot", "--version", "keytbl list"}
    entries = {command: entry for command, entry in check.schemas.entries.items() if command not in forms}
    for command in verbs.keys() - entries.keys():
        check.fault(command, "is not in schema/catalogue.json")
    for command in entries.keys() - verbs.keys():
        check.fault(command, "is in schema/catalogue.json and not in the program")
    listed = [command for command in entries if not command.startswith("MODULE")]
    if listed != [command for command in verbs if not command.startswith("MODULE")]:
        check.fault("catalogue", "the modules or verbs stand in another order than in the program")
    for command, entry in entries.items():
        if daemons.get(command, entry.daemon) != entry.daemon:
            check.fault(command, f"belongs to the {daemons[command]} daemon")


def check_report(check, report, texts, n, name):
    built = report.build(texts, n)
    entry = check.schemas.entries[report.command]
    document, _, notes = check.run_both(entry, report.words, lambda: script_of(built), f"{name}, {n} records")
    if document is None:
        return
    if notes:
        check.fault(f"{report} ({name})", f"notes {notes}")
    if report.same(document) != report.same(built.document):
        check.fault(
            f"{report} ({name})",
            "other values than were sent" + difference(report.same(built.document), report.same(document)),
        )


def check_reports(check):
    for report in REPORTS:
        check_report(check, report, Texts(BENIGN, hostile=False), 7, "quiet texts")
        check_report(check, report, Texts(HOSTILE), len(HOSTILE) // 2 + 1, "hostile texts")
        check_report(check, report, Sweep(), 24, "every byte value")
        check_report(check, report, Texts([b""], hostile=False), 4, "empty texts")
        check_report(check, report, Texts(BENIGN, hostile=False), 0, "no records")


def check_encodings(check):
    """The schemas say which texts are GBK: the bytes of UTF-8 come out as other characters there."""
    word = "\u4e2d\u56fd"
    mistaken = decode_gbk(word.encode())[0]
    for report in REPORTS:
        built = report.build(Texts([word.encode()]), 3)
        output, status, _ = check.appliance.run(
            check.json, [*report.command.split(), *report.words], script_of(built)
        )
        try:
            document, _, _ = check.document([], output, status, check.schemas.entries[report.command].schema, True)
            if report.same(document) != report.same(built.document):
                raise Fault(
                    "other values than were sent" + difference(report.same(built.document), report.same(document))
                )
            for encoding, text in check.schemas.texts:
                if (word if encoding == "GBK" else mistaken) in text and "lines" not in built.document:
                    raise Fault(f"{text!r} is not {encoding}")
        except Fault as fault:
            check.fault(report, fault)


def check_typed_words(check):
    """What is typed of the word that selects JSON changes nothing."""
    for entry in check.schemas.entries.values():
        report = next((report for report in REPORTS if report.command == entry.command), None)
        if not entry.json_word or not report:
            continue
        built = report.build(Texts(BENIGN, hostile=False), 4)
        for typed in ("0", "1", "x"):
            word = entry.json_word.split("=")[0] + "=" + typed
            output, status, requests = check.appliance.run(
                check.json, [*entry.command.split(), *report.words, word], script_of(built)
            )
            try:
                document, _, _ = check.document([], output, status, entry.schema, True)
                if report.same(document) != report.same(built.document):
                    raise Fault("another document" + difference(built.document, document))
                if any(word.encode() in request.text for request in requests):
                    raise Fault("the word was forwarded")
            except Fault as fault:
                check.fault(f"{report} {word}", fault)


def check_texts(check):
    """The verbs whose answer is the daemon's text, or nothing."""
    for entry in check.schemas.entries.values():
        if entry.schema not in ("text.json", "nothing.json", "not-supported.json"):
            continue
        command = entry.command.replace("MODULE", "nosuchmodule")
        entry = type(entry)(command, entry.daemon, entry.said)
        words = sample_words(entry)
        for text in (b'row one\n"}],"error":{"text":"x"}\n\\', b"\xd6\xd0\xb9\xfa\n" + bytes(range(1, 256)), b""):
            supported = entry.schema != "not-supported.json"
            script = lambda: lambda request: Reply(text, count=3)
            document, error, notes = check.run_both(entry, words, script, repr(text), complete=supported)
            if document is None:
                continue
            if supported:
                expected = {"text": decode(text)} if entry.schema == "text.json" else {}
                if document != expected and not (text == b"" and document == {}):
                    check.fault(f"{command} ({text!r})", f"{document}")
            elif error["text"] != "NOT_SUPPORTED":
                check.fault(command, f"{document}")
