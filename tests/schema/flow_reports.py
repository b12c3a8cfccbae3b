"""Sessions, flows and resets with all their texts given, and their documents."""
import struct

import records as wire
from built import IDS, NAMES, OTHER, UNKNOWN, Built, add, described, or_null
from records import IPV6, IPV6_TEXT, dotted, local_time, number, signed, words_of
from texts import cut, decode, decode_gbk, until_nul


def ranked(entries):
    """The most frequent first, and of those the smallest key."""
    return sorted(entries.items(), key=lambda item: (-item[1]["flow"], item[0]))


def names_document(names):
    """The most frequent first, otherwise as they came."""
    rows = [{"dns": decode(name), **counts} for name, counts in names.items()]
    rows.sort(key=lambda row: -row["flow"])
    return {"total": len(rows), "data": rows}


# ---- Sessions


def sessions_of(texts, n):
    for i in range(n):
        b, a, c, host = words_of(texts, 12, 12, 12, 42)
        yield {
            "i": i,
            "source": 0x0A000001 + i,
            "destination": 0xC0A80101 + i,
            "host": host,
            "texts": (a, b, c),
            "location": texts(43),
            "sport": number(i, 16),
            "dport": number(i + 1, 16),
            "up": number(i, 32),
            "down": number(i + 1, 32),
            "delays": (number(i, 32), i * 1000 + 500, number(i + 2, 32)),
            "application": IDS[i % len(IDS)],
            "birth": 0,
        }


def session_record(s):
    return wire.session(**{name: value for name, value in s.items() if name != "i"})


def session_addresses(side, page=None):
    def build(texts, n):
        records, rows = [], []
        for s in sessions_of(texts, n):
            records.append(session_record(s))
            ip = s[side]
            row = {
                "ip": dotted(ip),
                "flow": 1,
                "upbytes": s["up"],
                "downbytes": s["down"],
                "avgdelay": s["delays"][1],
            }
            if side == "destination":
                row |= {"upbytes": s["down"], "downbytes": s["up"], "locisp": decode_gbk(s["location"])}
            rows.append(row | {"desc": described(ip)})
        # One over IPv6, which no address list shows.
        records.append(wire.session(IPV6[0], IPV6[1], host=b"v6", ipv6=True))
        data = rows if page is None else rows[page[0] : page[1]]
        return Built(records, {"total": n, "data": data})

    return build


def session_names(texts, n):
    names, records = {}, []
    for s in sessions_of(texts, n):
        records.append(session_record(s))
        if s["host"]:
            add(names, cut(s["host"], 42), flow=1)
    return Built(records, names_document(names))


def session_ports(texts, n):
    ports, records = {}, []
    for s in sessions_of(texts, n):
        records.append(session_record(s))
        add(ports, s["dport"], flow=1)
    rows = [{"port": port, **counts} for port, counts in ranked(ports)]
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
        rows.append(
            {
                "loc": decode_gbk(place),
                "flow": c["flow"],
                "upbytes": c["upbytes"],
                "downbytes": c["downbytes"],
                "avgdelay": c["delay"] // c["flow"],
            }
        )
    return Built(records, rows)


def session_lines(texts, n):
    records, lines = [], []
    for s in sessions_of(texts, n):
        i = s["i"]
        s |= {
            "value40": number(i, 32),
            "flag": i & 1,
            "state": i & 3,
            "value58": number(i, 16),
            "value60": number(i + 1, 16),
            "value62": number(i, 8),
            "vpaid": number(i + 1, 8),
            "proto": [6, 17, 1, 58, 99][i % 5],
            "values80": (number(i, 16), 2),
            "packets": (number(i, 32), 3),
            "rexmits": (4, number(i + 1, 32)),
            "suffix": i & 3,
        }
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
            f" {['NIL', 'SYN', 'ACK', 'OK'][s['state']]} {or_null(decode_gbk(s['location']))} {s['vpaid']} {s['value40']}"
        )
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
        lines.append(
            f"{text} {names[0]} {names[1]} {rate(rates[0] * 8)}{rate(rates[1] * 8)}{rate(sum(rates) * 8)}{or_null(decode(note))}"
        )
    return Built(records, {"lines": lines} if lines else {})


# ---- Flows


