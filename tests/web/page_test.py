#!/usr/bin/python3
"""Looks at the page of examples/web with a browser, and holds what it shows against what vigil-json says.

    page_test.py --build DIR [--pictures FOLDER]
"""
import argparse
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from hostile import LONG, MARKUP, SHORT, Hostile
from selenium.webdriver.common.keys import Keys
from page_site import TREE, Site, browser, resize, until

FAULTS = []
PANELS = ["throughput", "talkers", "sessions", "security", "topology", "hosts", "assets"]

CELLS = """return [...document.querySelectorAll(arguments[0] + ' tbody tr')].map(
    row => [...row.cells].map(cell => cell.querySelector('.whole')?.textContent ?? cell.querySelector('[title]')?.title ?? cell.textContent))"""
QUIET = "return document.getElementById('asked').textContent !== '' && !document.querySelector('[aria-busy]')"


def check(right, what):
    if not right:
        FAULTS.append(what)
        print(f"FAULT: {what}", file=sys.stderr)


def same(what, expected, shown):
    check(expected == shown, f"{what}: expected {expected!r:.400}, shown {shown!r:.400}")


class Page:
    def __init__(self, site, width=1600, dark=False):
        self.site, self.width, self.driver = site, width, browser(width, dark)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def open(self):
        self.driver.get(self.site.address)
        check(self.settled(), "the page does not come to rest")

    def settled(self):
        return until(lambda: self.run(QUIET))

    def cells(self, place, *columns):
        rows = self.run(CELLS, place)
        return [[row[c] for c in columns] for row in rows]

    def click(self, selector):
        self.run("document.querySelector(arguments[0]).click()", selector)
        check(self.settled(), f"no answer after a click on {selector}")

    def state(self, panel):
        return self.run("const b = document.querySelector(`#${arguments[0]} .body`); return [b.dataset.state, b.querySelector('.state').textContent]", panel)

    def log(self, allowed=()):
        for entry in self.driver.get_log("browser"):
            check(any(word in entry["message"] for word in allowed), f"the browser says: {entry['message'][:300]}")

    def picture(self, folder, name):
        height = self.run("return document.documentElement.scrollHeight")
        resize(self.driver, self.width, height)
        self.run("return new Promise(done => setTimeout(done, 500))")
        if folder:
            self.driver.save_screenshot(str(folder / f"{name}.png"))
        resize(self.driver, self.width, 1000)

    def legible(self, name):
        wide, least = self.run("""const sizes = [...document.querySelectorAll('main *')].filter(e => e.checkVisibility() &&
            [...e.childNodes].some(n => n.nodeType === 3 && n.data.trim() !== '') && !e.matches('.arrow'))
            .map(e => parseFloat(getComputedStyle(e).fontSize));
            return [document.documentElement.scrollWidth - innerWidth, Math.min(...sizes)]""")
        check(wide <= 0, f"{name}: the page is {wide} pixels wider than the window")
        check(least >= 11.5, f"{name}: there is text of {least} pixels")


def shown_bytes(value):
    return f"{value:,} bytes"


def session_ends(document):
    return [line.split(" ")[4].split("-") for line in document["lines"][:-1]]


def talkers(page, site):
    def expected(command):
        return [[row["ip"], str(row["flow"]), shown_bytes(row["upbytes"]), shown_bytes(row["downbytes"]),
                 shown_bytes(row["upbytes"] + row["downbytes"])] for row in site.ask(f"ipobj listflow {command} limit=10")["data"]]
    same("talkers", expected("issrc=1 sort=byte"), page.cells("#talkers", 0, 2, 3, 4, 5))
    page.click("#talkers [data-control=sort-flow]")
    same("talkers by sessions", expected("issrc=1 sort=flow"), page.cells("#talkers", 0, 2, 3, 4, 5))
    same("the column that sorts", "flow", page.run("return document.querySelector('#talkers [aria-sort=descending] button').dataset.control.slice(5)"))
    page.click("#talkers [value=destinations]")
    same("destinations", expected("sort=byte"), page.cells("#talkers", 0, 2, 3, 4, 5))
    names = {row["dns"]: str(row["flow"]) for row in site.ask("ipobj listflow dnssum=1")["data"]}
    page.click("#talkers [value=names]")
    same("names", names, dict(page.cells("#talkers", 0, 2)))
    ports = {str(row["port"]): str(row["flow"]) for row in site.ask("ipobj listflow portsum=1")["data"]}
    page.click("#talkers [value=ports]")
    same("ports", ports, dict(page.cells("#talkers", 0, 2)))
    page.click("#talkers [data-control=sort-port]")
    page.click("#talkers [data-control=sort-port]")
    same("ports upwards", sorted(map(int, ports)), [int(port) for port, in page.cells("#talkers", 0)])


