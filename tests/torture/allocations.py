"""Each allocation of each command fails, once, and once and ever after; what has to follow stands in tables."""
import json
import os
import re
from collections import namedtuple

from appliance import ALONE, FORWARDED, REPORTS, Appliance, Figures, left_behind, options, shared

# What follows when the program gets no memory. `status` is None when the run ends as it does with memory; `rows` when
# the output but for the message is the whole one (ALL), has less in it (FEWER), or ends early (CUT).
Outcome = namedtuple("Outcome", "message status rows")
ALL, FEWER, CUT = "all", "fewer", "cut"
SILENT_END = Outcome("", 255, CUT)
DROPS = Outcome("", None, FEWER)


def ends(message, status=255):
    return Outcome(message, status, CUT)


# By bytes, in whichever command it is the first of them.
IN_ANY = {
    57344: Outcome("fail to alloc applevel buffer (57344 bytes)", None, ALL),
    2176: Outcome("itlgc_pool alloc fail", None, FEWER),
    262144: Outcome("fail to init ipmacdesc pool", None, FEWER),
    917504: Outcome("NO_MEM", None, FEWER),
    807936: Outcome("assetsdesc_init: fail to alloc 807936 bytes", None, FEWER),
    3276800: Outcome("fail to alloc oui buffer (3276800)", None, FEWER),
}
# By command and bytes; None stands for all others, VENDORS for what the file of vendors is read into. The first command
# that fits counts.
VENDORS = "vendors"
BEHIND_VENDORS = 1024
IN_COMMAND = (
    ("ipobj listbussflow sort=", {None: DROPS}),
    ("ipobj listflow portsum=", {262144: DROPS, None: DROPS}),
    ("ipobj listflow", {None: DROPS}),
    ("tcpreset list(ip|dns)", {None: DROPS}),
    ("outconnect caluflow appsum=", {1048576: ends("fail to alloc app pool 1048576 bytes"), None: DROPS}),
    ("(outconnect|dnsflow) caluflow", {None: DROPS}),
    ("obs(syslog|sshlog|tlslog|netbios) list", {VENDORS: Outcome("fail to alloc %d bytes", None, FEWER), None: SILENT_END}),
    ("malclog list", {
        1168: ends("NO_MEM"),
        1536: Outcome("fail to alloc malc pool 1536 bytes", None, FEWER),
        131072: Outcome("fail to alloc 131072 bytes for ippool", None, FEWER),
        327680: Outcome("fail to alloc 327680 bytes for dnspool", None, FEWER),
        49152: Outcome("fail to alloc 49152 bytes for areapool", None, FEWER)}),
    ("nevtlog list showsum=", {
        6144: ends("fail to malloc evtype_pool(7168) bytes"),
        960: ends("fail to alloc if pool(960) bytes")}),
    ("nevtlog list", {16384: ends("fal alloc _ptrs object"), None: ends("fail alloc nevt_data_t object")}),
    ("kesidslog list page", {16384: ends("fail to realloc _ptrs"), None: ends("fail to alloc dataobj")}),
    ("hostinfo list", {
        524288: ends("fail to alloc buffer for cmp(32768)", 1),
        None: ends("fail to alloc hostinfo buffer(")}),
    ("obstopogrp list", {16384: SILENT_END, None: ends("fail to alloc (cli_obstopogrp_list)")}),
    ("idssum list|assetsobj list|whiteip get", {None: SILENT_END}),
)
LOADERS = ends("dict.so: ")  # or it does without


class Point:
    """An allocation of an undisturbed run."""

    def __init__(self, line, form, asked, earlier):
        size, owner = asked.split(maxsplit=1)
        self.bytes = int(size)
        self.owner = os.path.basename(owner.strip())
        self.named = True  # by its bytes
        self.outcome = self.of_program(line, earlier) if self.owner == form else LOADERS if self.owner.startswith("ld-") else None

    def of_program(self, line, earlier):
        own = next((outcomes for command, outcomes in IN_COMMAND if re.match(command, line)), {})
        if self.bytes in own:
            return own[self.bytes]
        if self.bytes in IN_ANY and self.bytes not in earlier:
            return IN_ANY[self.bytes]
        if VENDORS in own and self.bytes > 1_000_000:
            return own[VENDORS]._replace(message=own[VENDORS].message % (self.bytes - BEHIND_VENDORS))
        self.named = False
        return own.get(None)


class Undisturbed:
    def __init__(self, appliance, line, form):
        count = os.path.join(appliance.work, "count")
        self.line = line
        self.form = form
        self.run = appliance.run_with("alloc-once 0", line, form=form, environment={"FAULT_COUNT": count})
        self.in_utc = appliance.run_with("", line, form=form, environment={"TZ": "UTC0"})
        self.points = []
        with open(count) as counted:
            for asked in counted:
                self.points.append(Point(line, form, asked, [point.bytes for point in self.points if point.owner == form]))


