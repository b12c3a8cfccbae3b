"""Each system call of each verb fails, with each of five errors."""
import json
import os
import re

from appliance import ALONE, FORWARDED, REPORTS, Appliance, Figures, left_behind, options, shared

ERRORS = ("EINTR", "EIO", "ENOMEM", "ENOSPC", "EACCES")
MAIN_BEGINS = "fcntl("  # the first call after main has begun; the ones before are the loader's
CANNOT_FAIL = ("brk", "exit_group")  # brk has no error of its own: the C library takes one for an address
# Of a sanitizer build: the runtime makes these for itself, and does not outlive their failing.
SANITIZERS = ("mmap", "munmap", "mprotect", "madvise", "sigaltstack", "readlink", "sched_getaffinity", "prlimit64")
# A call that fails here changes nothing of the answer: what it is for is done otherwise, or is only for later.
HARMLESS = {"munmap", "close", "rt_sigaction", "rt_sigprocmask", "fcntl", "brk", "mprotect", "madvise", "shmdt", "poll",
            "getrandom", "lseek"}
# Configuration, descriptions and vendors that cannot be read are not there: the contract has every word run without.
OPTIONAL = re.compile(r"/(conf/|usr/ramdisk/etc/|etc/localtime|usr/share/zoneinfo)")
SAID = re.compile(rb"fail to |itlgc_pool alloc fail|NO_MEM|rpc_syncdesc")


def calls_of(appliance, line, form):
    """The calls of an undisturbed run, as strace writes them, and the number of the first after main has begun."""
    trace = os.path.join(appliance.work, "trace")
    run = appliance.run(line, form=form, before=("strace", "-o", trace), environment=appliance.stopped_clock)
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


def lines_of(chosen):
    lines = REPORTS + FORWARDED + ALONE
    return lines[::16] if chosen.short else lines[:chosen.count or None]


def work(chosen, figures, share, shares):
    points = runs = failed = 0
    with open(os.path.join(chosen.build, "vigil"), "rb") as program:
        left_out = CANNOT_FAIL + (SANITIZERS if b"__asan_init" in program.read() else ())
    with Appliance(chosen.build) as appliance:
        for line in lines_of(chosen)[share::shares]:
            for form in ("vigil", "vigil-json"):
                whole, calls, first = calls_of(appliance, line, form)
                for point in range(first, len(calls)):
                    name = calls[point].split("(")[0]
                    if name in left_out:
                        continue
                    nth = sum(call.startswith(name + "(") for call in calls[:point + 1])  # strace counts each name
                    points += 1
                    for error in ERRORS:
                        inject = ("strace", "-o", "/dev/null", "-e", "inject=%s:error=%s:when=%d" % (name, error, nth))
                        run = appliance.run(line, form=form, before=inject, environment=appliance.stopped_clock)
                        wrong = judge(line, form, run, whole, calls, point)
                        if wrong:
                            figures.short("%s %s, %s with %s: %s" % (form, line, calls[point].strip(), error, wrong))
                        runs += 1
                        failed += run.status != 0
        left_behind(figures, "runs whose calls fail")
    return points, runs, failed


def main():
    chosen = options(__doc__)
    figures = Figures("calls")
    points, runs, failed = shared(work, chosen, figures)
    figures.end("%d verbs in both forms, %d calls, %d runs, of which %d failed" % (len(lines_of(chosen)), points, runs, failed))


main()
