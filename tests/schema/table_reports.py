"""Assets, topology, hosts, tables and charts with all their texts given, and their documents."""
import struct

import records as wire
from appliance import Reply
from built import MACS, Built
from records import IPV6, IPV6_TEXT, dotted, local_time, number, signed
from texts import decode, until_nul


def assets(texts, n):
    records, rows = [], []
    for i in range(n):
        kind, name, value = [0, 2, 1][i % 3], texts(64), texts(64)
        if kind != 1:
            value = struct.pack(">I", 0x0A000001 + i) if kind == 0 else IPV6[0]
        v = {
            "flows": 2**32 - 1 - i,
            "out": number(i, 64),
            "in": number(i + 1, 64),
            "requests": (i, 3),
            "threats": number(i, 24),
            "last": number(i, 24),
            "port": number(i, 16),
            "pps": number(i, 32),
            "bpsout": number(i + 1, 32),
            "bpsin": number(i + 2, 32),
            "delay": 10 * i * 1234,
            "max1": i * 5,
            "max2": number(i, 16),
            "samples": (1,) * 10,
        }
        records.append(wire.asset(kind, number(i, 16), number(i, 32), number(i + 1, 32), name, value, **v))
        row = {
            "pid": number(i, 16),
            "id": signed(number(i, 32)),
            "logicid": signed(number(i + 1, 32)),
            "name": decode(name),
            "port": v["port"],
        }
        row |= [
            {"value": dotted(0x0A000001 + i), "isipv6": 1},
            {"value": IPV6_TEXT[0], "isipv6": 2},
            {"value": decode(value)},
        ][i % 3]
        rows.append(
            row
            | {
                "flowcnt": v["flows"],
                "pps": v["pps"],
                "bpsout": v["bpsout"],
                "bpsin": v["bpsin"],
                "bpstotal": v["bpsout"] + v["bpsin"] & 2**32 - 1,
                "bytesout": v["out"],
                "bytesin": v["in"],
                "bytestotal": v["out"] + v["in"] & 2**64 - 1,
                "avgdelay": f"{i * 1234 / 1000:.2f}",
                "maxus": f"{max(v['max1'], v['max2']) / 1000:.2f}",
                "failrate": 300 // (i + 3),
                "threats": v["threats"],
                "threat_last": local_time(v["last"]),
            }
        )
    return Built(records, {"list": rows, "total": n})


def with_decimals(document):
    """A number with two decimals is compared by how it is printed."""
    rows = [{**row, "maxus": str(row["maxus"])} if "maxus" in row else row for row in document.get("list", [])]
    return {**document, "list": rows}


def groups(texts, n):
    n = min(n, 200)
    titles = [texts(46) for _ in range(n)]
    # Every second group hangs on the one before it.
    records = [wire.group(i + 1, i if i % 2 else 0, title) for i, title in enumerate(titles)]
    records.append(wire.group(250, 251, b"lost"))
    tree = []
    for i, title in enumerate(titles):
        node = {"title": decode(title), "id": i + 1, "spread": True, "children": []}
        (tree[-1]["children"] if i % 2 else tree).append(node)
    return Built(records, tree)


def hosts(texts, n):
    records, lines = [], []
    for i in range(n):
        name, note, ports = texts(43), texts(24), [(443, 80, 0, 1, 2, 3), (0,) * 6, (1, 2, 3, 4, 5, 6)][i % 3]
        name = name if until_nul(name) else b"h"
        counts = (2**32 - 1 - i - 10, 1, 2, 3, 4, 0)
        records.append(wire.host(1700000000 + i, name, 0x0A000001 + i, ports, counts, note))
        shown = ",".join(map(str, ports[: ports.index(0)] if 0 in ports else ports))
        lines.append(
            f"{decode(name)} {local_time(1700000000 + i)} {2**32 - 1 - i} {counts[0]} 1 9 2 3 4 0 {dotted(0x0A000001 + i)} {shown} {decode(note)}"
        )
    records.append(wire.host(1, b"hidden", 1, (0,) * 6, (0,) * 6, b"", valid=0))
    return Built(records, {"lines": lines} if lines else {})


def member_text(texts, n):
    """A table whose daemon answers with text, in several batches."""
    parts = [until_nul(texts(60)) + b"\n" for _ in range(n)]

    def script():
        left = list(parts) or [b""]
        return lambda request: Reply(left.pop(0), last=not left)

    return Built([], {"text": "".join(map(decode, parts))} if parts else {}, script)


def white_flows(_, n):
    records, rows = [], []
    for i in range(n):
        mac = MACS[i % len(MACS)]
        records.append(
            wire.white_flow(
                number(i, 32), number(i + 1, 32), number(i, 16), number(i + 1, 16), number(i, 32), number(i, 8), mac
            )
        )
        rows.append(
            {
                "src": dotted(number(i, 32)),
                "sport": number(i, 16),
                "srcmac": ":".join(f"{byte:02x}" for byte in mac),
                "dst": dotted(number(i + 1, 32)),
                "dport": number(i + 1, 16),
                "birth": number(i, 32),
                "proto": number(i, 8),
            }
        )
    return Built(records, {"list": rows, "total": n})


def white_addresses(texts, n):
    records, rows = [], []
    for i in range(n):
        note = texts(44)
        records.append(wire.white_address(number(i, 32), number(i + 1, 32), number(i + 2, 32), 2**32 - 1 - i, note))
        rows.append(
            {
                "ip": dotted(number(i, 32)),
                "birth": number(i + 1, 32),
                "lasttime": number(i + 2, 32),
                "flows": 2**32 - 1 - i,
                "desc": decode(note),
            }
        )
    return Built(records, {"list": rows, "total": n})


def exemptions(texts, n):
    """Two queries, one a kind; pages run over both."""
    names = [texts(55) for _ in range(n)]
    kinds = {
        b"type=ip ": [wire.exemption(address=number(i, 32)) for i in range(n)],
        b"type=dns ": list(map(wire.exemption, names)),
    }

    def script(request):
        answer = next(found for extra, found in kinds.items() if request.text.endswith(extra))
        return Reply(b"".join(answer), len(answer))

    return Built(
        [],
        {"data": [dotted(number(i, 32)) for i in range(n)] + list(map(decode, names)), "count": 2 * n},
        lambda: script,
    )


def charts(texts, n):
    n = min(n, 40)
    times = [1700000000, 2**32 - 1, 0]
    series = [(texts(32), texts(48), (0 if i % 2 else 2**64 - 1, number(i, 64), i)) for i in range(n)]
    rows = []
    for tag, _, values in series:
        values = (values[0] or values[1], *values[1:])
        rows.append({"name": decode(tag), "data": [{"x": x * 1000, "y": y} for x, y in zip(times, values)]})
    answer = wire.chart(series, times)
    return Built([], rows, lambda: lambda request: Reply(answer))


def addresses_as_lines(pack):
    def build(_, n):
        ips = [number(i, 32) for i in range(n)]
        return Built([struct.pack(pack, ip) for ip in ips], {"lines": list(map(dotted, ips))} if ips else {})

    return build
