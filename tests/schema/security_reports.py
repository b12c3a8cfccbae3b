"""Logs, malicious activity, events and alerts with all their texts given, and their documents."""
import struct
import time

import records as wire
from built import MACS, VENDORS, Built, or_null
from records import IPV6, IPV6_TEXT, dotted, local_time, number, signed
from strict import Fault, parse_text
from texts import cut, decode, decode_gbk, until_nul

# ---- Protocol logs


def log_heads(size, protocol, n):
    """(record, the members of its head, i)"""
    for i in range(n):
        source, destination, ends = (
            struct.pack(">I", 0x0A000001 + i),
            struct.pack(">I", 0xC0A80101 + i),
            (0x0A000001 + i, 0xC0A80101 + i),
        )
        texts, ipv6 = tuple(map(dotted, ends)), i % 3 == 2
        if ipv6:
            source, destination, texts = *IPV6, IPV6_TEXT
        mac = MACS[i % len(MACS)]
        operation = [0, 1, 2, 5, 6, 7, 8, 255][i % 8]
        record = wire.log_head(size, i, source, destination, mac, ipv6, operation)
        seconds = 1700000000 - i
        row = {
            "req_time": local_time(seconds),
            "time": seconds,
            "src_ip": texts[0],
            "dst_ip": texts[1],
            "src_port": number(i, 16),
            "dst_port": number(i + 1, 16),
            "proto": protocol,
            "mac": "-".join(f"{byte:02x}" for byte in mac) if any(mac) else "",
        }
        if mac[:3] in VENDORS and any(mac):
            row["oui_mac"] = decode(VENDORS[mac[:3]]) + "_" + "-".join(f"{byte:02x}" for byte in mac[3:])
        yield record, row, i


def user(a, b):
    return decode(a) + ("/" if until_nul(a) else "") + decode(b)


def syslogs(texts, n):
    records, rows = [], []
    for record, row, _ in log_heads(356, "UDP", n):
        a, b, message = texts(32), texts(20), texts(256)
        records.append(record.text(48, a, 32).text(80, b, 20).text(100, message, 256).done())
        rows.append(
            row | {"username": user(a, b), "syslog": decode(message.translate(bytes.maketrans(b'\\\n\r"', b"----")))}
        )
    return Built(records, {"data": rows, "total": n})


def ssh_logs(texts, n):
    records, rows = [], []
    for record, row, _ in log_heads(132, "TCP", n):
        b, a, banner = texts(20), texts(32), texts(32)
        records.append(record.text(48, b, 20).text(68, a, 32).text(100, banner, 32).done())
        rows.append(row | {"username": user(a, b), "verinfo": decode(banner)})
    return Built(records, {"data": rows, "total": n})


def tls_logs(texts, n):
    records, rows = [], []
    for record, row, i in log_heads(104, "TCP", n):
        b, a, version = texts(22), texts(32), [769, 770, 771, 772, 768, 65535][i % 6]
        records.append(record.u16(48, version).text(50, b, 22).text(72, a, 32).done())
        row |= {"username": user(a, b)}
        if 769 <= version <= 772:
            row["verinfo"] = f"TLS1.{version - 769}"
        rows.append(row)
    return Built(records, {"data": rows, "total": n})


NETBIOS_CHARACTERS = b"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 !\"#$%&'()*+,-.=:;@^_{}~"


def netbios_logs(texts, n):
    operations = {0: "QUERY", 1: "WRITE_MAIL_SLOT", 5: "REGISTRATION", 6: "RELEASE", 7: "WACK", 8: "REFRESH"}
    records, rows = [], []
    for record, row, i in log_heads(136, "UDP", n):
        b, a, name = texts(25), texts(32), texts(15).upper().ljust(15)
        encoded = b"".join(bytes([65 + (c >> 4), 65 + (c & 15)]) for c in name)
        records.append(record.text(48, encoded, 31).text(79, b, 25).text(104, a, 32).done())
        row |= {"username": user(a, b)}
        operation = [0, 1, 2, 5, 6, 7, 8, 255][i % 8]
        if operation in operations:
            row |= {"code_id": operation, "code_name": operations[operation]}
        rows.append(row | {"name": bytes(c for c in name if c in NETBIOS_CHARACTERS and c != 32).decode()})
    return Built(records, {"data": rows, "total": n})


