"""Command lines that need no daemon, that are refused, or that have something to say beside their document."""
import subprocess

from appliance import Appliance, Reply
from content import BENIGN
from reports import REPORTS, script_of
from runs import FAILED, shown
from strict import Fault, is_document
from texts import Texts, decode


def check_forms(check):
    for words, entry, status in [
        ([], "", FAILED),
        (["obs"], "WORD", FAILED),
        (["nosuch"], "WORD", FAILED),
        ([""], "WORD", FAILED),
        (["sysboot"], "sysboot", 0),
    ]:
        output, ended, _ = check.appliance.run(check.json, words)
        plain, plain_ended, _ = check.appliance.run(check.plain, words)
        check.plain_forms.setdefault(entry, set()).add(is_document(plain))
        lines = plain.decode().splitlines()
        try:
            document, _, _ = check.document(words, output, ended, check.schemas.entries[entry].schema, True)
            expected = (
                {"boot": int(lines[0].split("_")[0])}
                if words == ["sysboot"]
                else {"verbs" if words else "modules": lines}
            )
            if (document, ended) != (expected, status) or plain_ended != status:
                raise Fault(f"{document} with {ended}, the plain form {lines} with {plain_ended}")
        except Fault as fault:
            check.fault(shown(words) or "no word", fault)
    check_version(check)
    for words in (["a", "b"], ["chart", "nosuch"], ["keytbl", "stat"], ['"', "\\\xff"]):
        refused(
            check, words, None, f"invalid commands: {decode(' '.join(words).encode('utf-8', 'surrogateescape'))}", 1
        )


def check_version(check):
    output, ended, _ = check.appliance.run(check.json, ["--version"])
    plain, plain_ended, _ = check.appliance.run(check.plain, ["--version"])
    check.plain_forms.setdefault("--version", set()).add(is_document(plain))
    try:
        document, _, _ = check.document(["--version"], output, ended, check.schemas.entries["--version"].schema, True)
        if document.keys() != {"version", "vendor_key"} or ended != 0 or (plain, plain_ended) != (b"", FAILED):
            raise Fault(f"{document} with {ended}, the plain form {plain} with {plain_ended}")
    except Fault as fault:
        check.fault("--version", fault)


def refused(check, words, environment, text, status=FAILED, script=None, requests=0):
    """vigil-json must refuse these words with this text, before anything is asked."""
    output, ended, arrived = check.appliance.run(check.json, words, script, environment)
    try:
        document, error, _ = check.document(words, output, ended, "nothing.json", False)
        if list(document) != ["error"] or error["text"] != text or ended != status or len(arrived) > requests:
            raise Fault(f"{document} with {ended} after {arrived}")
    except Fault as fault:
        check.fault(f"{shown(words)} with {environment}", f"{fault}\n    {output[:300]!r}")


def check_refusals(check):
    quiet = lambda request: Reply(b"fine")
    for value in ("0", "3601", "x", "-1", "1.5", " 5", "5 ", "1e2", "99999999999999999999"):
        refused(check, ["module", "list"], {"VIGIL_TIMEOUT": value}, "VIGIL_TIMEOUT must be 1 to 3600", script=quiet)
        output, status, arrived = check.appliance.run(
            check.plain, ["module", "list"], quiet, {"VIGIL_TIMEOUT": value}
        )
        if (output, status, arrived) != (b"VIGIL_TIMEOUT must be 1 to 3600\n", FAILED, []):
            check.fault(f"plain VIGIL_TIMEOUT={value}", f"{output!r} {status}")
    for value in ("1", "3600"):
        output, status, _ = check.appliance.run(check.json, ["module", "list"], quiet, {"VIGIL_TIMEOUT": value})
        if (output, status) != (b'{"text":"fine"}\n', 0):
            check.fault(f"VIGIL_TIMEOUT={value}", f"{output!r} {status}")
    refused(check, ["module", "list"], {"VIGIL_ROOT": "relative"}, "VIGIL_ROOT is no absolute path")
    for word in (
        "name=x ip=1.2.3.4",
        "name=x\tip=1",
        "a=b\n",
        " ",
        "a=\x01",
        "a=\x7f",
        "hour=1 2",
        "tag= x",
        "taskid=1 2",
    ):
        for command in (
            "tcpreset list",
            "obslog stat",
            "nosuchmodule add",
            "ipobj listflow",
            "malclog list",
            "obsdnsgrp dumpgrp",
            "chart timesum",
            "table addip 1",
            "keytbl list",
            "mempcap add",
            "obsiptable addip tid=1",
            "ipobj listipa -ip",
            "kesidslog list",
            "nevt list",
            "table rmvip 1",
            "whiteip list",
            "chart dump",
            "table clear",
            "table getcmp",
            "chart rowlist",
            "idssum remove cata_id=1",
            "ipobj listipa -app",
            "tunwltable list",
        ):
            status = 0 if command == "keytbl list" else FAILED
            refused(check, [*command.split(), word], None, "INV_ARG", status, quiet)
    # A word that stays here may have a blank in it.
    report = next(report for report in REPORTS if report.command == "nevtlog list")
    built = report.build(Texts(BENIGN, hostile=False), 3)
    output, status, _ = check.appliance.run(check.json, ["nevtlog", "list", "keywd=no such name"], script_of(built))
    if (output, status) != (b'{"data":[], "total":0}\n', 0):
        check.fault("nevtlog list keywd='no such name'", f"{output!r} {status}")
    for words in (["mempcap", "dump"], ["obspcap", "save", "of=/dev/stdout"]):
        packets_refused(check, words)


