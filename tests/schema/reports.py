"""Every report with records in which all texts are given, and the document that must come of them."""
import struct
import time

import records as wire
from appliance import Reply
from records import IPV6, IPV6_TEXT, dotted, local_time, number, signed, words_of
from strict import Fault, parse_text
from texts import cut, decode, decode_gbk, until_nul

# What the configuration and the vendor database say, each a text that a stranger might wish for.
DESCRIPTIONS = {0x0A000001: b'a"},{"b', 0x0A000002: b"\\\xd6\xd0\x81", 0xC0A80101: "\u4e2d".encode()}
CONFIGURATION = b"".join(b"mac ip=%s d=%s\n" % (dotted(ip).encode(), text) for ip, text in DESCRIPTIONS.items())
VENDORS = {b"\x00\x1a\x2b": b'Maker"},{"x":"', b"\x00\x1a\x2c": b"B\\\xd6\xd0\xff"}
VENDOR_LIST = b"".join(b"%s %s\n" % (":".join(f"{byte:02X}" for byte in prefix).encode(), name) for prefix, name in VENDORS.items())
# The stand-in dictionary: names by identifier, those that daemons add among them.
NAMES = {1: ("DNS", "names"), 9: ('QUIC"', "a\\b"), 9001: ('A"},{"B', "user"), 9003: ("\\\u4e2d\ufffd", "user")}
OTHER = ("other", "second")
IDS = [1, 9, 9001, 9003, 5000]
UNKNOWN = "undname"


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


# ---- Sessions

def sessions_of(texts, n):
    for i in range(n):
        b, a, c, host = words_of(texts(78), 12, 12, 12, 42)
        yield {
            "i": i, "source": 0x0A000001 + i, "destination": 0xC0A80101 + i, "host": host, "texts": (a, b, c),
            "location": texts(43), "sport": number(i, 16), "dport": number(i + 1, 16), "up": number(i, 32), "down": number(i + 1, 32),
            "delays": (number(i, 32), i * 1000 + 500, number(i + 2, 32)), "application": IDS[i % len(IDS)], "birth": 0,
        }


def session_record(s):
    return wire.session(**{name: value for name, value in s.items() if name != "i"})


def session_addresses(side, page=None):
    def build(texts, n):
        records, rows = [], []
        for s in sessions_of(texts, n):
            records.append(session_record(s))
            ip = s[side]
            row = {"ip": dotted(ip), "flow": 1, "upbytes": s["up"], "downbytes": s["down"], "avgdelay": s["delays"][1]}
            if side == "destination":
                row |= {"upbytes": s["down"], "downbytes": s["up"], "locisp": decode_gbk(s["location"])}
            rows.append(row | {"desc": described(ip)})
        # One over IPv6, which no address list shows.
        records.append(wire.session(IPV6[0], IPV6[1], host=b"v6", ipv6=True))
        data = rows if page is None else rows[page[0]:page[1]]
        return Built(records, {"total": n, "data": data})
    return build


def session_names(texts, n):
    names, records = {}, []
    for s in sessions_of(texts, n):
        records.append(session_record(s))
        if s["host"]:
            add(names, cut(s["host"], 42), flow=1)
    rows = [{"dns": decode(name), **counts} for name, counts in names.items()]
    rows.sort(key=lambda row: -row["flow"])
    return Built(records, {"total": len(rows), "data": rows})


def session_ports(texts, n):
    ports, records = {}, []
    for s in sessions_of(texts, n):
        records.append(session_record(s))
        add(ports, s["dport"], flow=1)
    rows = [{"port": port, **counts} for port, counts in sorted(ports.items(), key=lambda item: (-item[1]["flow"], item[0]))]
    return Built(records, {"total": len(rows), "data": rows})


