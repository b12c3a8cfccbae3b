// The page: what each panel asks and how a row is shown.
import {age, bytes, clock, count, element, text, visible} from "./dom.js";
import {host, session} from "./lines.js";
import {Panel, utcOffset} from "./panel.js";
import {Security} from "./security.js";
import {Table} from "./table.js";
import {Throughput} from "./throughput.js";

const section = (id) => document.getElementById(id);
const body = (id) => section(id).querySelector(".body");
const mono = (value) => element("bdi", {class: "mono"}, visible(value));

const TILES = ["Sessions", "Sources", "Malicious", "Hosts", "Assets"];
const tiles = new Map(TILES.map((name) => [name, element("dd", {}, "–")]));
document.getElementById("tiles").append(...TILES.map((name) => element("div", {}, element("dt", {}, name), tiles.get(name))));
function tile(name, value, failed, more = "") {
    tiles.get(name).textContent = failed ? "–" : count(value) + more;
}

const throughput = new Throughput(section("throughput"));

const FLOWS = {title: "Sessions", number: true, cell: (r) => count(r.flow)};
const DELAY = {title: "Delay", number: true, cell: (r) => (r.avgdelay > 0 ? `${(r.avgdelay / 1000).toFixed(2)}\u202fms` : "–")};
const VOLUME = [
    {title: "From client", part: 0, number: true, cell: (r) => bytes(r.upbytes)},
    {title: "From server", part: 1, number: true, cell: (r) => bytes(r.downbytes)},
];
const SHARE = {title: "Share", bar: (r) => [r.upbytes, r.downbytes]};
const COUNTED = {title: "Share", bar: (r) => [r.flow]};
const TALKERS = {
    sources: {caption: "Addresses that open sessions", sort: "byte", parameters: {issrc: "1"}},
    destinations: {caption: "Addresses that are connected to", sort: "byte", parameters: {}},
    names: {caption: "Host names", sort: "flow", all: true, parameters: {dnssum: "1"}, columns: [
        {title: "Name", sort: "dns", cell: (r) => text(r.dns)}, COUNTED, {...FLOWS, sort: "flow"}]},
    ports: {caption: "Destination ports", sort: "flow", all: true, parameters: {portsum: "1"}, columns: [
        {title: "Port", sort: "port", number: true, cell: (r) => String(r.port)}, COUNTED, {...FLOWS, sort: "flow"}]},
    places: {caption: "Places", sort: "flow", all: true, parameters: {sumloc: "1"}, columns: [
        {title: "Place", sort: "loc", cell: (r) => text(r.loc)}, SHARE, {...FLOWS, sort: "flow"},
        {...VOLUME[0], sort: "upbytes"}, {...VOLUME[1], sort: "downbytes"}, {...DELAY, sort: "avgdelay"}]},
};
let talkers;
function chooseTalkers(name) {
    const {caption, sort, all = false, parameters, columns} = TALKERS[name];
    const addresses = [
        {title: "Address", cell: (r) => mono(r.ip)},
        SHARE, {...FLOWS, sort: "flow"}, ...VOLUME,
        {title: "Both", sort: "byte", number: true, cell: (r) => bytes(r.upbytes + r.downbytes)},
        {...DELAY, sort: "delay"},
        ...(name === "destinations" ? [{title: "Place", cell: (r) => text(r.locisp ?? "")}] : []),
        {title: "Known as", cell: (r) => text(r.desc)},
    ];
    talkers = new Table(body("talkers"), {
        caption, sort, all, columns: columns ?? addresses, empty: "No session was seen.",
        query: (state) => ({path: "ipobj/listflow",
            parameters: all ? parameters : {...parameters, sort: state.sort, page: state.page, limit: state.limit}}),
        rows: (d, failed) => {
            const rows = Array.isArray(d) ? d : d.data ?? [];
            const total = Array.isArray(d) ? rows.length : d.total ?? 0;
            if (name === "sources")
                tile("Sources", total, failed);
            return {rows, total};
        },
    });
}
chooseTalkers("sources");
for (const choice of section("talkers").querySelectorAll("[name=by]"))
    choice.addEventListener("change", () => {
        chooseTalkers(choice.value);
        talkers.load();
    });

const filter = section("sessions").querySelector("form");
const MS = (key, title, sort) => ({title, sort, number: true, cell: (r) => r[key]});
const sessions = new Table(body("sessions"), {
    caption: "Sessions, delays in milliseconds", empty: "No session was seen.", sort: "bytes", size: 15,
    columns: [
        {title: "Application", sort: "app", cell: (r) => text(r.application)},
        {title: "Protocol", sort: "proto", cell: (r) => text(r.protocol)},
        {title: "Source", cell: (r) => mono(r.source)},
        {title: "Destination", sort: "dst", cell: (r) => mono(r.destination)},
        {title: "Host and texts", sort: "host", cell: (r) => text(r.host)},
        {title: "Up", number: true, cell: (r) => bytes(r.up)},
        {title: "Down", number: true, cell: (r) => bytes(r.down)},
        {title: "Both", sort: "bytes", number: true, cell: (r) => bytes(r.bytes)},
        MS("client", "Client", "clntdelay"), MS("server", "Server", "svrdelay"), MS("answer", "Answer", "appdelay"),
        {title: "Repeated", number: true, cell: (r) => r.again},
        {title: "State", cell: (r) => text(r.state)},
        {title: "Place", cell: (r) => text(r.place)},
        {title: "Age", sort: "time", number: true, cell: (r) => age(r.age)},
    ],
    query: ({page, limit, sort}) => ({path: "ipobj/listbussflow", parameters: {sort, page, limit, lang: "en",
        ...Object.fromEntries([...new FormData(filter)].map(([key, value]) => [key, value.trim()]))}}),
    rows: (d, failed) => {
        const lines = d.lines ?? [];
        const total = Number(/^total (\d+)$/.exec(lines.at(-1) ?? "")?.[1] ?? 0);
        const filtered = [...new FormData(filter).values()].some((value) => value.trim() !== "");
        sessions.panel.empty = filtered ? "No session passes the filter." : "No session was seen.";
        if (!filtered)
            tile("Sessions", total, failed);
        const rows = lines.slice(0, total > 0 ? -1 : undefined).map((line) => session(line) ?? UNREADABLE(line));
        return {rows: total > 0 ? rows : [], total};
    },
});
const UNREADABLE = (line) => ({application: "", protocol: "", source: "", destination: "", host: line, up: 0, down: 0,
    bytes: 0, client: "", server: "", answer: "", again: "", state: "", place: "", age: 0});