# ---- Malicious activity

LEVELS = {1: "\u4e25\u91cd", 2: "\u9ad8", 3: "\u4e2d", 4: "\u4f4e"}


def malicious_events(*shown):
    def build(texts, n):
        now = int(time.time())
        records, rows, areas, domains, addresses, types, levels, today = [], [], {}, {}, {}, {}, [0] * 5, 0
        for i in range(n):
            seconds = 1700000000 - i if i else now
            level, name, kind, area = i % 6, texts(60), cut(until_nul(texts(31)), 31), texts(48)
            source, destination, indicator = 0x0A000001 + i, 0xC0A80101 + i, [0, 0x01020304, 0x05060708][i % 3]
            port, ports = [0, 0, 443][i % 3], (number(i, 16), number(i + 1, 16))
            records.append(
                wire.malicious(seconds, source, destination, level, name, kind, area, indicator, port, ports)
            )
            ioc = (
                f"{dotted(indicator)}:{port}"
                if indicator and port
                else dotted(indicator)
                if indicator
                else or_null(decode(name))
            )
            rows.append(
                {
                    "time": local_time(seconds),
                    "src": dotted(source),
                    "sport": ports[0],
                    "dst": dotted(destination),
                    "dport": ports[1],
                    "risc": LEVELS.get(level, "\u672a\u77e5"),
                    "locisp": decode_gbk(area),
                    "ioc": ioc,
                    "type": decode(kind),
                }
            )
            today += seconds == now
            if level < 5:
                levels[level] += 1
            if len(types) < 32 or kind in types:
                types[kind] = types.get(kind, 0) + 1
            for ip in [source] * ("show_srcip" in shown) + [destination] * ("show_dstip" in shown):
                count_level(addresses, ip, level)
            if until_nul(name):
                count_level(domains, cut(until_nul(name), 47), level)
            if until_nul(area):
                place = cut(until_nul(area), 31) if b"|" not in until_nul(area) else "\u4e2d\u56fd".encode("gbk")
                areas[place] = areas.get(place, 0) + 1
        records.append(wire.malicious(0, 1, 2, 1, b"empty", b"empty", b"empty"))  # skipped everywhere
        parts = {
            "show_flowlog": {"data": rows[:20], "today": today, "total": n},
            "show_area": counted([{"name": decode_gbk(area), "cnt": c} for area, c in areas.items()]),
            "show_dns": counted([{"dns": decode(name), "risc": c} for name, c in domains.items()]),
            "show_srcip": counted([{"ip": dotted(ip), "risc": c} for ip, c in addresses.items()]),
            "show_level": [
                {"name": name, "cname": LEVELS[level], "cnt": levels[level]}
                for level, name in enumerate(["critical", "high", "mid", "low"], 1)
            ],
            "show_malc": [{"name": decode(kind), "cnt": c} for kind, c in types.items()],
        }
        if "show_dstip" in shown:  # one list for both words
            named = {"show_srcip": [word for word in ("show_srcip", "show_dstip") if word in shown]}
            parts = {word: part for name, part in parts.items() for word in named.get(name, [name])}
        members = {name: part for name, part in parts.items() if name in shown}
        # One word gives its part alone.
        return Built(records, list(members.values())[0] if len(shown) == 1 else members, one_batch=True)

    return build


def count_level(entries, key, level):
    counts = entries.setdefault(key, [0] * 4)
    if 1 <= level <= 4:
        counts[level - 1] += 1


def counted(rows):
    return {"total": len(rows), "data": rows}


# ---- Events


def decoded(texts):
    return {name: decode_gbk(text) if name.endswith("_ch") else decode(text) for name, text in texts.items()}


def events(texts, n):
    records, rows = [], []
    for i in range(n):
        said = {name: texts(width) for name, width in wire.EVENT_WIDTHS.items()}
        records.append(wire.event(i, said))
        t, birth = decoded(said), [number(i + k, 32) for k in range(6)]
        rows.append(
            {
                "id": number(i, 16),
                "evtype": t["evtype"],
                "evattr": t["evattr"],
                "evsn": birth[3],
                "rid": number(i + 1, 16),
                "evt_birth": birth[0],
                "evdeath": birth[1],
                "robj": t["robj"],
                "robj_ch": t["robj_ch"],
                "effective": number(i, 8),
                "evopcode": t["evopcode"],
                "evlimit1": t["evlimit1"],
                "evlimit2": t["evlimit2"],
                "insname": t["insname"],
                "insname_ch": t["insname_ch"],
                "excnt": birth[4],
                "lval": t["lval"],
                "fval": t["fval"],
                "lreport": birth[2],
                "alarm_level": number(i + 1, 8),
                "obj_threshold": birth[5],
            }
        )
    return Built(records, rows)