def session_locations(texts, n):
    places, records = {}, []
    for s in sessions_of(texts, n):
        records.append(session_record(s))
        place = cut(until_nul(s["location"]), 4)
        if place:
            add(places, place, flow=1, upbytes=s["up"], downbytes=s["down"], delay=s["delays"][1])
    rows = []
    for place, c in places.items():
        rows.append({"loc": decode_gbk(place), "flow": c["flow"], "upbytes": c["upbytes"], "downbytes": c["downbytes"],
                     "avgdelay": c["delay"] // c["flow"]})
    return Built(records, rows)


def session_lines(texts, n):
    records, lines = [], []
    for s in sessions_of(texts, n):
        i = s["i"]
        s |= {"value40": number(i, 32), "flag": i & 1, "state": i & 3, "value58": number(i, 16), "value60": number(i + 1, 16),
              "value62": number(i, 8), "vpaid": number(i + 1, 8), "proto": [6, 17, 1, 58, 99][i % 5], "values80": (number(i, 16), 2),
              "packets": (number(i, 32), 3), "rexmits": (4, number(i + 1, 32)), "suffix": i & 3}
        if i % 3 == 2:
            s |= {"source": IPV6[0], "destination": IPV6[1], "ipv6": True}
            ends = f"{IPV6_TEXT[0]}/{s['sport']}-{IPV6_TEXT[1]}/{s['dport']}"
        else:
            ends = f"{dotted(s['source'])}:{s['sport']}-{dotted(s['destination'])}:{s['dport']}"
        records.append(session_record(s))
        host = decode(s["host"])
        host = f"{host}|{s['suffix']}" if s["suffix"] else or_null(host)
        a, b, c = (or_null(decode(text)) for text in s["texts"])
        delays = " ".join(f"{delay / 1000:.2f}" for delay in s["delays"])
        lines.append(
            f"age {s['application']} {NAMES.get(s['application'], OTHER)[0]} {['tcp', 'udp', 'icmp', 'icmp6', 'unk_99'][i % 5]} {ends}"
            f" {s['up']} {s['down']} 0 {s['up'] + s['down'] & 0xFFFFFFFF} {s['flag']} {s['value60']} {s['value58']} {s['value62']}"
            f" {a} {host} {b} {c} {delays} {s['values80'][0]} {s['values80'][1]}"
            f" {s['rexmits'][0]}/{s['packets'][0]} {s['rexmits'][1]}/{s['packets'][1]}"
            f" {['NIL', 'SYN', 'ACK', 'OK'][s['state']]} {or_null(decode_gbk(s['location']))} {s['vpaid']} {s['value40']}")
    return Built(records, {"lines": [*lines, f"total {n}"]})


def without_age(document):
    lines = [line if line.startswith("total ") else line.split(" ", 1)[-1] for line in document.get("lines", [])]
    return {**document, "lines": lines}


def rate(value):
    return f"{value} " if value <= 999 else f"{value / 1000:.2f}K " if value <= 999999 else f"{value / 1000000:.2f}M "


def throughputs(texts, n):
    records, lines = [], []
    for i in range(n):
        address, text, ipv6 = struct.pack(">I", 0x0A000001 + i), dotted(0x0A000001 + i), i % 3 == 2
        if ipv6:
            address, text = IPV6[0], IPV6_TEXT[0]
        rates, note = (number(i, 32), i * 40), texts(36)
        records.append(wire.throughput(address, IDS[i % 5], *rates, note, ipv6))
        names = NAMES.get(IDS[i % 5], OTHER)
        lines.append(f"{text} {names[0]} {names[1]} {rate(rates[0] * 8)}{rate(rates[1] * 8)}{rate(sum(rates) * 8)}{or_null(decode(note))}")
    return Built(records, {"lines": lines} if lines else {})


# ---- Flows

def flows_of(texts, n):
    for i in range(n):
        country, region, third, isp = words_of(texts(66), 15, 18, 17, 16)
        yield {
            "i": i, "source": 0x0A000001 + i, "destination": 0xC0A80101 + i, "places": (b"C" if not country + region else country, region, third),
            "isp": isp, "host": texts(60), "sport": number(i, 16), "dport": number(i + 1, 16), "up": number(i, 32), "down": number(i + 1, 32),
            "application": number(i, 32), "proto": number(i, 8),
        }


def flow_record(f, **more):
    return wire.flow(**{name: value for name, value in {**f, **more}.items() if name != "i"})


def place_text(f):
    text = "".join(map(decode_gbk, f["places"]))
    return f"{text}|{decode_gbk(f['isp'])}" if until_nul(f["isp"]) else text


def flow_rows(texts, n):
    records, rows = [], []
    for f in flows_of(texts, n):
        ends, ipv6 = (dotted(f["source"]), dotted(f["destination"])), f["i"] % 3 == 2
        desc = described(f["source"])
        if ipv6:
            f |= {"source": IPV6[0], "destination": IPV6[1]}
            ends, desc = IPV6_TEXT, "NULL"
        records.append(flow_record(f, ipv6=ipv6))
        rows.append({
            "src": ends[0], "sport": f["sport"], "desc": desc, "dst": ends[1], "dport": f["dport"], "apid": signed(f["application"]),
            "name": UNKNOWN, "cname": UNKNOWN, "upbytes": f["up"], "downbytes": f["down"], "locisp": place_text(f),
            "proto": f["proto"], "host": decode(f["host"]),
        })
    records.append(wire.flow(1, 2, (b"\xb1\xa3\xc1\xf4", b"", b"")))  # a reserved range, left out
    records.append(wire.flow(1, 2, (b"", b"", b"x")))  # no place, left out
    return Built(records, {"data": rows, "total": n})


def flow_addresses(side):
    def build(texts, n):
        records, rows = [], []
        for f in flows_of(texts, n):
            records.append(flow_record(f))
            source = side == "source"
            rows.append({"ip": dotted(f[side]), "flow": 1, "upbytes": f["up" if source else "down"],
                         "downbytes": f["down" if source else "up"], "locisp": "" if source else place_text(f), "desc": described(f[side])})
        return Built(records, {"data": rows, "total": n})
    return build


def flow_names(texts, n):
    names, records = {}, []
    for f in flows_of(texts, n):
        records.append(flow_record(f))
        add(names, cut(until_nul(f["host"]), 42), flow=1)
    rows = [{"dns": decode(name), **counts} for name, counts in names.items()]
    rows.sort(key=lambda row: -row["flow"])
    return Built(records, {"total": len(rows), "data": rows[:1000]})


def flow_locations(texts, n):
    places, records = {}, []
    for f in flows_of(texts, n):
        home = f["i"] & 1
        records.append(flow_record(f, domestic=home))
        add(places, cut(f["places"][home], 30), flow=1, upbytes=f["up"], downbytes=f["down"])
    rows = [{"loc": decode_gbk(place), **counts} for place, counts in places.items()]
    rows.sort(key=lambda row: -row["flow"])
    return Built(records, {"data": rows, "total": len(rows)})


def flow_applications(texts, n):
    ids, records = {}, []
    for f in flows_of(texts, n):
        records.append(flow_record(f))
        add(ids, f["application"] & 0xFFFF, flow=1)
    rows = [{"apid": i, "name": UNKNOWN, "cname": UNKNOWN, **counts} for i, counts in sorted(ids.items(), key=lambda e: (-e[1]["flow"], e[0]))]
    return Built(records, {"data": rows, "total": len(rows)})


def dns_flows(texts, n):
    names, places, ids, records, sources, destinations, succeeded = {}, {}, {}, [], [], [], 0
    for f in flows_of(texts, n):
        records.append(flow_record(f))
        both = int(f["up"] != 0 and f["down"] != 0)
        counts = {"flow": 1, "succ": both, "fail": 1 - both}
        succeeded += both
        add(names, cut(until_nul(f["host"]), 42), **counts)
        add(places, cut(f["places"][0], 30), **counts)
        add(ids, f["application"], **counts)
        sources.append({"ip": dotted(f["source"]), **counts, "desc": described(f["source"])})
        destinations.append({"ip": dotted(f["destination"]), **counts, "desc": described(f["destination"]), "locisp": place_text(f)})
    return Built(records, {
        "dnstotal": len(names), "dns_data": [{"dns": decode(name), **counts} for name, counts in names.items()],
        "loc_data": [{"loc": decode_gbk(place), **counts} for place, counts in places.items()], "loctotal": len(places),
        "src_data": sources, "src_total": n, "totalflow": n, "succflow": succeeded, "dst_data": destinations, "dst_total": n,
        "port_data": [{"port": str(signed(i)), **counts} for i, counts in ids.items()],
    })


# ---- Resets

def resets_of(texts, n):
    for i in range(n):
        yield {"i": i, "seconds": 1700000000 + i, "source": 0x0A000001 + i, "destination": 0xC0A80101 + i, "name": texts(31),
               "port": number(i, 16), "dport": number(i + 1, 16), "times": (i * 10, number(i, 17), number(i, 18)),
               "values24": (number(i, 16), 7), "value32": number(i, 8), "application": IDS[i % 5], "status": [0, 200, 302, 404, 503][i % 5],
               "traffic": 5 + i % 3, "ipv6": i % 3 == 2}


def reset_record(r):
    r = {name: value for name, value in r.items() if name != "i"}
    if r["ipv6"]:
        r |= {"source": ipv6_of(r["source"]), "destination": ipv6_of(r["destination"])}
    return wire.reset(**r)


def ipv6_of(ip):
    return bytes.fromhex("20010db8") + bytes(8) + struct.pack(">I", ip)


def ipv6_text(ip):
    return f"2001:db8::{ip >> 16:x}:{ip & 0xffff:x}"


def hundredths(value):
    return f"{value / 100:.2f}" if value else "0"


def reset_lines(texts, n):
    records, lines = [], []
    for r in resets_of(texts, n):
        records.append(reset_record(r))
        ends = [ipv6_text(r[side]) if r["ipv6"] else str(r[side]) for side in ("source", "destination")]
        low, middle, high = r["times"]
        status = f"|{r['status']}" if r["status"] else ""
        lines.append(f"{r['seconds']} {local_time(r['seconds'])} {UNKNOWN} {UNKNOWN} {ends[0]} {r['port']} {ends[1]} {r['port']}"
                     f" {hundredths(middle)} {hundredths(high)} {hundredths(low)} {r['values24'][0]} {r['values24'][1]} {r['value32']}"
                     f" {or_null(decode(r['name']))}{status}")
    return Built(records, {"lines": lines} if lines else {})


def reset_addresses(side):
    def build(texts, n):
        records, rows = [], []
        for r in resets_of(texts, n):
            records.append(reset_record(r))
            row = {"ip": ipv6_text(r[side]) if r["ipv6"] else dotted(r[side]), "flowcnt": 1, "http": int(r["traffic"] == 5),
                   "https": str(int(r["traffic"] == 6)), "maxtime": r["seconds"], "mintime": r["seconds"]}
            names = "|".join(NAMES.get(r["application"], OTHER))
            rows.append(row | ({"app": names} if side == "source" else {"port": str(r["dport"])}))
        return Built(records, {"data": rows, "total": n})
    return build


def reset_names(texts, n):
    names, records = {}, []
    for r in resets_of(texts, n):
        records.append(reset_record(r))
        name = until_nul(r["name"])
        if not name:
            continue
        row = names.setdefault(name, {"flowcnt": 0, "http": 0, "https": 0, "maxtime": 0, "mintime": r["seconds"], "status": [0] * 4, "ports": {}})
        row["flowcnt"] += 1
        row["http"] += r["traffic"] == 5
        row["https"] += r["traffic"] == 6
        row["maxtime"] = max(row["maxtime"], r["seconds"])
        if r["status"]:
            row["status"][r["status"] // 100 - 2] += 1
        row["ports"][r["dport"] & 7] = r["dport"]
    rows = []
    for name, c in names.items():
        rows.append({"dns": decode(name), "flowcnt": c["flowcnt"], "http": c["http"], "https": str(c["https"]), "maxtime": c["maxtime"],
                     "mintime": c["mintime"], **{f"http{k}0x": c["status"][k - 2] for k in (2, 3, 4, 5)},
                     "port": ",".join(str(port) for _, port in sorted(c["ports"].items()))})
    return Built(records, {"data": rows, "total": len(rows)})


# ---- Protocol logs

MACS = [bytes(6), b"\x00\x1a\x2b\x3c\x4d\x5e", b"\x00\x1a\x2c\x01\x02\x03", b"\xfe\xdc\xba\x98\x76\x54"]


def log_heads(size, protocol, n):
    """(record, the members of its head, i)"""
    for i in range(n):
        source, destination, ends = struct.pack(">I", 0x0A000001 + i), struct.pack(">I", 0xC0A80101 + i), (0x0A000001 + i, 0xC0A80101 + i)
        texts, ipv6 = tuple(map(dotted, ends)), i % 3 == 2
        if ipv6:
            source, destination, texts = *IPV6, IPV6_TEXT
        mac = MACS[i % len(MACS)]
        operation = [0, 1, 2, 5, 6, 7, 8, 255][i % 8]
        record = wire.log_head(size, i, source, destination, mac, ipv6, operation)
        seconds = 1700000000 - i
        row = {"req_time": local_time(seconds), "time": seconds, "src_ip": texts[0], "dst_ip": texts[1], "src_port": number(i, 16),
               "dst_port": number(i + 1, 16), "proto": protocol, "mac": "-".join(f"{byte:02x}" for byte in mac) if any(mac) else ""}
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
        rows.append(row | {"username": user(a, b), "syslog": decode(message.translate(bytes.maketrans(b'\\\n\r"', b"----")))})
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
            records.append(wire.malicious(seconds, source, destination, level, name, kind, area, indicator, port, ports))
            ioc = f"{dotted(indicator)}:{port}" if indicator and port else dotted(indicator) if indicator else or_null(decode(name))
            rows.append({"time": local_time(seconds), "src": dotted(source), "sport": ports[0], "dst": dotted(destination), "dport": ports[1],
                         "risc": LEVELS.get(level, "\u672a\u77e5"), "locisp": decode_gbk(area), "ioc": ioc, "type": decode(kind)})
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
            "show_level": [{"name": name, "cname": LEVELS[level], "cnt": levels[level]} for level, name in
                           enumerate(["critical", "high", "mid", "low"], 1)],
            "show_malc": [{"name": decode(kind), "cnt": c} for kind, c in types.items()],
        }
        if "show_dstip" in shown: # one list for both words
            named = {"show_srcip": [word for word in ("show_srcip", "show_dstip") if word in shown]}
            parts = {word: part for name, part in parts.items() for word in named.get(name, [name])}
        members = {name: part for name, part in parts.items() if name in shown}
        # One word gives its part alone; the two address words are one list, but still two words.
        return Built(records, list(members.values())[0] if len(shown) == 1 else members, one_batch=True)
    return build


def count_level(entries, key, level):
    counts = entries.setdefault(key, [0] * 4)
    if 1 <= level <= 4:
        counts[level - 1] += 1


def counted(rows):
    return {"total": len(rows), "data": rows}


def addresses_as_lines(pack):
    def build(_, n):
        ips = [number(i, 32) for i in range(n)]
        return Built([struct.pack(pack, ip) for ip in ips], {"lines": list(map(dotted, ips))} if ips else {})
    return build


# ---- Events

def decoded(texts):
    return {name: decode_gbk(text) if name.endswith("_ch") else decode(text) for name, text in texts.items()}


def events(texts, n):
    records, rows = [], []
    for i in range(n):
        said = {name: texts(width) for name, width in wire.EVENT_WIDTHS.items()}
        records.append(wire.event(i, said))
        t, birth = decoded(said), [number(i + k, 32) for k in range(6)]
        rows.append({
            "id": number(i, 16), "evtype": t["evtype"], "evattr": t["evattr"], "evsn": birth[3], "rid": number(i + 1, 16),
            "evt_birth": birth[0], "evdeath": birth[1], "robj": t["robj"], "robj_ch": t["robj_ch"], "effective": number(i, 8),
            "evopcode": t["evopcode"], "evlimit1": t["evlimit1"], "evlimit2": t["evlimit2"], "insname": t["insname"],
            "insname_ch": t["insname_ch"], "excnt": birth[4], "lval": t["lval"], "fval": t["fval"], "lreport": birth[2],
            "alarm_level": number(i + 1, 8), "obj_threshold": birth[5],
        })
    return Built(records, rows)


def occurrences(texts, n):
    records, rows = [], []
    for i in range(n):
        said = {name: texts(width) for name, width in wire.OCCURRENCE_WIDTHS.items()}
        flags = i % 32
        records.append(wire.occurrence(i, said, 1700000000 - i, flags))
        t = decoded(said)
        rows.append({
            "id": number(i, 16), "evtype": t["evtype"], "evattr": t["evattr"], "evsn": number(i, 32), "evopcode": t["evopcode"],
            "evlimit1": t["evlimit1"], "evlimit2": t["evlimit2"], "rid": number(i + 1, 16), "rtime": number(i + 1, 32), "robj": t["robj"],
            "robj_ch": t["robj_ch"], "evt_birth": number(i + 2, 32), "evdeath": 1700000000 - i, "insname": t["insname"],
            "rdstat": flags >> 4 & 1, "insname_ch": t["insname_ch"], "lval": t["lval"], "fval": t["fval"], "failure": t["failure"],
            "effective": flags >> 1 & 1, "reportm": number(i + 3, 32), "dontnotify": flags & 1, "alarm_level": flags >> 2 & 3,
            "obj_threshold": number(i + 4, 32),
        })
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
    return Built(records, {"data": [{
        "all": n, "today_num": today, "today_read": read, "today_unread": today - read, "level": levels,
        "evtype": [{"type": decode(kind), "num": c} for kind, c in ranked(types)],
        "if": [{"ifname": decode_gbk(name), "num": c} for name, c in ranked(interfaces)],
        "mal": [{"malname": decode_gbk(name), "num": c} for name, c in ranked(activities)],
    }]})


# ---- Intrusion detection

def signatures(_, n):
    records, rows = [], []
    for i in range(n):
        total = 2**64 - 1 - i * 2**58
        records.append(wire.signature(number(i, 32), number(i + 1, 32), number(i + 2, 32), number(i + 3, 32), total))
        rows.append({"sid": number(i + 3, 32), "catagore": signed(number(i, 32)), "total": total, "birth": number(i + 1, 32), "last": number(i + 2, 32)})
    return Built(records, {"data": rows, "total": n})


def ids_sessions(_, n):
    records, rows = [], []
    for i in range(n):
        packets = (number(i, 16), number(i + 1, 16))
        records.append(wire.ids_session(number(i, 32), number(i + 1, 32), number(i, 16), number(i + 1, 16), number(i, 32), packets, number(i, 8), 6))
        rows.append({"src": dotted(number(i, 32)), "dst": dotted(number(i + 1, 32)), "sport": number(i, 16), "dport": number(i + 1, 16),
                     "proto": 6, "catagore": number(i, 8), "pkts0": packets[0], "pkts1": packets[1], "birth": signed(number(i, 32))})
    return Built(records, {"data": rows, "total": n})


# Alerts that are one valid object, and such as only look like it.
GOOD_ALERTS = [b'{"sid":1,"msg":"scan","deep":{"a":[1,-2.5e3,true,false,null,{}]}}', b"{}", b' {"blank" : "around"} ',
               '{"\u4e2d":"\u56fd"}'.encode(), b'{"e":"\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\ud83d\\ude00"}', b'{"n":-0,"f":1E+400,"g":0.5}', b'{"a":[' * 50 + b"]}" * 50]
BAD_ALERTS = [b'{"a":1}{"b":2}', b'{"a":1},{"b":2}', b'{"a":1,"a":2}', b'{"a":{"b":1,"b":2}}', b'{"a":1,"\\u0061":2}', b'[{"a":1}]', b'"text"', b"17",
              b"", b'{"a":01}', b'{"a":.5}', b'{"a":1.}', b'{"a":+1}', b'{"a":0x1}', b'{"a":NaN}', b'{"a":tru}', b"{'a':1}", b'{"a":1,}', b'{"a" 1}',
              b'{"a":"\t"}', b'{"a":"\\x"}', b'{"a":"\\u12"}', b'{"a":"\xd6\xd0"}', b'{"a":"\xed\xa0\x80"}', b'{"a":1', b'{"a":"', b'{"a":1}]',
              b'{"a":1} x', b'\xef\xbb\xbf{"a":1}', b"{" * 1000, b'{"a":[' * 600, b'{"a":[' * 50 + b"{}" + b"]}" * 50, b"//x\n{}", b'{"a":1e}', b'{"a":"\\ud800"}', b'{"\\udc00\\ud800":1}', b'{"a":"\\ud83dx"}', b'{"a":-}', b'{"a":"\x7f\xff"}']


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


# ---- Assets, hosts, tables, charts

def assets(texts, n):
    records, rows = [], []
    for i in range(n):
        kind, name, value = [0, 2, 1][i % 3], texts(64), texts(64)
        if kind != 1:
            value = struct.pack(">I", 0x0A000001 + i) if kind == 0 else IPV6[0]
        v = {"flows": 2**32 - 1 - i, "out": number(i, 64), "in": number(i + 1, 64), "requests": (i, 3), "threats": number(i, 24),
             "last": number(i, 24), "port": number(i, 16), "pps": number(i, 32), "bpsout": number(i + 1, 32), "bpsin": number(i + 2, 32),
             "delay": 10 * i * 1234, "max1": i * 5, "max2": number(i, 16), "samples": (1,) * 10}
        records.append(wire.asset(kind, number(i, 16), number(i, 32), number(i + 1, 32), name, value, **v))
        row = {"pid": number(i, 16), "id": signed(number(i, 32)), "logicid": signed(number(i + 1, 32)), "name": decode(name), "port": v["port"]}
        row |= [{"value": dotted(0x0A000001 + i), "isipv6": 1}, {"value": IPV6_TEXT[0], "isipv6": 2}, {"value": decode(value)}][i % 3]
        rows.append(row | {
            "flowcnt": v["flows"], "pps": v["pps"], "bpsout": v["bpsout"], "bpsin": v["bpsin"], "bpstotal": v["bpsout"] + v["bpsin"] & 2**32 - 1,
            "bytesout": v["out"], "bytesin": v["in"], "bytestotal": v["out"] + v["in"] & 2**64 - 1, "avgdelay": f"{i * 1234 / 1000:.2f}",
            "maxus": f"{max(v['max1'], v['max2']) / 1000:.2f}", "failrate": 300 // (i + 3), "threats": v["threats"],
            "threat_last": local_time(v["last"])})
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
        shown = ",".join(map(str, ports[:ports.index(0)] if 0 in ports else ports))
        lines.append(f"{decode(name)} {local_time(1700000000 + i)} {2**32 - 1 - i} {counts[0]} 1 9 2 3 4 0 {dotted(0x0A000001 + i)} {shown} {decode(note)}")
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
        records.append(wire.white_flow(number(i, 32), number(i + 1, 32), number(i, 16), number(i + 1, 16), number(i, 32), number(i, 8), mac))
        rows.append({"src": dotted(number(i, 32)), "sport": number(i, 16), "srcmac": ":".join(f"{byte:02x}" for byte in mac),
                     "dst": dotted(number(i + 1, 32)), "dport": number(i + 1, 16), "birth": number(i, 32), "proto": number(i, 8)})
    return Built(records, {"list": rows, "total": n})


def white_addresses(texts, n):
    records, rows = [], []
    for i in range(n):
        note = texts(44)
        records.append(wire.white_address(number(i, 32), number(i + 1, 32), number(i + 2, 32), 2**32 - 1 - i, note))
        rows.append({"ip": dotted(number(i, 32)), "birth": number(i + 1, 32), "lasttime": number(i + 2, 32), "flows": 2**32 - 1 - i, "desc": decode(note)})
    return Built(records, {"list": rows, "total": n})


def exemptions(texts, n):
    """Two queries, one a kind; pages run over both."""
    names = [texts(55) for _ in range(n)]
    kinds = {b"type=ip ": [wire.exemption(address=number(i, 32)) for i in range(n)], b"type=dns ": list(map(wire.exemption, names))}

    def script(request):
        answer = next(found for extra, found in kinds.items() if request.text.endswith(extra))
        return Reply(b"".join(answer), len(answer))
    return Built([], {"data": [dotted(number(i, 32)) for i in range(n)] + list(map(decode, names)), "count": 2 * n}, lambda: script)


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


LIST = ["page=1", "limit=1000"]
REPORTS = [
    Report("ipobj listflow", ["limit=1000"], session_addresses("destination")),
    Report("ipobj listflow", ["limit=1000", "issrc=1"], session_addresses("source")),
    Report("ipobj listflow", ["limit=2", "page=2"], session_addresses("destination", (2, 4))),
    Report("ipobj listflow", ["dnssum=1"], session_names),
    Report("ipobj listflow", ["portsum=1"], session_ports),
    Report("ipobj listflow", ["sumloc=1"], session_locations),
    Report("ipobj listbussflow", ["limit=1000", "lang=en"], session_lines, without_age),
    Report("ipobj listipa", [], throughputs),
    Report("outconnect listflow", LIST, flow_rows),
    Report("dnsflow listflow", LIST, flow_rows),
    Report("outconnect caluflow", LIST, flow_addresses("destination")),
    Report("outconnect caluflow", [*LIST, "issrc=1"], flow_addresses("source")),
    Report("outconnect caluflow", [*LIST, "dnssum=1"], flow_names),
    Report("outconnect caluflow", [*LIST, "sumloc=1"], flow_locations),
    Report("outconnect caluflow", [*LIST, "appsum=1"], flow_applications),
    Report("dnsflow caluflow", LIST, dns_flows),
    Report("tcpreset list", [], reset_lines),
    Report("tcpreset listip", [], reset_addresses("destination")),
    Report("tcpreset listip", ["type=src"], reset_addresses("source")),
    Report("tcpreset listdns", [], reset_names),
    Report("obssyslog list", LIST, syslogs),
    Report("obssshlog list", LIST, ssh_logs),
    Report("obstlslog list", LIST, tls_logs),
    Report("obsnetbios list", LIST, netbios_logs),
    *(Report("malclog list", [f"{word}=1" for word in shown], malicious_events(*shown)) for shown in [
        ["show_flowlog"], ["show_area"], ["show_dns"], ["show_srcip"], ["show_dstip"], ["show_level"], ["show_malc"], [],
        ["show_srcip", "show_dstip"], ["show_dstip", "show_level"],
        ["show_flowlog", "show_area", "show_dns", "show_srcip", "show_dstip", "show_level", "show_malc"]]),
    Report("malcip list", [], addresses_as_lines(">I")),
    Report("nevt list", [], events),
    Report("nevtlog list", [], occurrences),
    Report("nevtlog list", ["showsum=1"], event_summary),
    Report("idssum list", LIST, signatures),
    Report("kesidslog list", LIST, alerts),
    Report("kesidslog listflow", LIST, ids_sessions),
    Report("assetsobj list", LIST, assets, with_decimals),
    Report("obstopogrp list", [], groups),
    Report("hostinfo list", [], hosts),
    Report("table get", [], addresses_as_lines("<I")),
    Report("obsiptable get", [], addresses_as_lines("<I")),
    *(Report(f"{module} get", ["tid=1"], member_text) for module in ("table", "obsiptable")),
    Report("whiteip list", LIST, white_flows),
    Report("whiteip get", LIST, white_addresses),
    Report("tunwltable list", LIST, exemptions),
    Report("dnstunwltable list", LIST, exemptions),
    Report("chart dump", ["bridge=1"], charts),
]


SMALLEST_SEGMENT = 65536


def script_of(built, most=3):
    """Replies that send the records in several batches."""
    if built.script:
        return built.script()
    records = built.records
    most = 1 if built.one_batch else max(most, -(-sum(map(len, records)) // SMALLEST_SEGMENT) + 1)
    size = -(-len(records) // most)
    batches = [records[at:at + size] for at in range(0, len(records), max(size, 1))] or [[]]
    left = list(batches)

    def script(request):
        batch = left.pop(0) if left else []
        return Reply(b"".join(batch), len(batch), length=0, last=not left)
    return script