def sessions(page, site):
    document = site.ask("ipobj listbussflow lang=en sort=bytes page=1 limit=15")
    total = int(document["lines"][-1].split()[1])
    same("sessions", session_ends(document), page.cells("#sessions", 2, 3))
    fields = [line.split(" ") for line in document["lines"][:-1]]
    same("bytes of the sessions", [[f"{int(f[5]):,} bytes", f"{int(f[6]):,} bytes", f"{int(f[8]):,} bytes"] for f in fields],
         page.cells("#sessions", 5, 6, 7))
    page.click("#sessions [data-control=Next]")
    same("second page", session_ends(site.ask("ipobj listbussflow lang=en sort=bytes page=2 limit=15")), page.cells("#sessions", 2, 3))
    same("where the second page stands", f"16–{min(30, total)} of {total}", page.run("return document.querySelector('#sessions .where').textContent"))
    page.click("#sessions [data-control=sort-dst]")
    same("sessions by destination", session_ends(site.ask("ipobj listbussflow lang=en sort=dst page=1 limit=15")), page.cells("#sessions", 2, 3))
    field = page.driver.find_element("css selector", "#sessions [name=dport]")
    field.send_keys("53" + Keys.ENTER)
    check(page.settled(), "no answer to the filter")
    filtered = site.ask("ipobj listbussflow lang=en sort=dst page=1 limit=15 dport=53")
    same("filtered sessions", session_ends(filtered), page.cells("#sessions", 2, 3))
    field.clear()
    field.send_keys("1 2" + Keys.ENTER)
    check(until(lambda: page.state("sessions")[0] == "refused"), "a filter with a blank is not said to be refused")
    page.click("#sessions [type=reset]")
    check(until(lambda: page.state("sessions")[0] == "shown"), "the sessions do not come back")


def security(page, site):
    document = site.ask("malclog list show_flowlog=1 limit=10")
    expected = [[r["time"].replace("/", " "), r["type"], r["ioc"], f"{r['src']}:{r['sport']}"] for r in document["data"]]
    same("malicious activity", expected, page.cells("#security", 0, 2, 3, 4))
    levels = [[row["name"], str(row["cnt"])] for row in site.ask("malclog list show_level=1")]
    same("levels", levels, page.run("return [...document.querySelectorAll('.level')].map(l => [l.querySelector('dt').textContent, l.querySelector('dd').textContent])"))
    check(f"all {document['total']}" in page.run("return document.querySelector('.columns').getAttribute('aria-label')"), "columns of other events")
    page.click("#security [data-control=Next]")
    second = site.ask("malclog list show_flowlog=1 limit=10 page=2")
    same("malicious activity, second page", [r["ioc"] for r in second["data"]], [ioc for ioc, in page.cells("#security", 3)])
    page.click("#security [value=events]")
    same("events", [[f"{r['evtype']} {r['evattr']}", r["insname"]] for r in site.ask("nevtlog list page=1 limit=10")["data"]], page.cells("#security", 2, 5))
    page.click("#security [value=alerts]")
    same("alerts", [[str(r["sid"]), r["msg"]] for r in site.ask("kesidslog list limit=10")["data"]], page.cells("#security", 1, 2))


