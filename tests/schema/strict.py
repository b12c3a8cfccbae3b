"""JSON as RFC 8259 has it and nothing more."""
import decimal
import json
import sys

sys.setrecursionlimit(20000)  # 3840 bytes can nest deep


class Fault(Exception):
    """What a document or a schema does not keep."""


def _members(pairs):
    names = [name for name, _ in pairs]
    repeated = {name for name in names if names.count(name) > 1}
    if repeated:
        raise Fault(f"repeated members {sorted(repeated)}")
    return dict(pairs)


def _no_number(word):
    raise Fault(f"{word} is no number")


def parse_text(text):
    """The value of a JSON text. Numbers with a fraction come as decimals, so that nothing is rounded."""
    try:
        value = json.loads(text, object_pairs_hook=_members, parse_constant=_no_number, parse_float=decimal.Decimal)
        json.dumps(value, ensure_ascii=False, default=str).encode()  # no half of a surrogate pair
    except (ValueError, RecursionError) as fault:
        raise Fault(str(fault)) from None
    return value


def parse(output):
    """The one document of a run's output: UTF-8, and one line end behind it."""
    try:
        text = output.decode("utf-8")
    except UnicodeDecodeError as fault:
        raise Fault(f"no UTF-8: {fault}") from None
    if text != text.strip(" \t\r\n") + "\n" or text.count("\n") != 1:
        raise Fault(f"not one document with one line end: ...{text[-20:]!r}")
    return parse_text(text)


def is_document(output):
    """Whether the output of the plain program is a document that any parser takes."""
    try:
        parse_text(output.decode("utf-8"))
    except (Fault, UnicodeDecodeError):
        return False
    return True