def flows_of(texts, n):
    for i in range(n):
        country, region, third, isp = words_of(texts, 15, 18, 17, 16)
        yield {
            "i": i,
            "source": 0x0A000001 + i,
            "destination": 0xC0A80101 + i,
            "places": (b"C" if not country + region else country, region, third),
            "isp": isp,
            "host": texts(60),
            "sport": number(i, 16),
            "dport": number(i + 1, 16),
            "up": number(i, 32),
            "down": number(i + 1, 32),
            "application": number(i, 32),
            "proto": number(i, 8),
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
        rows.append(
            {
                "src": ends[0],
                "sport": f["sport"],
                "desc": desc,
                "dst": ends[1],
                "dport": f["dport"],
                "apid": signed(f["application"]),
                "name": UNKNOWN,
                "cname": UNKNOWN,
                "upbytes": f["up"],
                "downbytes": f["down"],
                "locisp": place_text(f),
                "proto": f["proto"],
                "host": decode(f["host"]),
            }
        )
    records.append(wire.flow(1, 2, (b"\xb1\xa3\xc1\xf4", b"", b"")))  # a reserved range, left out
    records.append(wire.flow(1, 2, (b"", b"", b"x")))  # no place, left out
    return Built(records, {"data": rows, "total": n})


def flow_addresses(side):
    def build(texts, n):
        records, rows = [], []
        for f in flows_of(texts, n):
            records.append(flow_record(f))
            source = side == "source"
            rows.append(
                {
                    "ip": dotted(f[side]),
                    "flow": 1,
                    "upbytes": f["up" if source else "down"],
                    "downbytes": f["down" if source else "up"],
                    "locisp": "" if source else place_text(f),
                    "desc": described(f[side]),
                }
            )
        return Built(records, {"data": rows, "total": n})

    return build


def flow_names(texts, n):
    names, records = {}, []
    for f in flows_of(texts, n):
        records.append(flow_record(f))
        add(names, cut(until_nul(f["host"]), 42), flow=1)
    return Built(records, names_document(names))


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
    rows = [{"apid": i, "name": UNKNOWN, "cname": UNKNOWN, **counts} for i, counts in ranked(ids)]
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
        destinations.append(
            {"ip": dotted(f["destination"]), **counts, "desc": described(f["destination"]), "locisp": place_text(f)}
        )
    return Built(
        records,
        {
            "dnstotal": len(names),
            "dns_data": [{"dns": decode(name), **counts} for name, counts in names.items()],
            "loc_data": [{"loc": decode_gbk(place), **counts} for place, counts in places.items()],
            "loctotal": len(places),
            "src_data": sources,
            "src_total": n,
            "totalflow": n,
            "succflow": succeeded,
            "dst_data": destinations,
            "dst_total": n,
            "port_data": [{"port": str(signed(i)), **counts} for i, counts in ids.items()],
        },
    )


# ---- Resets


def resets_of(texts, n):
    for i in range(n):
        yield {
            "i": i,
            "seconds": 1700000000 + i,
            "source": 0x0A000001 + i,
            "destination": 0xC0A80101 + i,
            "name": texts(31),
            "port": number(i, 16),
            "dport": number(i + 1, 16),
            "times": (i * 10, number(i, 17), number(i, 18)),
            "values24": (number(i, 16), 7),
            "value32": number(i, 8),
            "application": IDS[i % 5],
            "status": [0, 200, 302, 404, 503][i % 5],
            "traffic": 5 + i % 3,
            "ipv6": i % 3 == 2,
        }


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
        lines.append(
            f"{r['seconds']} {local_time(r['seconds'])} {UNKNOWN} {UNKNOWN} {ends[0]} {r['port']} {ends[1]} {r['port']}"
            f" {hundredths(middle)} {hundredths(high)} {hundredths(low)} {r['values24'][0]} {r['values24'][1]} {r['value32']}"
            f" {or_null(decode(r['name']))}{status}"
        )
    return Built(records, {"lines": lines} if lines else {})


def reset_addresses(side):
    def build(texts, n):
        records, rows = [], []
        for r in resets_of(texts, n):
            records.append(reset_record(r))
            row = {
                "ip": ipv6_text(r[side]) if r["ipv6"] else dotted(r[side]),
                "flowcnt": 1,
                "http": int(r["traffic"] == 5),
                "https": str(int(r["traffic"] == 6)),
                "maxtime": r["seconds"],
                "mintime": r["seconds"],
            }
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
        row = names.setdefault(
            name,
            {
                "flowcnt": 0,
                "http": 0,
                "https": 0,
                "maxtime": 0,
                "mintime": r["seconds"],
                "status": [0] * 4,
                "ports": {},
            },
        )
        row["flowcnt"] += 1
        row["http"] += r["traffic"] == 5
        row["https"] += r["traffic"] == 6
        row["maxtime"] = max(row["maxtime"], r["seconds"])
        if r["status"]:
            row["status"][r["status"] // 100 - 2] += 1
        row["ports"][r["dport"] & 7] = r["dport"]
    rows = []
    for name, c in names.items():
        rows.append(
            {
                "dns": decode(name),
                "flowcnt": c["flowcnt"],
                "http": c["http"],
                "https": str(c["https"]),
                "maxtime": c["maxtime"],
                "mintime": c["mintime"],
                **{f"http{k}0x": c["status"][k - 2] for k in (2, 3, 4, 5)},
                "port": ",".join(str(port) for _, port in sorted(c["ports"].items())),
            }
        )
    return Built(records, {"data": rows, "total": len(rows)})
