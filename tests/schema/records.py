"""Records as the daemons send them: every offset and width stands here by itself."""
import struct
import time

from texts import until_nul


class Record:
    """Bytes with fields at their offsets; numbers are little-endian unless they say big."""

    def __init__(self, size):
        self.bytes = bytearray(size)

    def _put(self, kind, at, values):
        struct.pack_into(kind, self.bytes, at, *values)
        return self

    def u8(self, at, *values):
        return self._put(f"<{len(values)}B", at, values)

    def u16(self, at, *values):
        return self._put(f"<{len(values)}H", at, values)

    def u32(self, at, *values):
        return self._put(f"<{len(values)}I", at, values)

    def u64(self, at, *values):
        return self._put(f"<{len(values)}Q", at, values)

    def big16(self, at, *values):
        return self._put(f">{len(values)}H", at, values)

    def big32(self, at, *values):
        return self._put(f">{len(values)}I", at, values)

    def raw(self, at, value):
        self.bytes[at : at + len(value)] = value
        return self

    def text(self, at, value, width):
        assert len(value) <= width, (at, value, width)
        return self.raw(at, value.ljust(width, b"\0"))

    def done(self):
        return bytes(self.bytes)


def number(i, bits):
    """A number of so many bits that tells record from record; the limits come first."""
    most = 2**bits - 1
    return (
        [most, 0, 1, most - 1, 2 ** (bits - 1), 2 ** (bits - 1) - 1][i]
        if i < 6
        else (i * 0x9E3779B97F4A7C15 + i) >> 7 & most
    )


def dotted(address):
    return ".".join(str(address >> shift & 255) for shift in (24, 16, 8, 0))


def local_time(seconds):
    moment = time.gmtime(seconds)  # runs have TZ=UTC0
    return "%2d-%02d-%02d/%02d:%02d:%02d" % moment[:6]


def signed(value):
    return value - 2**32 if value >= 2**31 else value


def words_of(texts, *widths):
    """Texts of these widths, without what a NUL hides: they are put where others follow."""
    return [until_nul(texts(width)) for width in widths]


# ---- Sessions and flows

IPV6 = [bytes.fromhex("20010db8000000000000000000000001"), bytes.fromhex("fe80000000000000020000fffe000002")]
IPV6_TEXT = ["2001:db8::1", "fe80::200:ff:fe00:2"]


def session(source, destination, host=b"", texts=(b"", b"", b""), location=b"", ipv6=False, **n):
    a, b, c = texts
    area = b + b"\0" + a + b"\0" + c + b"\0"
    record = Record(228)
    if ipv6:
        record.raw(0, source).raw(16, destination)
    else:
        record.u32(0, source).u32(16, destination)
    record.u16(32, n.get("sport", 0), n.get("dport", 0)).u32(36, n.get("birth", 0), n.get("value40", 0))
    record.u32(44, n.get("up", 0), n.get("down", 0))
    record.u8(55, (n.get("flag", 0) << 1) | (n.get("state", 0) << 4) | (0x40 if ipv6 else 0))
    record.u16(56, n.get("application", 0), n.get("value58", 0), n.get("value60", 0)).u8(
        62, n.get("value62", 0), n.get("vpaid", 0)
    )
    record.u8(64, n.get("proto", 6), len(b + a) + 2, len(b) + 1, len(area))
    record.u32(68, *n.get("delays", (0, 0, 0))).u16(80, *n.get("values80", (0, 0)))
    record.u32(84, *n.get("packets", (0, 0)), *n.get("rexmits", (0, 0))).u16(100, n.get("suffix", 0))
    record.text(102, location, 43).text(145, area + host, 83)
    return record.done()


def throughput(address, application, in_rate, out_rate, description, ipv6=False):
    record = Record(64).raw(0, address).u32(16, in_rate, out_rate).u16(24, application).u8(26, 1 if ipv6 else 0)
    return record.text(28, description, 36).done()


def flow(source, destination, places, isp=b"", host=b"", ipv6=False, **n):
    record = Record(252)
    if ipv6:
        record.raw(0, source).raw(16, destination)
    else:
        record.u32(0, source).u32(16, destination)
    record.u16(32, n.get("sport", 0), n.get("dport", 0)).u32(44, n.get("up", 0), n.get("down", 0))
    record.u8(55, 0x40 if ipv6 else 0).u32(56, n.get("application", 0)).u8(64, n.get("proto", 17)).u8(67, 0)
    record.u8(102, n.get("domestic", 0))
    country, region, third = places
    record.text(103, country, 15).text(118, region, 18).text(136, third, 17).text(153, isp, 16)
    return record.text(169, host, 83).done()


def reset(seconds, source, destination, name, ipv6=False, **n):
    record = Record(96 if ipv6 else 64)
    record.u32(0, seconds).big16(4, n.get("port", 0), n.get("dport", 0))
    if ipv6:
        record.raw(64, source).raw(80, destination)
    else:
        record.big32(8, source, destination)
    low, middle, high = n.get("times", (0, 0, 0))
    record.u64(16, low | middle << 17 | high << 34).u16(24, *n.get("values24", (0, 0)))
    record.u32(
        28, n.get("application", 0) | n.get("status", 0) << 14 | n.get("traffic", 0) << 26 | (2 if ipv6 else 0) << 30
    )
    return record.u8(32, n.get("value32", 0)).text(33, name, 31).done()


# ---- Logs and events


def log_head(size, i, source, destination, mac, ipv6=False, operation=0):
    record = Record(size)
    record.raw(0, source).raw(16, destination)
    record.u32(32, 1700000000 - i).big16(36, number(i, 16), number(i + 1, 16)).u8(40, operation, 1 if ipv6 else 0)
    return record.raw(42, mac)


