#!/usr/bin/python3 -IS
"""The one program behind /api/MODULE/VERB?KEY=VALUE&...: one run of vigil-json, its document as the answer.

Only verbs that read, and of these only what the schemas name, ever reach the command line; there is no shell.
400: not asked for in a way that the schemas know. 502: the run failed. 504: the daemon did not answer in time.
The environment names VIGIL_JSON (the program), VIGIL_SCHEMA (the folder of the schemas), VIGIL_ROOT and TZ.
"""
import json
import os
import re
import subprocess
import sys
import time
from urllib.parse import parse_qsl

READING = {"list", "get", "stat", "listflow", "caluflow", "listbussflow", "listipa", "listip", "listdns",
           "dump", "rowlist", "timesum", "getcmp"}
SECONDS = 4  # that a daemon has to answer
REASONS = {200: "OK", 400: "Bad Request", 502: "Bad Gateway", 504: "Gateway Timeout"}


def answer(code, document, status=0):
    """Status of HTTP, the document as bytes, exit status of the run."""
    sys.stdout.buffer.write((f"Status: {code} {REASONS[code]}\r\nContent-Type: application/json\r\n"
                             f"X-Exit-Status: {status}\r\n"
                             f"X-Utc-Offset: {time.localtime().tm_gmtoff}\r\n\r\n").encode() + document)
    sys.exit()


def refuse(code, text):
    answer(code, (json.dumps({"error": {"text": text, "status": 255}}) + "\n").encode(), 255)


def arguments_of(module, verb):
    """The arguments that the schemas name for a verb that reads; refuses any other."""
    def schema(name):
        with open(os.path.join(os.environ["VIGIL_SCHEMA"], name), encoding="utf-8") as file:
            return json.load(file)
    for entry in schema("catalogue.json")["modules"]:
        if entry["module"] == module and verb in READING and os.environ["REQUEST_METHOD"] == "GET":
            for row in entry["verbs"]:
                if row["verb"] == verb and (module, verb) != ("mempcap", "dump"):  # packets, no document
                    return row.get("x-arguments") or schema(row["schema"]).get("x-arguments", [])
    refuse(400, "no such verb, or none that only reads")


def fits(value, known):
    """Whether a typed value is one that the schema describes."""
    if re.search(r"[\s\x00-\x1f\x7f]", value):
        return False
    if known.get("type") == "integer":
        return (re.fullmatch(r"-?[0-9]{1,10}", value) is not None
                and known.get("minimum", -2**31) <= int(value) <= known.get("maximum", 2**32 - 1))
    return value in known.get("enum", [value]) and len(value) <= known.get("maxLength", 256)


def words_of(query, arguments):
    """The words of the command line for KEY=VALUE pairs."""
    named = {a["name"]: a for a in arguments if a.get("form") != "position"}
    words = []
    for key, value in query:
        if f"{key}={value}" in named:  # a word that is all of itself
            words.append(f"{key}={value}")
        elif f"{key}=" in named and fits(value, named[f"{key}="]["values"]):
            words.append(f"{key}={value}")
        elif key in named and named[key].get("form") == "option" and fits(value, named[key]["values"]):
            words += [key, value]
        else:
            refuse(400, "a key that this verb does not have, or a value that the key does not take")
    return words


def main():
    try:
        _, module, verb = os.environ.get("PATH_INFO", "").split("/")
        query = parse_qsl(os.environ.get("QUERY_STRING", ""), keep_blank_values=True, strict_parsing=False,
                          errors="strict", max_num_fields=32)
    except ValueError:
        refuse(400, "/api/MODULE/VERB?KEY=VALUE is expected")
    words = words_of(query, arguments_of(module, verb))
    try:
        run = subprocess.run([os.environ["VIGIL_JSON"], module, verb, *words], stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, timeout=2 * SECONDS,
                             env={**os.environ, "VIGIL_TIMEOUT": str(SECONDS)})
        document = json.loads(run.stdout)
    except subprocess.TimeoutExpired:
        refuse(504, "timeout")
    except (OSError, ValueError):
        refuse(502, "vigil-json did not answer with a document")
    # The error is a member, or that of an array's last element. Some verbs count records in their exit status.
    outermost = document[-1] if isinstance(document, list) and document else document
    error = outermost.get("error") if isinstance(outermost, dict) else None
    failed = isinstance(error, dict)
    code = 200 if not failed else 504 if error.get("text") == "timeout" else 502
    answer(code, run.stdout, run.returncode)


main()