def reads_as_json(output):
    try:
        json.loads(output.decode("latin-1"), strict=False)
        return True
    except ValueError:
        return False


def follows(run, whole, outcome):
    """Why the plain form's run is not what the outcome says, or nothing."""
    message = outcome.message.encode()
    if run.status != (whole.status if outcome.status is None else outcome.status):
        return "ends with %d" % run.status
    if message not in run.output:
        return "does not say " + outcome.message
    rest = re.sub(rb"[^\n\[{]*" + re.escape(message) + rb"[^\n]*\n", b"", run.output, count=1) if message else run.output
    if outcome.rows == ALL and rest != whole.output:
        return "other output"
    if outcome.rows == CUT and not whole.output.startswith(rest):
        return "what was printed is no beginning"
    if outcome.rows == FEWER and reads_as_json(whole.output) and not reads_as_json(rest):
        return "no document any more"
    return ""


def judge_once(undisturbed, run, point):
    whole = undisturbed.run
    outcome = point.outcome
    as_ever = run.status == whole.status and run.output in (whole.output, undisturbed.in_utc.output)
    if point.owner != undisturbed.form and as_ever:
        return ""  # the C library's or the loader's, who can do without
    if undisturbed.form == "vigil":
        return follows(run, whole, outcome) if outcome else "%d bytes for %s: not in the tables" % (point.bytes, point.owner)
    # The document keeps messages, and long rows, in memory: without it they are lost, or it ends with NO_MEM.
    statuses = {whole.status, 255} if outcome is None or not point.named else set()
    if outcome is not None:
        statuses.add(whole.status if outcome.status is None else outcome.status)
    if run.status not in statuses:
        return "ends with %d" % run.status
    said = not point.named or outcome.message.encode() in run.output
    return "" if said else "does not say " + outcome.message


def judge_ever_after(undisturbed, run, points):
    """What follows the first one, and nothing that none of the later ones can bring about."""
    whole = undisturbed.run
    outcomes = [point.outcome for point in points if point.outcome]
    statuses = {whole.status} | {outcome.status for outcome in outcomes if outcome.status is not None}
    first = points[0].outcome
    if undisturbed.form == "vigil-json":
        return "" if run.status in statuses | {255} else "ends with %d" % run.status
    if points[0].owner == "vigil" and first and first.status is not None:
        return follows(run, whole, first)
    if points[0].owner == "vigil" and first and first.message.encode() not in run.output:
        return "does not say " + first.message
    if run.status not in statuses:
        return "ends with %d" % run.status
    as_ever = run.output in (whole.output, undisturbed.in_utc.output)
    return "" if as_ever or run.status != 0 or outcomes else "ends with 0 and other output"


def judge(undisturbed, run, kind, number):
    """Why a run may not end like this one, or nothing."""
    if run.crash():
        return run.crash()
    if undisturbed.form == "vigil-json":
        try:
            json.loads(run.output)
        except ValueError:
            return "no valid document"
    points = undisturbed.points[number - 1:]
    return judge_once(undisturbed, run, points[0]) if kind == "alloc-once" else judge_ever_after(undisturbed, run, points)


def lines_of(chosen):
    if not chosen.short:
        return REPORTS + FORWARDED + ALONE
    return [line for line in REPORTS if line.split()[0] in ("ipobj", "hostinfo", "malclog", "nevtlog", "chart")][::4]


def work(chosen, figures, share, shares):
    runs = 0
    with Appliance(chosen.build) as appliance:
        for line in lines_of(chosen)[share::shares]:
            for form in ("vigil", "vigil-json"):
                undisturbed = Undisturbed(appliance, line, form)
                for kind in ("alloc-once", "alloc-from"):
                    for number in range(1, len(undisturbed.points) + 1):
                        fault = "%s %d" % (kind, number)
                        wrong = judge(undisturbed, appliance.run_with(fault, line, form=form), kind, number)
                        if wrong:
                            point = undisturbed.points[number - 1]
                            figures.short("%s %s, %s (%d bytes for %s): %s" % (form, line, fault, point.bytes, point.owner, wrong))
                        runs += 1
        left_behind(figures, "runs without memory")
    return [runs]


def main():
    chosen = options(__doc__)
    figures = Figures("allocations")
    runs, = shared(work, chosen, figures)
    figures.end("%d commands in both forms, %d runs without an allocation" % (len(lines_of(chosen)), runs))


main()
