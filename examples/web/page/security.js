// What was found suspicious: by level, by time, row by row.
import {age, clock, count, element, text} from "./dom.js";
import {Panel, utcOffset} from "./panel.js";
import {Table} from "./table.js";

const NEWEST = 2000; // rows that the picture over time is made of
const SLOTS = 48;    // columns of that picture

const LEVELS = {"严重": "critical", "高": "high", "中": "mid", "低": "low"};
const badge = (kind, shown) => element("span", {class: `badge ${kind}`}, shown);
const peer = (ip, port) => element("bdi", {class: "mono"}, ip.includes(":") ? `[${ip}]:${port}` : `${ip}:${port}`);
const place = (ip, port) => peer(String(ip), String(port));

// An alert is the daemon's own object; a member may be missing or anything.
const member = (row, name) => (row !== null && typeof row === "object" ? row[name] ?? "" : "");
const said = (value) => text(typeof value === "object" ? JSON.stringify(value) : value);

// The appliance's "2024-05-06/07:08:09" as seconds of its own clock.
function seconds(local) {
    return Date.parse(`${String(local).replace("/", "T")}Z`) / 1000;
}

const LOGS = {
    malicious: {
        caption: "Connections to malicious indicators, newest first", empty: "No malicious activity was seen.",
        path: "malclog/list", parameters: {show_flowlog: "1"},
        rows: (d) => d.data, time: (r) => seconds(r.time), level: (r) => LEVELS[r.risc] ?? "unknown",
        names: ["critical", "high", "mid", "low", "unknown"],
        columns: [
            {title: "Time", cell: (r) => text(String(r.time).replace("/", " "))},
            {title: "Level", cell: (r) => badge(LEVELS[r.risc] ?? "unknown", LEVELS[r.risc] ?? "unknown")},
            {title: "Type", cell: (r) => text(r.type)},
            {title: "Indicator", cell: (r) => text(r.ioc)},
            {title: "Source", cell: (r) => place(r.src, r.sport)},
            {title: "Destination", cell: (r) => place(r.dst, r.dport)},
            {title: "Place", cell: (r) => text(r.locisp)},
        ],
    },
    events: {
        caption: "Events that were logged, newest first", empty: "No event was logged.",
        path: "nevtlog/list", parameters: {},
        rows: (d) => d.data, time: (r) => r.rtime + utcOffset, level: (r) => `level${r.alarm_level}`,
        names: ["level3", "level2", "level1", "level0"],
        columns: [
            {title: "Time", cell: (r) => clock(r.rtime, utcOffset)},
            {title: "Level", cell: (r) => badge(`level${r.alarm_level}`, `level ${r.alarm_level}`)},
            {title: "Event", cell: (r) => text(`${r.evtype} ${r.evattr}`)},
            {title: "Limit", cell: (r) => text(`${r.evopcode} ${r.evlimit1}`)},
            {title: "Value", number: true, cell: (r) => text(r.lval)},
            {title: "Where", cell: (r) => text(r.insname)},
            {title: "Known as", cell: (r) => text(r.insname_ch)},
            {title: "Read", cell: (r) => (r.rdstat ? "yes" : "no")},
        ],
    },
    alerts: {
        caption: "Intrusion alerts, newest first", empty: "No intrusion alert was raised.",
        path: "kesidslog/list", parameters: {},
        rows: (d) => d.data, time: (r) => Number(member(r, "time")) + utcOffset, level: () => "alert", names: ["alert"],
        columns: [
            {title: "Time", cell: (r) => clock(Number(member(r, "time")), utcOffset)},
            {title: "Signature", number: true, cell: (r) => said(member(r, "sid"))},
            {title: "Message", cell: (r) => (typeof r === "string" ? text(r) : said(member(r, "msg")))},
            {title: "Source", cell: (r) => said(typeof r === "string" ? "" : `${member(r, "src")}:${member(r, "sport")}`)},
            {title: "Destination", cell: (r) => said(typeof r === "string" ? "" : `${member(r, "dst")}:${member(r, "dport")}`)},
            {title: "Host", cell: (r) => said(member(r, "host"))},
        ],
    },
};

