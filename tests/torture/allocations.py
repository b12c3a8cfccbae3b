"""Each allocation of each command fails, once, and once and ever after."""
import json
import os
import re

from appliance import ALONE, FORWARDED, REPORTS, Appliance, Figures, left_behind, options

# Said, and the run goes on: with what it has, or without what it could not read.
GOES_ON = re.compile(rb"fail to alloc applevel buffer|fail to init ipmacdesc pool|itlgc_pool alloc fail|NO_MEM"
                     rb"|fail to alloc oui buffer|fail to alloc \d+ bytes|assetsdesc_init: fail to alloc"
                     rb"|fail to alloc malc pool|rpc_syncdesc: ")
# Nothing is said, and the run goes on: folds drop what they have no memory for, and listings that sort show what
# they have collected.
DROPS = ("ipobj listbussflow sort=", "ipobj listflow", "tcpreset listip", "tcpreset listdns", "outconnect caluflow", "dnsflow caluflow")
# Other ends than 255
ENDS = {"hostinfo list": {1}, "keytbl list": {0}, "gadget frob": {1}}


def judge(line, form, run, whole, whole_in_utc):
    """Why a run may not end like this one, or nothing."""
    if run.crash():
        return run.crash()
    if form == "vigil-json":
        try:
            json.loads(run.output)
        except ValueError:
            return "no valid document"
    allowed = next((ends for command, ends in ENDS.items() if line.startswith(command)), set()) | {255, whole.status}
    if run.status not in allowed:
        return "ends with %d" % run.status
    if run.status != 0 or run.output == whole.output:
        return ""
    if run.output == whole_in_utc.output:
        return ""  # the C library's own: without memory for a time zone there is none
    if GOES_ON.search(run.output) or line.startswith(DROPS):
        return ""
    return "ends with 0 and other output"


def main():
    chosen = options(__doc__)
    figures = Figures("allocations")
    lines = REPORTS + FORWARDED + ALONE
    if chosen.short:
        lines = [line for line in REPORTS if line.split()[0] in ("ipobj", "hostinfo", "malclog", "nevtlog", "chart")][::4]
    points = 0
    with Appliance(chosen.build) as appliance:
        count = os.path.join(appliance.work, "count")
        for form in ("vigil", "vigil-json"):
            for line in lines:
                whole = appliance.run_with("alloc-once 0", line, form=form, environment={"FAULT_COUNT": count})
                in_utc = appliance.run(line, form=form, environment={"TZ": "UTC0"})
                with open(count) as counted:
                    allocations = len(counted.readlines())
                for kind in ("alloc-once", "alloc-from"):
                    for point in range(1, allocations + 1):
                        run = appliance.run_with("%s %d" % (kind, point), line, form=form)
                        wrong = judge(line, form, run, whole, in_utc)
                        if wrong:  # unless a second has passed, which changes ages
                            wrong = judge(line, form, run, appliance.run(line, form=form), in_utc)
                        if wrong:
                            figures.short("%s %s, %s %d: %s" % (form, line, kind, point, wrong))
                        points += 1
        left_behind(figures, "runs without memory")
    figures.end("%d commands in both forms, %d runs without an allocation" % (len(lines), points))


main()
