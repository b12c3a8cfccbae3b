"""Texts that strangers and daemons may send, and what becomes of them in a document."""

REPLACEMENT = "\N{REPLACEMENT CHARACTER}"

# Each is a fault that some reader has, or a document that somebody forges.
HOSTILE = [
    b'"',
    b"\\",
    b'\\"',
    b'"}',
    b'","level":0,"x":"',
    b'"},{"A":"B',
    b'"}],"total":0}\n',
    b"\\u0022",
    b"\\u0000",
    b"\x01\x02\x1f\x7f",
    b"a\tb\nc\rd\be\ff",
    b"</script><!--",
    b"{} []",
    b'{"error":{"text":"x"}}',
    b"'; --",
    b"%s%n%d",
    b"null",
    b"NaN",
    b"1e999",
    b"\xe2\x80\xa8\xe2\x80\xa9",  # the two separators that JavaScript takes for line ends
    b"\xef\xbb\xbfx",
    b"\xef\xbf\xbe",
    b"\xf4\x8f\xbf\xbf",
    "\u4e2d\u56fd|\u7535\u4fe1".encode(),  # UTF-8
    "\u4e2d\u56fd|\u7535\u4fe1".encode("gbk"),
    "\u4e2d".encode("gbk") + b'"' + "\u56fd".encode(),  # both at once
    b'\x81"',
    b"\x81\\",
    b"\xd6",
    b"ab\xd6",  # halves of a pair in front of what must be escaped, and at the end
    b"\x80\xff\x80",
    b"\xa1\x5c\x95\x5c",  # pairs whose second byte is a backslash
    b"\xc0\x80",
    b"\xc1\xbf",
    b"\xe0\x80\xaf",
    b"\xed\xa0\x80",
    b"\xed\xb0\x80",
    b"\xf0\x80\x80\xaf",
    b"\xf4\x90\x80\x80",
    b"\xf8\x88\x80\x80\x80",
    b"\xfc\x84\x80\x80\x80\x80",
    b"\xfe\xfe",
    b"\xe4\xb8",
    b"\xf0\x9f\x98",
    "\U0001f600".encode(),
    b"\x84\x31\xa4\x37",  # four bytes that are a character elsewhere
]


def until_nul(raw):
    return raw.split(b"\0", 1)[0]


def decode_gbk(raw):
    """A text of a field that the daemons fill with GBK."""
    raw, text = until_nul(raw), ""
    while raw:
        size = 1 if raw[0] < 0x80 else 2
        try:
            text += raw[:size].decode("gbk")
        except UnicodeDecodeError:
            size = 1
            text += REPLACEMENT
        raw = raw[size:]
    return text


def decode(raw):
    """Any other text."""
    raw = until_nul(raw)
    try:
        return raw.decode("utf-8")
    except UnicodeDecodeError:
        return decode_gbk(raw)


def sweep(width):
    """Every byte value but NUL, in texts that fill a field to its end."""
    values = bytes(range(1, 256))
    return [values[at : at + width] for at in range(0, len(values), width)]


def cut(raw, width):
    return raw[:width]


def random_text(rng, width):
    """A text of at most `width` bytes, often of exactly so many."""
    kind = rng.randrange(6)
    if kind == 0:
        return bytes(rng.randrange(1, 256) for _ in range(rng.randrange(width + 1)))
    if kind == 1:
        return bytes(rng.randrange(256) for _ in range(width))
    if kind == 2:
        return b"www.example.net"[:width]
    text = b""
    while len(text) < (width if kind == 3 else rng.randrange(width + 1)):
        text += rng.choice(HOSTILE)
    return text[:width]


class Texts:
    """Gives the texts of a run's fields, one after the other, cut to the width of each."""

    def __init__(self, texts, hostile=True):
        self.texts, self.hostile, self.at = texts, hostile, 0

    def __call__(self, width):
        self.at += 1
        return cut(self.texts[self.at % len(self.texts)], width)


class Sweep:
    """Fills every field to its end; after some records each field had every byte value."""

    hostile = True

    def __init__(self):
        self.given = {}

    def __call__(self, width):
        pieces = sweep(width)
        self.given[width] = self.given.get(width, -1) + 1
        piece = pieces[self.given[width] % len(pieces)]
        return piece if len(piece) == width else (piece + b"\xd6" * width)[:width]


class RandomTexts:
    hostile = True

    def __init__(self, rng):
        self.rng = rng

    def __call__(self, width):
        return random_text(self.rng, width)