def packets_refused(check, words):
    subprocess.run(
        [check.json, "obspcap", "init", "count=1", "bs=0"],
        env=check.appliance.environment(),
        stdout=subprocess.DEVNULL,
    )
    output, status, requests = check.appliance.run(check.json, words, lambda request: Reply(b"PACKETS"))
    try:
        document, error, _ = check.document(words, output, status, "-".join(words[:2]) + ".json", False)
        if status != FAILED or not error or requests:
            raise Fault(f"{document} with {status} after {requests}")
    except Fault as fault:
        check.fault(shown(words), fault)


def check_files(check):
    root = check.appliance.root
    for words, expected in [
        (["obspcap", "init", f"file={root}/ring", "count=2", "bs=0"], {}),
        (
            ["obspcap", "init", f"file={root}/ring"],
            {"error": {"text": f'file "{root}/ring" exist!', "status": FAILED}},
        ),
        (["obspcap", "save", f"if={root}/ring", f"of={root}/out"], {"notes": ["no full block found"]}),
        (["obspcap", "init", "count=-1"], {"error": {"text": "INV_COUNT", "status": FAILED}}),
        (["obspcap", "save", "if=/nosuch"], {"error": {"text": "open: No such file or directory", "status": FAILED}}),
        (["obspcap", "save", "if=/dev/null"], {"error": {"text": "INVfile", "status": FAILED}}),
    ]:
        output, status, _ = check.appliance.run(check.json, words)
        try:
            document, _, _ = check.document(
                words, output, status, "-".join(words[:2]) + ".json", "error" not in expected
            )
            if document != expected:
                raise Fault(document)
        except Fault as fault:
            check.fault(shown(words), fault)
    for words in (
        ["mempcap", "dump"],
        ["obspcap", "init", f"file={root}/ring2", "count=1", "bs=0"],
        ["obspcap", "save", f"if={root}/ring", f"of={root}/out"],
    ):
        output, _, _ = check.appliance.run(check.plain, words, lambda request: Reply(b"PACKETS"))
        check.plain_forms.setdefault(" ".join(words[:2]), set()).add(is_document(output))


def check_notes(check):
    """Messages that stand beside a document."""
    with Appliance() as bare:  # no dictionary, no vendors, no configuration
        for command, words, notes, text in [
            ("obssyslog list", [], ["file fstat error"], None),
            ("obsnetbios list", [], ["file fstat error"], None),
            ("ipobj listbussflow", ["src=nowhere"], ["INV_IPEFLOW"], "dict.so"),
            ("ipobj listflow", [], None, "dict.so"),
        ]:
            report = next(report for report in REPORTS if report.command == command)
            output, status, _ = bare.run(
                check.json, [*command.split(), *words], script_of(report.build(Texts(BENIGN, hostile=False), 3))
            )
            try:
                _, error, said = check.document(
                    words, output, status, check.schemas.entries[command].schema, text is None
                )
                if said != notes or (text and text not in error["text"]):
                    raise Fault(f"notes {said}, error {error}")
            except Fault as fault:
                check.fault(f"{command} below a bare root", f"{fault}\n    {output[:300]!r}")
