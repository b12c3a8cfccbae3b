// Asking, and telling how it went: a panel is never blank.
import {element, visible} from "./dom.js";

// The appliance's offset from UTC in seconds, from the last answer.
export let utcOffset = 0;

function isTail(item) {
    return item !== null && typeof item === "object" && !Array.isArray(item) &&
        Object.keys(item).length > 0 && Object.keys(item).every((key) => key === "error" || key === "notes");
}

// An answer: its document without what went wrong; `failure` ({kind, text}) and `notes` apart.
export async function ask(path, parameters, signal) {
    const query = new URLSearchParams(Object.entries(parameters).filter(([, value]) => value !== ""));
    let response, received;
    try {
        response = await fetch(`/api/${path}?${query}`, {signal});
        received = await response.json();
    } catch (error) {
        if (error.name === "AbortError")
            throw error;
        return {document: null, notes: [], failure: {kind: "unreachable", text: "The web server does not answer."}};
    }
    utcOffset = Number(response.headers.get("X-Utc-Offset")) || 0;
    let tail = received;
    if (Array.isArray(received))
        tail = isTail(received.at(-1)) ? received.pop() : {};
    const failure = response.ok ? null : {
        kind: {400: "refused", 504: "slow"}[response.status] ?? "failed",
        text: String(tail?.error?.text ?? response.status),
    };
    return {document: received, notes: Array.isArray(tail?.notes) ? tail.notes.map(String) : [], failure};
}

const SAID = {
    failed: "The daemon failed: ",
    slow: "The daemon did not answer in time: ",
    refused: "This cannot be asked: ",
    unreachable: "",
};

// A place that shows what a query brings.
export class Panel {
    constructor(place, {empty, label}) {
        this.place = place;
        this.empty = empty;
        this.state = element("div", {class: "state", role: "status"});
        this.content = element("div", {class: "content", "aria-label": label, role: label ? "group" : null});
        place.replaceChildren(this.state, this.content);
        this.running = null;
        this.last = () => {};
    }

    say(kind, message, retry = false) {
        this.place.dataset.state = kind;
        this.state.className = `state ${kind}`;
        this.state.replaceChildren(...(message ? [element("span", {}, message)] : []));
        if (retry) {
            const again = element("button", {type: "button"}, "Try again");
            again.addEventListener("click", () => this.last());
            this.state.append(again);
        }
    }

    // Asks, and has `draw(document, failed)` fill the content; `draw` returns how many things there are to see.
    async load(path, parameters, draw) {
        this.last = () => this.load(path, parameters, draw);
        this.running?.abort();
        const running = this.running = new AbortController();
        this.place.setAttribute("aria-busy", "true");
        if (!this.content.hasChildNodes())
            this.say("waiting", "Asking…");
        const waiting = setTimeout(() => this.say("waiting", "Still waiting for the daemon…"), 1000);
        let answer;
        try {
            answer = await ask(path, parameters, running.signal);
        } catch {
            return clearTimeout(waiting); // a later question has taken its place
        }
        clearTimeout(waiting);
        if (this.running !== running)
            return;
        this.place.removeAttribute("aria-busy");
        this.show(answer, draw);
    }

    show({document, notes, failure}, draw) {
        let seen = 0;
        try {
            seen = draw(document ?? {}, failure !== null);
        } catch (error) {
            console.error(error);
            this.content.replaceChildren();
            return this.say("failed", "The answer is not what was expected.", true);
        }
        const noted = notes.length > 0 ? ` Noted: ${visible(notes.join(" · "))}` : "";
        if (failure) {
            const partly = seen > 0 ? " What came before is shown." : "";
            if (seen === 0)
                this.content.replaceChildren();
            this.say(failure.kind, SAID[failure.kind] + visible(failure.text) + partly + noted, true);
        } else if (seen === 0)
            this.say("empty", this.empty + noted);
        else
            this.say(noted ? "noted" : "shown", noted.trim());
    }
}