def the_rest(page, site):
    def titles(groups):
        return [name for g in groups for name in [g["title"], *titles(g["children"])]]
    same("topology", sorted(titles(site.ask("obstopogrp list"))), sorted(page.run("return [...document.querySelectorAll('.tree b')].map(b => b.textContent)")))
    hosts = [line.split(" ") for line in site.ask("hostinfo list")["lines"]]
    same("hosts", sorted([h[0], h[2], h[10]] for h in hosts), sorted(page.cells("#hosts", 0, 2, 1)))
    assets = site.ask("assetsobj list sort=bytesin limit=10")["list"]
    same("assets", [[a["value"], shown_bytes(a["bytesin"]), f"{a['failrate']}\u202f%"] for a in assets], page.cells("#assets", 1, 4, 7))
    for hours in ("1", "24"):
        page.click(f"[name=hours][value='{hours}']")
        points = [s for s in site.ask(f"chart dump hours={hours}") if s["name"] in ("bytes", "upbytes", "downbytes")]
        same(f"throughput of {hours} h", [[f"{s['data'][i]['y']:,}" for s in points] for i in range(len(points[0]["data"]))],
             page.cells("#throughput", 1, 2, 3))
        check(page.run("return document.querySelectorAll('.plot canvas').length") > 0, "the chart is not drawn")


def keyboard(page):
    """Tab reaches everything that can be worked, and Enter works it."""
    page.open()
    worked = """[...document.querySelectorAll("a[href], button:not(:disabled), input:not([type=radio]), input[type=radio]:checked, summary, .scroll")]
        .filter(e => e.checkVisibility() && !e.closest("details:not([open]) > :not(summary)"))"""
    page.run("window.reached = new Set()")
    for _ in range(page.run(f"return {worked}.length") + 20):
        page.driver.switch_to.active_element.send_keys(Keys.TAB)
        nameless = page.run("""const e = document.activeElement;
            reached.add(e);
            return e !== document.body && (e.getAttribute("aria-label") ?? e.labels?.[0]?.textContent ?? e.textContent).trim() === ""
                && e.outerHTML""")
        check(not nameless, f"the keyboard reaches something without a name: {nameless}")
    same("what the keyboard does not reach", [], page.run(f"return {worked}.filter(e => !reached.has(e)).map(e => e.outerHTML.slice(0, 200))"))
    page.run("document.querySelector('#talkers [data-control=sort-delay]').focus()")
    page.driver.switch_to.active_element.send_keys(Keys.ENTER)
    page.settled()
    same("focus after a sort by keyboard", "sort-delay", page.run("return document.activeElement.dataset.control"))


def refusals(site):
    before = site.ask("obstopogrp list")
    for path in ("obstopogrp/add?title=x", "obstopogrp/remove?id=1", "ipobj/listflow?nosuch=1", "ipobj/listbussflow?src=1%202", "mempcap/dump",
                 "ipobj/listflow?limit=1;id", "nosuch/list", "obspcap/save?of=/tmp/x", "table/get/x", "",
                 "assetsobj/load?file=/etc/passwd", "ipobj/listflow?limit=-1", "ipobj/listflow?page=0", "chart/dump?hours=$(id)"):
        status, body = site.get(f"/api/{path}")
        check(status == 400 and json.loads(body)["error"]["status"] == 255, f"/api/{path}: {status} {body[:100]!r}")
    same("state after what was refused", before, site.ask("obstopogrp list"))
    same("a line end in a value", 400, site.get("/api/ipobj/listflow?sort=flow%0Aid")[0])  # by the web server itself
    same("a page elsewhere", 403, site.get("/api/obstopogrp/list", Host="elsewhere.example")[0])
    for path in ("/api.py", "/../lighttpd.conf", "/api/../../../etc/passwd"):
        check(site.get(path)[0] in (400, 404), f"{path} is served")


def clients(site):
    paths = ["/api/ipobj/listflow?sort=byte", "/api/malclog/list?show_flowlog=1", "/api/obstopogrp/list", "/"]
    expected = {path: site.get(path) for path in paths}
    with ThreadPoolExecutor(20) as pool:
        for path, answer in zip(paths * 20, pool.map(site.get, paths * 20)):
            same(f"one of 20 clients, {path}", expected[path], answer)


def pictures(site, folder):
    for width, dark in ((360, False), (1920, False), (1280, True)):
        with Page(site, width, dark) as page:
            page.open()
            page.legible(f"{width} pixels")
            page.picture(folder, f"lab-{width}-{'dark' if dark else 'light'}")
            page.log()