def occurrences(texts, n):
    records, rows = [], []
    for i in range(n):
        said = {name: texts(width) for name, width in wire.OCCURRENCE_WIDTHS.items()}
        flags = i % 32
        records.append(wire.occurrence(i, said, 1700000000 - i, flags))
        t = decoded(said)
        rows.append(
            {
                "id": number(i, 16),
                "evtype": t["evtype"],
                "evattr": t["evattr"],
                "evsn": number(i, 32),
                "evopcode": t["evopcode"],
                "evlimit1": t["evlimit1"],
                "evlimit2": t["evlimit2"],
                "rid": number(i + 1, 16),
                "rtime": number(i + 1, 32),
                "robj": t["robj"],
                "robj_ch": t["robj_ch"],
                "evt_birth": number(i + 2, 32),
                "evdeath": 1700000000 - i,
                "insname": t["insname"],
                "rdstat": flags >> 4 & 1,
                "insname_ch": t["insname_ch"],
                "lval": t["lval"],
                "fval": t["fval"],
                "failure": t["failure"],
                "effective": flags >> 1 & 1,
                "reportm": number(i + 3, 32),
                "dontnotify": flags & 1,
                "alarm_level": flags >> 2 & 3,
                "obj_threshold": number(i + 4, 32),
            }
        )
    return Built(records, {"data": rows, "total": n})


def event_summary(texts, n):
    now = int(time.time())
    records, types, interfaces, activities, levels, today, read = [], {}, {}, {}, [0] * 4, 0, 0
    for i in range(n):
        said = {name: texts(width) for name, width in wire.OCCURRENCE_WIDTHS.items()}
        said["evtype"] = [b"if", b"malicious", said["evtype"]][i % 3]
        flags, death = i % 32, now if i % 2 else 1700000000
        records.append(wire.occurrence(i, said, death, flags))
        levels[flags >> 2 & 3] += 1
        today += death == now
        read += death == now and flags >> 4 & 1
        types[until_nul(said["evtype"])] = types.get(until_nul(said["evtype"]), 0) + 1
        name = cut(until_nul(said["insname_ch"]), 15)
        slots, room = (interfaces, 16) if until_nul(said["evtype"]) == b"if" else (activities, 32)
        if until_nul(said["evtype"]) in (b"if", b"malicious") and name and (name in slots or len(slots) < room):
            slots[name] = slots.get(name, 0) + 1

    def ranked(counts):
        return sorted(counts.items(), key=lambda item: -item[1])

    return Built(
        records,
        {
            "data": [
                {
                    "all": n,
                    "today_num": today,
                    "today_read": read,
                    "today_unread": today - read,
                    "level": levels,
                    "evtype": [{"type": decode(kind), "num": c} for kind, c in ranked(types)],
                    "if": [{"ifname": decode_gbk(name), "num": c} for name, c in ranked(interfaces)],
                    "mal": [{"malname": decode_gbk(name), "num": c} for name, c in ranked(activities)],
                }
            ]
        },
    )


# ---- Intrusion detection


def signatures(_, n):
    records, rows = [], []
    for i in range(n):
        total = 2**64 - 1 - i * 2**50
        records.append(wire.signature(number(i, 32), number(i + 1, 32), number(i + 2, 32), number(i + 3, 32), total))
        rows.append(
            {
                "sid": number(i + 3, 32),
                "catagore": signed(number(i, 32)),
                "total": total,
                "birth": number(i + 1, 32),
                "last": number(i + 2, 32),
            }
        )
    return Built(records, {"data": rows, "total": n})


