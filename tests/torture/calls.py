"""Each system call of each verb fails, with each of five errors."""
import json
import os
import random
import re
import subprocess

from appliance import ALONE, FORWARDED, REPORTS, Appliance, Figures, left_behind, options

ERRORS = ("EINTR", "EIO", "ENOMEM", "ENOSPC", "EACCES")
MAIN_BEGINS = "fcntl("  # the first call after main has begun; the ones before are the loader's
# A call that fails here changes nothing of the answer: what it is for is done otherwise, or is only for later.
HARMLESS = {"munmap", "close", "rt_sigaction", "rt_sigprocmask", "fcntl", "brk", "mprotect", "madvise", "shmdt", "poll",
            "getrandom", "lseek"}
# Configuration, descriptions and vendors that cannot be read are not there: the contract has every word run without.
OPTIONAL = re.compile(r"/(conf/|usr/ramdisk/etc/|etc/localtime|usr/share/zoneinfo)")
SAID = re.compile(rb"fail to |itlgc_pool alloc fail|NO_MEM|rpc_syncdesc")


def calls_of(appliance, line, form):
    """The calls of an undisturbed run, as strace writes them, and the number of the first after main has begun."""
    trace = os.path.join(appliance.work, "trace")
    run = appliance.run(line, form=form, before=("strace", "-o", trace))
    with open(trace, errors="replace") as written:
        calls = [call for call in written if not call.startswith(("+++", "---"))]
    first = next(i for i, call in enumerate(calls) if call.startswith(MAIN_BEGINS))
    return run, calls, first


def reads_optional(calls, point):
    """Whether the call works on a file that the run can do without."""
    call = calls[point]
    if OPTIONAL.search(call):
        return True
    number = re.match(r"\w+\((\d+)", call) or re.match(r"mmap\(NULL, \d+, [A-Z_|]+, [A-Z_|]+, (\d+)", call)
    if number is None:
        return False
    for earlier in reversed(calls[:point]):
        opened = re.match(r"(openat|open|socket).*= (\d+)$", earlier.strip())
        if opened and opened.group(2) == number.group(1):
            return bool(OPTIONAL.search(earlier))
    return False


def judge(line, form, run, whole, calls, point):
    crash = run.crash()
    if crash:
        return crash
    if form == "vigil-json" and b"{" in run.output:
        try:
            json.loads(run.output)
        except ValueError:
            if run.status == 0:
                return "no valid document"
    if run.status != 0 or run.output == whole.output:
        return ""
    call = calls[point].split("(")[0]
    if call in HARMLESS and not run.output:
        return "ends with 0 and says nothing"
    if line == "keytbl list" or reads_optional(calls, point) or SAID.search(run.output):
        return ""
    return "ends with 0 and other output"


def main():
    chosen = options(__doc__)
    figures = Figures("calls")
    lines = REPORTS + FORWARDED + ALONE
    share = 1.0
    if chosen.short:
        lines = lines[::16]
    rng = random.Random(chosen.seed)
    points = runs = 0
    every = []
    with Appliance(chosen.build) as appliance:
        for form in ("vigil", "vigil-json"):
            for line in lines:
                whole, calls, first = calls_of(appliance, line, form)
                again, calls_again, _ = calls_of(appliance, line, form)
                if whole.output != again.output or len(calls) != len(calls_again):
                    continue  # not the same each time: nothing to compare with
                for point in range(first, len(calls)):
                    if not calls[point].startswith(("exit", "shmctl")) or "RMID" in calls[point]:
                        every.append((form, line, whole, calls, point))
        if chosen.count and chosen.count < len(every) * len(ERRORS):
            share = chosen.count / (len(every) * len(ERRORS))
        for form, line, whole, calls, point in every:
            points += 1
            for error in ERRORS:
                if rng.random() >= share:
                    continue
                inject = ("strace", "-o", "/dev/null", "-e", "inject=all:error=%s:when=%d" % (error, point + 1))
                wrong = judge(line, form, appliance.run(line, form=form, before=inject), whole, calls, point)
                for _ in range(3 if wrong else 0):  # a second that passes changes ages
                    whole_now = appliance.run(line, form=form)
                    wrong = wrong and judge(line, form, appliance.run(line, form=form, before=inject), whole_now, calls, point)
                if wrong:
                    figures.short("%s %s, %s with %s: %s" % (form, line, calls[point].strip(), error, wrong))
                runs += 1
        left_behind(figures, "runs whose calls fail")
    figures.end("%d verbs in both forms, %d calls, %d runs" % (len(lines), points, runs))


main()
