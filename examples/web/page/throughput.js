// Counters over time, drawn by dygraphs. The names of series are the daemon's: they only ever become text.
import {clock, count, element, scaled, text} from "./dom.js";
import {Panel, utcOffset} from "./panel.js";

// Its legend measures text with an inline style, which the page does not allow; ours is made of buttons.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

const COLOURS = 12; // of style.css
const USUAL = ["bytes", "upbytes", "downbytes"];

export class Throughput {
    constructor(section) {
        this.panel = new Panel(section.querySelector(".body"), {empty: "Nothing was counted in this time."});
        this.hours = "1";
        this.hidden = null; // names that the reader took out, once known
        this.open = false;
        for (const choice of section.querySelectorAll("[name=hours]"))
            choice.addEventListener("change", () => {
                this.hours = choice.value;
                this.load();
            });
        matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.redraw());
    }

    load() {
        return this.panel.load("chart/dump", {hours: this.hours}, (document) => {
            this.series = Array.isArray(document) ? document.filter((s) => s.data.length > 0) : [];
            return this.redraw();
        });
    }

    redraw() {
        this.graph?.destroy();
        this.graph = null;
        if (!this.series?.some((s) => s.data.some((point) => point.y > 0))) {
            this.panel.content.replaceChildren();
            return 0;
        }
        if (this.hidden === null) {
            const usual = this.series.filter((s) => USUAL.includes(s.name));
            const kept = usual.length > 0 ? usual : this.series.slice(0, 3);
            this.hidden = new Set(this.series.filter((s) => !kept.includes(s)).map((s) => s.name));
        }
        const shown = this.series.filter((s) => !this.hidden.has(s.name));
        const points = this.series[0].data;
        const width = points.length > 1 ? `Counted per ${(points[1].x - points[0].x) / 60000} min. ` : "";
        const plot = element("div", {class: "plot", role: "img",
            "aria-label": `Line chart of ${shown.length} counters; the same numbers stand in the table below it`});
        const readout = element("p", {class: "readout"}, `${width}Point at the chart to read a value.`);
        this.panel.content.replaceChildren(this.legend(), plot, readout, this.numbers(shown));
        if (shown.length > 0)
            this.draw(plot, readout, shown);
        return this.series.length;
    }

    colour(series) {
        const at = this.series.indexOf(series) % COLOURS;
        return getComputedStyle(document.documentElement).getPropertyValue(`--series-${at}`).trim();
    }

    // One button a series; pressed means drawn.
    legend() {
        const list = element("div", {class: "legend", role: "group", "aria-label": "Counters to draw"});
        for (const series of this.series) {
            const sum = series.data.reduce((a, point) => a + point.y, 0);
            const button = element("button", {type: "button", "aria-pressed": String(!this.hidden.has(series.name))},
                element("span", {class: `swatch series-${this.series.indexOf(series) % COLOURS}`, "aria-hidden": "true"}),
                element("bdi", {}, text(series.name).textContent.slice(0, 40)), element("b", {}, scaled(sum)));
            button.addEventListener("click", () => {
                if (!this.hidden.delete(series.name))
                    this.hidden.add(series.name);
                const at = [...list.children].indexOf(button);
                this.redraw();
                this.panel.content.querySelectorAll(".legend button")[at].focus();
            });
            list.append(button);
        }
        return list;
    }

    draw(plot, readout, shown) {
        const offset = utcOffset;
        const rows = shown[0].data.map((point, i) =>
            [new Date(point.x + offset * 1000), ...shown.map((s) => s.data[i]?.y ?? null)]);
        const style = getComputedStyle(document.documentElement);
        this.graph = new Dygraph(plot, rows, {
            labels: ["time", ...shown.map((_, i) => `s${i}`)],
            colors: shown.map((s) => this.colour(s)),
            labelsUTC: true,
            legend: "never",
            includeZero: true,
            fillGraph: true,
            fillAlpha: 0.12,
            strokeWidth: 2,
            highlightCircleSize: 4,
            axisLineColor: style.getPropertyValue("--line").trim(),
            gridLineColor: style.getPropertyValue("--line").trim(),
            axisLabelFontSize: 12,
            axes: {x: {drawGrid: false}, y: {axisLabelFormatter: (y) => scaled(y), axisLabelWidth: 56}},
            highlightCallback: (event, x, at) => {
                readout.replaceChildren(element("b", {}, clock(x / 1000, 0)),
                    ...at.map((p) => element("span", {}, text(shown[Number(p.name.slice(1))].name), ` ${count(p.yval)}`)));
            },
        });
    }

    // The same as numbers, for whoever cannot see or point at the chart.
    numbers(shown) {
        const table = element("table", {}, element("caption", {}, "Counters over time"),
            element("thead", {}, element("tr", {}, element("th", {scope: "col"}, "Time"),
                ...shown.map((s) => element("th", {scope: "col", class: "number"}, text(s.name))))),
            element("tbody", {}, ...this.series[0].data.map((point, i) =>
                element("tr", {}, element("td", {}, clock(point.x / 1000, utcOffset)),
                    ...shown.map((s) => element("td", {class: "number"}, count(s.data[i]?.y ?? 0)))))));
        const details = element("details", {class: "numbers", open: this.open}, element("summary", {}, "As numbers"),
            element("div", {class: "scroll", tabindex: "0", role: "region", "aria-label": "Counters over time"}, table));
        details.addEventListener("toggle", () => { this.open = details.open; });
        return details;
    }
}