def ids_sessions(_, n):
    records, rows = [], []
    for i in range(n):
        packets = (number(i, 16), number(i + 1, 16))
        records.append(
            wire.ids_session(
                number(i, 32),
                number(i + 1, 32),
                number(i, 16),
                number(i + 1, 16),
                number(i, 32),
                packets,
                number(i, 8),
                6,
            )
        )
        rows.append(
            {
                "src": dotted(number(i, 32)),
                "dst": dotted(number(i + 1, 32)),
                "sport": number(i, 16),
                "dport": number(i + 1, 16),
                "proto": 6,
                "catagore": number(i, 8),
                "pkts0": packets[0],
                "pkts1": packets[1],
                "birth": signed(number(i, 32)),
            }
        )
    return Built(records, {"data": rows, "total": n})


# Alerts that are one valid object, and such as only look like it.
GOOD_ALERTS = [
    b'{"sid":1,"msg":"scan","deep":{"a":[1,-2.5e3,true,false,null,{}]}}',
    b"{}",
    b' {"blank" : "around"} ',
    b'{\r\n\t"lines" : [ 1,\n\n2 ]\n}\n',
    '{"\u4e2d":"\u56fd"}'.encode(),
    b'{"e":"\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\ud83d\\ude00"}',
    b'{"n":-0,"f":1E+400,"g":0.5}',
    b'{"a":[' * 50 + b"]}" * 50,
    b'{"":0,"a":{"":0}}',
    b'{"a":0,"A":0,"a ":0,"\\u0061b":0}',
]
BAD_ALERTS = [
    b"{}}",
    b'{"a"}',
    b'{"a":}',
    b'{,"a":1}',
    b'{"a":"\\ud800\\u0041"}',
    b'{"a":"\\',
    b'{"a":[1,]}',
    b'{"a":[1 2]}',
    b'{"b":{"x":1,"y":2,"x":3}}',
    '{"\u00e9":1,"\\u00e9":2}'.encode(),
    '{"\U0001f600":1,"\\ud83d\\ude00":2}'.encode(),
    b'{"a":1}{"b":2}',
    b'{"a":1},{"b":2}',
    b'{"a":1,"a":2}',
    b'{"a":{"b":1,"b":2}}',
    b'{"a":1,"\\u0061":2}',
    b'[{"a":1}]',
    b'"text"',
    b"17",
    b"",
    b'{"a":01}',
    b'{"a":.5}',
    b'{"a":1.}',
    b'{"a":+1}',
    b'{"a":0x1}',
    b'{"a":NaN}',
    b'{"a":tru}',
    b"{'a':1}",
    b'{"a":1,}',
    b'{"a" 1}',
    b'{"a":"\t"}',
    b'{"a":"\\x"}',
    b'{"a":"\\u12"}',
    b'{"a":"\xd6\xd0"}',
    b'{"a":"\xed\xa0\x80"}',
    b'{"a":1',
    b'{"a":"',
    b'{"a":1}]',
    b'{"a":1} x',
    b'\xef\xbb\xbf{"a":1}',
    b"{" * 1000,
    b'{"a":[' * 600,
    b'{"a":[' * 50 + b"{}" + b"]}" * 50,
    b"//x\n{}",
    b'{"a":1e}',
    b'{"a":"\\ud800"}',
    b'{"\\udc00\\ud800":1}',
    b'{"a":"\\ud83dx"}',
    b'{"a":-}',
    b'{"a":"\x7f\xff"}',
]


NESTED_MAX = 100  # of an object that is passed on: deeper ones overrun parsers


def levels(value):
    inner = value.values() if isinstance(value, dict) else value if isinstance(value, list) else None
    return 0 if inner is None else 1 + max(map(levels, inner), default=0)


def is_object(raw):
    try:
        value = parse_text(raw.decode("utf-8"))
    except (Fault, UnicodeDecodeError):
        return False
    return isinstance(value, dict) and levels(value) <= NESTED_MAX


def alerts(texts, n):
    assert all(map(is_object, GOOD_ALERTS)) and not any(map(is_object, BAD_ALERTS))
    raws = [*GOOD_ALERTS, *BAD_ALERTS] if texts.hostile else [b'{"sid":%d,"msg":"x"}' % i for i in range(n)]
    raws += [until_nul(texts(3840)) for _ in range(n)]
    rows = [parse_text(raw.decode()) if is_object(raw) else decode(raw) for raw in raws]
    return Built([wire.alert(1700000000 - i, raw) for i, raw in enumerate(raws)], {"data": rows, "total": len(rows)})
