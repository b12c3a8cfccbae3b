// A table with sort and pages, made of one query at a time.
import {count, element} from "./dom.js";
import {Panel} from "./panel.js";

// `columns`: {title, cell(row) or bar(row), number, sort, part}; `part` is the colour of the value in the bar; `sort` is what the query is given when the column is chosen, or, where
// `all` rows come at once, the key of a row. `query(state)` gives {path, parameters}; `rows(document, failed)` gives
// {rows, total}. What a daemon calls largest first stays so; rows that are all here turn round on a second click.
export class Table {
    constructor(place, {caption, empty, columns, query, rows, size = 10, sort = "", all = false}) {
        Object.assign(this, {caption, columns, query, rows, size, all});
        this.panel = new Panel(place, {empty});
        this.state = {page: 1, limit: size, sort, up: false};
        this.kept = null;
        this.total = 0;
    }

    load() {
        const {path, parameters} = this.query(this.state);
        return this.panel.load(path, parameters, (document, failed) => {
            this.kept = this.rows(document, failed);
            this.total = this.kept.total;
            return this.draw();
        });
    }

    first() {
        this.state.page = 1;
        return this.load();
    }

    turn(page) {
        this.state.page = page;
        if (this.all)
            this.draw();
        else
            this.load();
    }

    choose(column) {
        this.state.up = this.all && this.state.sort === column.sort && !this.state.up;
        this.state.sort = column.sort;
        this.turn(1);
    }

    page() {
        if (!this.all)
            return this.kept.rows;
        const {sort, up, page} = this.state;
        const rows = [...this.kept.rows];
        if (sort !== "")
            rows.sort((a, b) => {
                const order = typeof a[sort] === "number" ? a[sort] - b[sort] : String(a[sort]).localeCompare(String(b[sort]));
                return up ? order : -order;
            });
        return rows.slice((page - 1) * this.size, page * this.size);
    }

    draw() {
        const pages = Math.max(1, Math.ceil(this.total / this.size));
        if (this.state.page > pages && this.all)
            this.state.page = pages;
        const focused = document.activeElement?.closest?.("[data-control]");
        const control = focused && this.panel.content.contains(focused) ? focused.dataset.control : null;
        const scroll = this.panel.content.querySelector(".scroll")?.scrollLeft ?? 0;
        const rows = this.page();
        const most = {};
        for (const column of this.columns.filter((c) => c.bar))
            most[column.title] = Math.max(1, ...rows.map((row) => column.bar(row).reduce((a, b) => a + b, 0)));
        const table = element("table", {},
            element("caption", {}, this.caption),
            element("thead", {}, element("tr", {}, ...this.columns.map((column) => this.heading(column)))),
            element("tbody", {}, ...rows.map((row) => element("tr", {}, ...this.columns.map((column) =>
                element("td", {class: column.number ? "number" : column.bar ? "bar" : null},
                    column.bar ? bar(column.bar(row), most[column.title]) : column.cell(row)))))));
        const box = element("div", {class: "scroll", tabindex: "0", role: "region", "aria-label": this.caption}, table);
        this.panel.content.replaceChildren(...(this.total > 0 || this.state.page > 1 ? [box, this.pager(pages)] : []));
        box.scrollLeft = scroll;
        if (control)
            this.panel.content.querySelector(`[data-control="${control}"]`)?.focus();
        return this.total;
    }

    heading(column) {
        const chosen = column.sort !== undefined && this.state.sort === column.sort;
        const th = element("th", {scope: "col", class: column.number ? "number" : null,
            "aria-sort": chosen ? (this.state.up ? "ascending" : "descending") : null});
        const title = column.part === undefined ? [column.title]
            : [element("span", {class: `key part${column.part}`, "aria-hidden": "true"}), column.title];
        if (column.sort === undefined) {
            th.append(...title);
            return th;
        }
        const button = element("button", {type: "button", "data-control": `sort-${column.sort}`}, ...title,
            element("span", {class: "arrow", "aria-hidden": "true"}, chosen ? (this.state.up ? "▲" : "▼") : "▽"));
        button.addEventListener("click", () => this.choose(column));
        th.append(button);
        return th;
    }

    pager(pages) {
        const {page} = this.state;
        const step = (title, to, usable) => {
            const button = element("button", {type: "button", "data-control": title, disabled: !usable}, title);
            button.addEventListener("click", () => this.turn(to));
            return button;
        };
        const from = Math.min((page - 1) * this.size + 1, this.total), to = Math.min(page * this.size, this.total);
        return element("nav", {class: "pager", "aria-label": `Pages of ${this.caption}`},
            step("Previous", page - 1, page > 1),
            element("span", {class: "where"}, `${count(from)}–${count(to)} of ${count(this.total)}`),
            step("Next", page + 1, page < pages));
    }
}

// Parts of a whole side by side, on a scale on which `most` fills the place.
function bar(parts, most) {
    const SVG = "http://www.w3.org/2000/svg";
    const svg = document.createElementNS(SVG, "svg");
    svg.setAttribute("viewBox", "0 0 100 10");
    svg.setAttribute("preserveAspectRatio", "none");
    svg.setAttribute("aria-hidden", "true");
    let at = 0;
    parts.forEach((part, i) => {
        const rect = document.createElementNS(SVG, "rect");
        rect.setAttribute("x", String(at));
        rect.setAttribute("width", String(100 * part / most));
        rect.setAttribute("height", "10");
        rect.setAttribute("class", `part${i}`);
        at += 100 * part / most;
        svg.append(rect);
    });
    return svg;
}