export class Security {
    constructor(section, tile) {
        this.section = section;
        this.tile = tile;
        this.levels = new Panel(section.querySelector(".summary"), {empty: "No malicious activity was seen."});
        this.times = new Panel(section.querySelector(".times"), {empty: "Nothing to draw over time."});
        this.choose("malicious");
        for (const choice of section.querySelectorAll("[name=log]"))
            choice.addEventListener("change", () => {
                this.choose(choice.value);
                this.load();
            });
    }

    choose(name) {
        const log = this.log = LOGS[name];
        this.table = new Table(this.section.querySelector(".body"), {
            caption: log.caption, empty: log.empty, columns: log.columns,
            query: ({page, limit}) => ({path: log.path, parameters: {...log.parameters, page, limit}}),
            rows: (d) => {
                const total = d.total ?? 0;
                return {rows: log.rows(d) ?? [], total};
            },
        });
    }

    load() {
        const log = this.log;
        this.levels.load("malclog/list", {show_level: "1", show_malc: "1"}, (d, failed) => this.drawLevels(d, failed));
        this.times.load(log.path, {...log.parameters, page: "1", limit: NEWEST}, (d) => this.drawTimes(log, d));
        return this.table.load();
    }

    drawLevels(d, failed) {
        const levels = d.show_level ?? [], types = d.show_malc ?? [];
        const total = levels.reduce((sum, level) => sum + (level.cnt ?? 0), 0);
        this.tile("Malicious", total, failed);
        this.levels.content.replaceChildren(
            element("dl", {class: "levels", "aria-label": "Malicious activity by level"}, ...levels.map((level) =>
                element("div", {class: `level ${level.name}`}, element("dt", {}, level.name), element("dd", {}, count(level.cnt))))),
            element("dl", {class: "types", tabindex: "0", "aria-label": "Malicious activity by type"}, ...types.map((type) =>
                element("div", {}, element("dt", {}, text(type.name)), element("dd", {}, count(type.cnt))))));
        return levels.length; // four zeros say it, too
    }

    drawTimes(log, d) {
        const rows = (log.rows(d) ?? []).map((r) => ({time: log.time(r), level: log.level(r)})).filter((r) => r.time > 0);
        this.times.content.replaceChildren();
        if (rows.length === 0)
            return 0;
        const last = rows.reduce((a, r) => Math.max(a, r.time), 0);
        const first = rows.reduce((a, r) => Math.min(a, r.time), last - SLOTS + 1);
        const width = (last - first + 1) / SLOTS; // at least a second
        const counts = Array.from({length: SLOTS}, () => ({}));
        for (const r of rows) {
            const slot = counts[Math.min(SLOTS - 1, Math.floor((r.time - first) / width))];
            slot[r.level] = (slot[r.level] ?? 0) + 1;
        }
        const total = d.total ?? rows.length;
        const which = rows.length < total ? `the newest ${count(rows.length)} of ${count(total)}` : `all ${count(rows.length)}`;
        this.times.content.append(columns(counts, log.names, `${log.caption.split(",")[0]} over time, ${which}, from ` +
            `${clock(first, 0)} to ${clock(last, 0)}`),
            element("p", {class: "scale"}, element("span", {}, clock(first, 0)),
                element("span", {}, `${which}, in steps of ${age(Math.round(width))}`), element("span", {}, clock(last, 0))));
        return rows.length;
    }
}

// Stacked columns, one a slot of time.
function columns(counts, names, label) {
    const SVG = "http://www.w3.org/2000/svg";
    const svg = document.createElementNS(SVG, "svg");
    const most = Math.max(1, ...counts.map((slot) => names.reduce((sum, name) => sum + (slot[name] ?? 0), 0)));
    for (const [name, value] of Object.entries({viewBox: `0 0 ${counts.length} 1`, preserveAspectRatio: "none",
        role: "img", "aria-label": label, class: "columns"}))
        svg.setAttribute(name, value);
    counts.forEach((slot, i) => {
        let top = 1;
        for (const name of [...names].reverse()) {
            const height = (slot[name] ?? 0) / most;
            top -= height;
            const rect = document.createElementNS(SVG, "rect");
            for (const [key, value] of Object.entries({x: i + 0.1, y: top, width: 0.8, height, class: name}))
                rect.setAttribute(key, String(value));
            if (height > 0)
                svg.append(rect);
        }
    });
    return svg;
}