def against_the_lab(build, root, folder):
    lab = subprocess.Popen([build / "lab/vigil-lab", "--root", root, "--capture", TREE / "tests/data/sample.pcap"],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env={"TZ": "UTC0"})
    try:
        lab.stdout.readline()
        site = Site(build, root)
        try:
            with Page(site) as page:
                page.open()
                for look in (talkers, sessions, security, the_rest):
                    look(page, site)
                page.log(allowed=["the server responded with a status of 400"])
                keyboard(page)
                page.log()
            refusals(site)
            clients(site)
            pictures(site, folder)
        finally:
            site.close()
    finally:
        lab.terminate()
        lab.wait()


def texts_stay_texts(page, folder):
    page.open()
    for choice in ("destinations", "names", "ports", "places"):
        page.click(f"#talkers [value={choice}]")
        check(page.state("talkers")[0] == "shown", f"{choice}: {page.state('talkers')}")
        if choice == "names":
            check(MARKUP in [name for name, in page.cells("#talkers", 0)], "the hostile name is not shown as it is")
    check(any(MARKUP in host for host, in page.cells("#sessions", 4)), "the session of the hostile name is not shown")
    check(all(source.startswith("10.0.0.") for source, in page.cells("#sessions", 2)), "blanks in names move columns")
    check(any("\\u202e" in host for host, in page.cells("#sessions", 4)), "a character that turns the line is not made visible")
    same("hosts with blanks", {"10.0.0.1"}, {address for address, in page.cells("#hosts", 1)})
    same("depth of the tree", 199, page.run("return document.querySelectorAll('.tree b').length"))
    page.click("#security [value=alerts]")
    check(LONG in [message for message, in page.cells("#security", 2)], "the long alert is not shown")
    page.click("#security [value=events]")
    check(SHORT in [name for name, in page.cells("#security", 5)], "the event's name is not shown as it is")
    page.click("#security [value=malicious]")
    same("elements out of texts", 0, page.run("return document.querySelectorAll('main img, main script, main i').length"))
    same("script out of texts", None, page.run("return window.hit ?? null"))
    for panel in PANELS:
        check(page.state(panel)[0] == "shown", f"{panel}: {page.state(panel)}")
    page.legible("hostile texts")
    page.log()
    page.picture(folder, f"hostile-{page.width}")


def troubles(page, daemons, folder):
    wanted = {"empty": ("empty", ""), "broken": ("failed", "DAEMON_BROKEN"), "halfway": ("failed", "DAEMON_LEFT"), "slow": ("slow", "timeout")}
    for mood, (state, word) in wanted.items():
        daemons.mood = mood
        if mood == "slow":
            page.driver.get(page.site.address)
            check(until(lambda: page.state("sessions")[1].startswith("Still waiting")), "nothing says that the daemon is slow")
            check(page.settled(), "the page waits for ever")
        else:
            page.open()
        for panel in PANELS:
            if mood == "halfway" and panel in ("throughput", "security"):  # these are asked for one answer
                continue
            said = page.state(panel)
            check(said[0] == state and word in said[1] and said[1] != "", f"{mood}, {panel}: {said}")
        check(page.run("return window.hit ?? null") is None, "a script out of an error")
        page.picture(folder, mood)
        page.log(allowed=["the server responded with a status of 50"])
    daemons.mood = "hostile"
    daemons.go_on.set()
    page.run("document.querySelector('#sessions .state button').click()")
    check(until(lambda: page.state("sessions")[0] == "shown"), "trying again does not help")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, type=pathlib.Path)
    parser.add_argument("--pictures", type=pathlib.Path)
    options = parser.parse_args()
    build = options.build.resolve()
    root = pathlib.Path(tempfile.mkdtemp(prefix="vigil-web."))
    try:
        against_the_lab(build, root, options.pictures)
        with Hostile(build / "tests/dict/dict_full.so") as daemons:
            site = Site(build, daemons.root)
            try:
                for width in (1600, 360):
                    with Page(site, width) as page:
                        texts_stay_texts(page, options.pictures)
                with Page(site) as page:
                    troubles(page, daemons, options.pictures)
            finally:
                site.close()
            check(not daemons.faults, f"the daemons' script failed: {daemons.faults}")
    finally:
        shutil.rmtree(root)
    print(f"web: {len(FAULTS)} faults")
    sys.exit(1 if FAULTS else 0)


main()
