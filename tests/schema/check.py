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
import subprocess
import sys
import time

import arguments
import content
import refusals
import trouble
from appliance import Root
from reports import REPORTS
from runs import Check, sample_words, shown
from schemas import ALWAYS, NEVER, SOMETIMES
from strict import Fault


def check_lab(check):
    """Every verb against an appliance that has something to say."""
    with Root() as place:
        lab = subprocess.Popen(
            [check.build / "lab/vigil-lab", "--root", place.root, "--sessions", "300", "--seed", "5"],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            env=place.environment(),
        )
        try:
            if not lab.stdout.readline().startswith(b"ready"):
                raise AssertionError("the lab does not serve")
            for entry in sorted(
                check.schemas.entries.values(),
                key=lambda entry: "remove" in entry.command or "clear" in entry.command,
            ):
                lab_verb(check, place, entry)
        finally:
            lab.terminate()
            lab.wait(60)


def lab_verb(check, place, entry):
    if entry.command in ("", "WORD", "sysboot", "--version") or entry.command.startswith(("MODULE", "obspcap")):
        return
    asked = [report.words for report in REPORTS if report.command == entry.command] or [sample_words(entry)]
    for words in asked:
        output, status, _ = place.run(check.json, [*entry.command.split(), *words])
        try:
            check.document(words, output, status, entry.schema, False)
        except Fault as fault:
            check.fault(f"lab: {entry.command} {shown(words)}", f"{fault}\n    {output[:300]!r}")


def check_coverage(check):
    for fault in check.schemas.never_seen():
        check.fault("schema", fault)


def check_plain_claims(check):
    for command, entry in check.schemas.entries.items():
        forms = check.plain_forms.get(command.replace("MODULE", "nosuchmodule"), set())
        expected = {ALWAYS: {True}, NEVER: {False}, SOMETIMES: {True, False}}[entry.plain["valid"]]
        if forms != expected and entry.schema != "not-supported.json":
            check.fault(
                command or "no word",
                f"the plain form is said to be valid {entry.plain['valid']}; runs that were: {sorted(forms)}",
            )


def run(check, rounds):
    steps = (
        content.check_catalogue,
        content.check_reports,
        content.check_encodings,
        content.check_typed_words,
        content.check_texts,
        arguments.check_forwarding,
        arguments.check_defaults,
        refusals.check_forms,
        refusals.check_refusals,
        refusals.check_files,
        refusals.check_notes,
        trouble.check_failures,
        trouble.check_stops,
        trouble.check_stops_before_a_byte,
        trouble.check_lost_output,
        check_lab,
    )
    for step in steps:
        began = time.monotonic()
        step(check)
        if os.environ.get("CHECK_TIMES"):
            print(f"{step.__name__} {time.monotonic() - began:.2f}", file=sys.stderr)
    trouble.check_stops_anywhere(check, 5 + rounds // 100)
    trouble.check_chance(check, rounds)
    check_coverage(check)
    check_plain_claims(check)
    check.appliance.close()


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--build", required=True)
    options.add_argument("--schemas", required=True)
    options.add_argument("--long", type=int, default=150)
    options.add_argument("--seed", type=int, default=1)
    chosen = options.parse_args()
    check = Check(chosen.build, chosen.schemas, chosen.seed)
    run(check, chosen.long)
    for fault in check.faults[:40]:
        print(fault)
    print(
        f"{check.runs} documents, {check.failed_by_chance} daemons that failed by chance, {len(check.faults)} faults"
    )
    return 1 if check.faults else 0


if __name__ == "__main__":
    sys.exit(main())
