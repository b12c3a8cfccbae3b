// Elements and how values are shown. Nothing here ever takes text for markup.

export function element(name, attributes = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes))
        if (value !== undefined && value !== null && value !== false)
            made.setAttribute(key, value === true ? "" : value);
    made.append(...children);
    return made;
}

// Characters that cannot be seen or that turn their surroundings round stand as their numbers.
const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]/g;

export function visible(text) {
    return String(text).replace(UNSEEN, (c) => `\\u${c.charCodeAt(0).toString(16).padStart(4, "0")}`);
}

const LONG = 64;

// A text out of the traffic; a long one opens on demand.
export function text(value) {
    const shown = visible(value);
    if (shown === "" || shown === "NULL")
        return element("span", {class: "none"}, "–");
    const characters = Array.from(shown);
    if (characters.length <= LONG)
        return element("bdi", {}, shown);
    return element("details", {class: "long"},
        element("summary", {}, element("bdi", {}, `${characters.slice(0, LONG - 16).join("")}…`),
            element("small", {}, ` ${characters.length} characters`)),
        element("bdi", {class: "whole"}, shown));
}

const whole = new Intl.NumberFormat("en");

export function count(value) {
    return whole.format(value);
}

// 1 decimal, thousands; the exact number is in the title.
export function scaled(value, unit = "") {
    let n = Number(value), prefix = 0;
    while (n >= 999.5 && prefix < 6) {
        n /= 1000;
        prefix++;
    }
    const digits = prefix === 0 ? String(Number(n.toFixed(2))) : n.toFixed(n < 9.995 ? 2 : n < 99.95 ? 1 : 0);
    return `${digits}\u202f${["", "k", "M", "G", "T", "P", "E"][prefix]}${unit}`.trimEnd();
}

export function bytes(value) {
    return element("span", {title: `${count(value)} bytes`}, scaled(value, "B"));
}

// Seconds since 1970 in the zone of the appliance, which differs from UTC by `offset` seconds.
export function clock(seconds, offset) {
    if (!(seconds > 0))
        return "–";
    return new Date((seconds + offset) * 1000).toISOString().slice(0, 19).replace("T", " ");
}

export function age(seconds) {
    const s = Number(seconds);
    if (s < 120)
        return `${s}\u202fs`;
    if (s < 7200)
        return `${Math.floor(s / 60)}\u202fmin`;
    return s < 172800 ? `${Math.floor(s / 3600)}\u202fh` : `${Math.floor(s / 86400)}\u202fd`;
}
