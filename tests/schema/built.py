"""What reports are made of here: the daemons' records, the documents that must come of them, and local files."""
from records import dotted
from texts import decode

# What the configuration and the vendor database say, each a text that a stranger might wish for.
DESCRIPTIONS = {0x0A000001: b'a"},{"b', 0x0A000002: b"\\\xd6\xd0\x81", 0xC0A80101: "\u4e2d".encode()}
CONFIGURATION = b"".join(b"mac ip=%s d=%s\n" % (dotted(ip).encode(), text) for ip, text in DESCRIPTIONS.items())
VENDORS = {b"\x00\x1a\x2b": b'Maker"},{"x":"', b"\x00\x1a\x2c": b"B\\\xd6\xd0\xff"}
VENDOR_LIST = b"".join(
    b"%s %s\n" % (":".join(f"{byte:02X}" for byte in prefix).encode(), name) for prefix, name in VENDORS.items()
)
# The stand-in dictionary: names by identifier, those that daemons add among them.
NAMES = {1: ("DNS", "names"), 9: ('QUIC"', "a\\b"), 9001: ('A"},{"B', "user"), 9003: ("\\\u4e2d\ufffd", "user")}
OTHER = ("other", "second")
IDS = [1, 9, 9001, 9003, 5000]
UNKNOWN = "undname"
MACS = [bytes(6), b"\x00\x1a\x2b\x3c\x4d\x5e", b"\x00\x1a\x2c\x01\x02\x03", b"\xfe\xdc\xba\x98\x76\x54"]


def described(ip):
    return decode(DESCRIPTIONS[ip]) if ip in DESCRIPTIONS else "NULL"


def or_null(text):
    return text if text else "NULL"


class Built:
    """The records of an answer and the document; `script()` makes a script where batches of records are not all there is."""

    def __init__(self, records, document, script=None, one_batch=False):
        self.records, self.document, self.script, self.one_batch = records, document, script, one_batch


class Report:
    def __init__(self, command, words, build, same=lambda document: document):
        self.command, self.words, self.build = command, words, build
        self.same = same  # what of a document can be compared: clocks go on

    def __str__(self):
        return " ".join([self.command, *self.words])


def add(entries, key, **counts):
    entry = entries.setdefault(key, dict.fromkeys(counts, 0))
    for name, value in counts.items():
        entry[name] = entry[name] + value & 0xFFFFFFFF