filter.addEventListener("submit", (event) => {
    event.preventDefault();
    sessions.first();
});
filter.addEventListener("reset", () => setTimeout(() => sessions.first()));

const security = new Security(section("security"), tile);

const topology = new Panel(body("topology"), {empty: "No group was drawn into the topology."});
// Groups that hold groups open and close; a tree of any depth is built without calling oneself.
function drawTopology(groups) {
    const root = element("ul");
    const left = Array.isArray(groups) ? [[groups, root]] : [];
    let seen = 0;
    while (left.length > 0) {
        const [level, list] = left.pop();
        for (const group of level) {
            seen++;
            const label = [element("b", {}, text(group.title)), element("small", {}, ` ${group.id}`)];
            if (group.children.length === 0) {
                list.append(element("li", {class: "leaf"}, ...label));
                continue;
            }
            const inner = element("ul");
            list.append(element("li", {}, element("details", {open: true}, element("summary", {}, ...label), inner)));
            left.push([group.children, inner]);
        }
    }
    topology.content.replaceChildren(element("div", {class: "scroll tree", tabindex: "0", role: "region", "aria-label": "Groups"}, root));
    return seen;
}

const MOST_HOSTS = 5000; // the report has no pages: these come at once, and that there are more is said
const hosts = new Table(body("hosts"), {
    caption: `Hosts, the busiest first, at most ${count(MOST_HOSTS)}`, empty: "No host was learnt.", all: true, sort: "total",
    columns: [
        {title: "Name", sort: "name", cell: (r) => text(r.name)},
        {title: "Address", sort: "address", cell: (r) => mono(r.address)},
        {title: "All", sort: "total", number: true, cell: (r) => count(r.total)},
        {title: "DNS", sort: "dns", number: true, cell: (r) => count(r.dns)},
        {title: "HTTP", sort: "http", number: true, cell: (r) => count(r.http)},
        {title: "Ports", cell: (r) => text(r.ports)},
        {title: "Last seen", sort: "seen", cell: (r) => r.seen},
        {title: "Note", cell: (r) => text(r.note)},
    ],
    query: () => ({path: "hostinfo/list", parameters: {count: MOST_HOSTS + 1}}),
    rows: (d, failed) => {
        const rows = (d.lines ?? []).map((line) => host(line) ?? {name: line, address: "", total: 0, dns: 0, http: 0,
            ports: "", seen: "", note: ""});
        const more = rows.length > MOST_HOSTS ? "+" : "";
        rows.splice(MOST_HOSTS);
        tile("Hosts", rows.length, failed, more);
        return {rows, total: rows.length};
    },
});

const assets = new Table(body("assets"), {
    caption: "Assets", empty: "No asset is configured.", sort: "bytesin",
    columns: [
        {title: "Name", cell: (r) => text(r.name)},
        {title: "Value", cell: (r) => text(r.value)},
        {title: "Volume", bar: (r) => [r.bytesin, r.bytesout]},
        {title: "Sessions", sort: "flowcnt", number: true, cell: (r) => count(r.flowcnt)},
        // The orders are called the other way round than what they order by.
        {title: "Received", part: 0, sort: "bytesout", number: true, cell: (r) => bytes(r.bytesin)},
        {title: "Sent", part: 1, sort: "bytesin", number: true, cell: (r) => bytes(r.bytesout)},
        {title: "Delay", sort: "avgdelay", number: true, cell: (r) => `${r.avgdelay}\u202fms`},
        {title: "Failed", sort: "failrate", number: true, cell: (r) => `${r.failrate}\u202f%`},
        {title: "Threats", number: true, cell: (r) => count(r.threats)},
    ],
    query: ({page, limit, sort}) => ({path: "assetsobj/list", parameters: {page, limit, sort}}),
    rows: (d, failed) => {
        tile("Assets", d.total ?? 0, failed);
        return {rows: d.list ?? [], total: d.total ?? 0};
    },
});

async function loadAll() {
    await Promise.all([throughput.load(), talkers.load(), sessions.load(), security.load(), hosts.load(), assets.load(),
        topology.load("obstopogrp/list", {}, drawTopology)]);
    document.getElementById("asked").textContent = `Asked at ${clock(Date.now() / 1000, utcOffset)}.`;
}
document.getElementById("refresh").addEventListener("click", loadAll);
// The next round begins when the last one has ended and its time has come.
async function rounds() {
    if (document.getElementById("every").checked && !document.hidden)
        await loadAll();
    setTimeout(rounds, 10000);
}
setTimeout(rounds, 10000);
loadAll();