def event(i, texts):
    """`texts` by the names of their members."""
    record = Record(352).u8(0, number(i, 8), number(i + 1, 8)).u16(2, number(i, 16), number(i + 1, 16), 7)
    record.u32(8, *(number(i + k, 32) for k in range(6)))
    for at, width, name in [
        (32, 16, "evtype"),
        (48, 16, "evopcode"),
        (64, 32, "evattr"),
        (96, 32, "evlimit1"),
        (128, 32, "evlimit2"),
        (160, 32, "fval"),
        (192, 32, "lval"),
        (224, 32, "robj"),
        (256, 32, "robj_ch"),
        (288, 32, "insname"),
        (320, 32, "insname_ch"),
    ]:
        record.text(at, texts[name], width)
    return record.done()


EVENT_WIDTHS = {
    "evtype": 16,
    "evopcode": 16,
    "evattr": 32,
    "evlimit1": 32,
    "evlimit2": 32,
    "fval": 32,
    "lval": 32,
    "robj": 32,
    "robj_ch": 32,
    "insname": 32,
    "insname_ch": 32,
}
OCCURRENCE_WIDTHS = {
    "evtype": 16,
    "evattr": 32,
    "failure": 16,
    "evopcode": 16,
    "evlimit1": 16,
    "evlimit2": 16,
    "fval": 16,
    "lval": 16,
    "robj": 32,
    "robj_ch": 32,
    "insname": 32,
    "insname_ch": 32,
}


def occurrence(i, texts, death, flags):
    record = Record(304).u8(0, flags).u16(2, 9, number(i, 16), number(i + 1, 16))
    record.u32(8, number(i, 32), number(i + 1, 32), number(i + 2, 32), death, number(i + 3, 32), number(i + 4, 32))
    for at, width, name in [
        (32, 16, "evtype"),
        (48, 32, "evattr"),
        (80, 16, "failure"),
        (96, 16, "evopcode"),
        (112, 16, "evlimit1"),
        (128, 16, "evlimit2"),
        (144, 16, "fval"),
        (160, 16, "lval"),
        (176, 32, "robj"),
        (208, 32, "robj_ch"),
        (240, 32, "insname"),
        (272, 32, "insname_ch"),
    ]:
        record.text(at, texts[name], width)
    return record.done()


def malicious(seconds, source, destination, level, name, kind, area, indicator=0, indicator_port=0, ports=(0, 0)):
    record = Record(208).u32(0, seconds).big32(4, source, destination).big16(12, *ports).u8(17, level)
    return (
        record.big32(20, indicator)
        .big16(24, indicator_port)
        .text(26, name, 60)
        .text(86, kind, 74)
        .text(160, area, 48)
        .done()
    )


def signature(category, birth, last, sid, total):
    return Record(24).u32(0, category, birth, last, sid).u64(16, total).done()


def ids_session(source, destination, sport, dport, birth, packets, category, proto):
    return (
        Record(24)
        .big32(0, source, destination)
        .big16(8, sport, dport)
        .u32(12, birth)
        .u16(16, *packets)
        .u8(20, category, proto)
        .done()
    )


def alert(seconds, text):
    return Record(3844).u32(0, seconds).text(4, text, 3840).done()


# ---- Assets, hosts, tables, charts


def asset(kind, pid, number_, logical, name, value, **n):
    record = (
        Record(848)
        .u16(0, kind, pid)
        .u32(4, number_, logical, n.get("flows", 0))
        .u64(16, n.get("out", 0), n.get("in", 0))
    )
    record.u32(32, *n.get("requests", (0, 0))).u64(40, n.get("threats", 0) | n.get("last", 0) << 24).u16(
        46, n.get("port", 0)
    )
    record.u32(68, n.get("pps", 0), n.get("bpsout", 0), n.get("bpsin", 0)).u64(80, n.get("delay", 0)).u32(
        88, n.get("max1", 0)
    )
    record.u32(96, *n.get("samples", (0,) * 10)).u32(168, n.get("max2", 0))
    return record.text(720, name, 64).text(784, value, 64).done()


def group(number_, parent, title):
    return Record(48).u8(0, number_, parent).text(2, title, 46).done()


def host(seconds, name, address, ports, counts, note, valid=1):
    record = Record(120).u32(8, seconds).u8(12, valid).text(13, name, 43).big32(56, address).big16(60, *ports)
    return record.u32(72, *counts).text(96, note, 24).done()


def white_flow(source, destination, sport, dport, birth, proto, mac):
    return (
        Record(24).u32(0, source, destination).u16(8, sport, dport).u32(12, birth).u8(16, proto).raw(18, mac).done()
    )


def white_address(address, birth, last, flows, description):
    return Record(92).u32(0, address, birth, last, flows).text(48, description, 44).done()


def exemption(name=None, address=0):
    record = Record(56).u8(0, 1 if name is not None else 0)
    return (record.text(1, name, 55) if name is not None else record.u32(1, address)).done()


def chart(series, times):
    """`series`: (tag, label, values)."""
    record = Record(7920 + 8 * len(series) * len(times))
    for i, moment in enumerate(times):
        record.u32(4 + 16 * i, moment)
    record.u32(4608, len(times)).u32(7816, len(series))
    for k, (tag, label, values) in enumerate(series):
        record.text(4616 + 80 * k, tag, 32).text(4648 + 80 * k, label, 48)
        record.u64(7920 + 8 * len(times) * k, *values)
    return record.done()
