// Reports that print lines. Blanks separate columns, and texts out of the traffic may hold blanks too: what is sure
// is read from both ends, and what lies between is taken apart only when there is just one way to do it.

const SESSION = new RegExp(
    "^(\\d+) (\\d+) (.*?) (\\S+) (\\S+[:/]\\d+)-(\\S+[:/]\\d+) (\\d+) (\\d+) 0 (\\d+) [01] \\d+ \\d+ \\d+ " +
    "(.*) (\\d+\\.\\d\\d) (\\d+\\.\\d\\d) (\\d+\\.\\d\\d) \\d+ \\d+ (\\d+)/(\\d+) (\\d+)/(\\d+) (SYN|ACK|OK|NIL) " +
    "(.*) (\\d+) (\\d+)$", "s");

// A line of `ipobj listbussflow`, or null.
export function session(line) {
    const m = SESSION.exec(line);
    if (!m)
        return null;
    const texts = m[10].split(" ");
    return {
        age: Number(m[1]), application: m[3], protocol: m[4], source: m[5], destination: m[6],
        up: Number(m[7]), down: Number(m[8]), bytes: Number(m[9]),
        host: texts.length === 4 ? texts[1] : m[10],
        client: m[11], server: m[12], answer: m[13],
        again: `${m[14]} / ${m[16]}`, state: m[18], place: m[19],
    };
}

const HOST = new RegExp("^(.*) (\\d{4}-\\d\\d-\\d\\d)/(\\d\\d:\\d\\d:\\d\\d) (\\d+) (\\d+) (\\d+) (\\d+) " +
    "\\d+ \\d+ \\d+ \\d+ (\\d+\\.\\d+\\.\\d+\\.\\d+) ([\\d,]*) (.*)$", "s");

// A line of `hostinfo list`, or null.
export function host(line) {
    const m = HOST.exec(line);
    return m && {
        name: m[1], seen: `${m[2]} ${m[3]}`, total: Number(m[4]), dns: Number(m[5]),
        http: Number(m[6]) + Number(m[7]), address: m[8], ports: m[9].replaceAll(",", ", "), note: m[10],
    };
}
