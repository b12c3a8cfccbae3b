"""Runs of vigil-json: their documents held against the schemas, and beside them the plain program."""
import pathlib
import random
import shlex
import subprocess

from appliance import Appliance
from built import CONFIGURATION, VENDOR_LIST
from schemas import Schemas
from strict import Fault, is_document, parse

FAILED, STOPPED = 255, 1  # exit status


def shown(words):
    return shlex.join(words)


class Check:
    def __init__(self, build, folder, seed):
        self.build = pathlib.Path(build).resolve()
        self.json, self.plain = str(self.build / "vigil-json"), str(self.build / "vigil")
        self.schemas = Schemas(folder)
        self.rng = random.Random(seed)
        self.faults = []
        self.runs = self.failed_by_chance = 0
        self.plain_forms = {}  # command: whether plain runs that succeeded printed a document: a set of bools
        files = [("/conf/kestrel.conf", CONFIGURATION), ("/vendors", VENDOR_LIST)]
        self.appliance = Appliance(self.build / "tests/dict/dict_full.so", files)
        subprocess.run(
            [
                self.build / "tools/vigil-ouidb",
                "make",
                self.appliance.root + "/vendors",
                self.appliance.root + "/usr/ramdisk/etc/oui.dat",
            ],
            check=True,
            stderr=subprocess.DEVNULL,
            env=self.appliance.environment(),
        )

    def fault(self, what, why):
        self.faults.append(f"{what}: {why}")

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
            plain_output, plain_status, plain_requests = self.appliance.run(
                self.plain, [*command, *words, *word], script()
            )
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
            return [
                (
                    r.daemon,
                    r.code,
                    r.module,
                    [a for a in r.text.split() if not word or not a.startswith(word.split(b"=")[0])],
                )
                for r in all_of
            ]

        word = word.encode() if word else None
        if told(requests) != told(plain):
            raise Fault(f"asks for {requests}, the plain form for {plain}")
        if word and any(a.startswith(word) for r in requests for a in r.text.split()):
            raise Fault(f"forwards {word!r}")


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
        return all(
            member in whole
            and (is_part(value, whole[member]) or member == "text" and whole["text"].startswith(value))
            for member, value in document.items()
        )
    if isinstance(document, list):
        return (
            document[:-1] == whole[: len(document)][:-1]
            and len(document) <= len(whole)
            and (not document or is_part(document[-1], whole[len(document) - 1]))
        )
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
