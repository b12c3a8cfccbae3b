"""Lost output, exhausted limits, many runs at once, and the same answer from every build in every locale and zone."""
import datetime
import os
import resource
import subprocess

from appliance import FORWARDED, REPORTS, Appliance, Figures, Result, left_behind, options

AT_ONCE = 256
SEGMENTS_AT_ONCE = 8  # the limit of the namespace while they run
LOCALES = ("C", "C.UTF-8", "en_US.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8", "zh_CN.GBK")
ZONES = ("CST-8", "Europe/Berlin", "America/New_York", "Australia/Lord_Howe")
# In every other tree: the compiler and its flags. At -O3 g++ 12 warns of an overlap in its own std::string.
OTHER_BUILDS = (("g++", "-O0"), ("g++", "-O3 -Wno-restrict"), ("clang++", "-O0"), ("clang++", "-O3"))
CHANGE_DAYS = ("2026-03-29", "2026-10-25")


def lines_of(whole):
    """Command lines whose answers do not have ages in them, which another second changes."""
    return [line for line in whole if "listbussflow" not in line]


class Counter:
    def __init__(self, figures):
        self.figures = figures
        self.runs = 0

    def check(self, name, line, run, right):
        self.runs += 1
        if run.crash():
            self.figures.short("%s, vigil %s: %s" % (name, line, run.crash()))
        elif not right(run):
            self.figures.short("%s, vigil %s: status %d, %r" % (name, line, run.status, run.output[-80:]))


def is_refusal(run, whole):
    """An output that is not the whole one has to show in the status."""
    return run.output == whole.output or run.status != 0 or b"fail to " in run.output or b"alloc" in run.output


def lost(appliance, counter, lines):
    """Output that cannot be written, in four ways."""
    small = os.path.join(appliance.work, "small")
    os.mkdir(small)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=8k", "tmpfs", small], check=True)
    with open(os.path.join(small, "filler"), "wb", buffering=0) as filler:
        try:
            filler.write(bytes(1 << 20))
        except OSError:
            pass
    for line in lines:
        whole = appliance.run(line)
        if not whole.output:
            continue
        ends = {255} if line != "keytbl list" else {0, 255}
        for path in ("/dev/full", os.path.join(small, "output")):
            with open(path, "wb") as output:
                counter.check(path, line, appliance.run(line, output=output), lambda run: run.status in ends)
        reader, writer = os.pipe()
        os.close(reader)
        counter.check("closed pipe", line, appliance.run(line, output=writer), lambda run: run.status in ends)
        os.close(writer)
        path = os.path.join(appliance.work, "limited")
        limit = len(whole.output) // 2
        with open(path, "wb") as output:
            run = appliance.run(line, output=output, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        with open(path, "rb") as written:
            kept = written.read()
        counter.check("RLIMIT_FSIZE", line, run, lambda run: run.status == 255 and whole.output.startswith(kept))
    subprocess.run(["umount", small], check=True)


def exhausted(appliance, counter, lines):
    """Few descriptors, little memory: from where a run without a session works."""
    def below(kind, limit):
        return lambda: resource.setrlimit(kind, (limit, limit))

    def alone(limit):
        run = appliance.run("obs", preexec_fn=below(resource.RLIMIT_AS, limit))
        return run.status == 255 and run.output.startswith(b"obslog")

    least = 1 << 20
    while not alone(least):
        least += 1 << 18
    for line in lines:
        whole = appliance.run(line)
        for files in range(3, 9):
            run = appliance.run(line, preexec_fn=below(resource.RLIMIT_NOFILE, files))
            # 127 is the loader's, which needs a descriptor itself; a listing goes on without descriptions.
            counter.check("RLIMIT_NOFILE %d" % files, line, run, lambda run: (
                run.output == whole.output or run.status != 0 or line == "keytbl list" or (files == 4 and "listflow page" in line)))
        for more in (0, 1 << 16, 1 << 18, 1 << 19, 1 << 20, 1 << 21, 1 << 22):
            run = appliance.run(line, preexec_fn=below(resource.RLIMIT_AS, least + more))
            counter.check("RLIMIT_AS %d" % (least + more), line, run,
                          lambda run: line.startswith(("ipobj", "tcpreset", "outconnect", "dnsflow", "keytbl")) or is_refusal(run, whole))


def at_once(appliance, counter, figures):
    """Many runs, more than there may be segments."""
    try:
        with open("/proc/sys/kernel/shmmni", "w") as limit:
            limit.write(str(SEGMENTS_AT_ONCE))
    except OSError:
        figures.short("the number of segments cannot be limited here")
        return 0
    refused = 0
    for line in ("ipobj listflow limit=5 json=1", "hostinfo list", "obstopo stat"):
        whole = appliance.run(line)
        runs = [appliance.start(line) for _ in range(AT_ONCE)]
        for run in runs:
            output, errors = run.communicate(timeout=300)
            refused += output.startswith(b"rpc_init: shmget fail")
            counter.check("%d at once" % AT_ONCE, line, Result(run.returncode, output, errors), lambda run: (
                run.output == whole.output and run.status == whole.status) or (
                    run.status == 255 and run.output.startswith(b"rpc_init: shmget fail")))
    with open("/proc/sys/kernel/shmmni", "w") as limit:
        limit.write("4096")
    return refused


def build_other(appliance, compiler, level):
    tree = os.path.join(appliance.build, "other", compiler + level.split()[0])
    configure = ["cmake", "-B", tree, "-DCMAKE_BUILD_TYPE=None", "-DBUILD_TESTING=OFF", "-DCMAKE_CXX_COMPILER=" + compiler,
                 "-DCMAKE_CXX_FLAGS=" + level]
    for command in (configure, ["cmake", "--build", tree, "-j", str(os.cpu_count()), "--target", "vigil", "--target", "vigil-json"]):
        if subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode != 0:
            return None
    return tree


def the_same(chosen, counter, figures, lines, others):
    """Each build, locale and zone, with the time of the traffic on both days on which clocks change."""
    for day in CHANGE_DAYS:
        now = int(datetime.datetime.fromisoformat(day + "T05:00:00+00:00").timestamp())
        with Appliance(chosen.build, ("--sessions", "2000", "--seed", "2", "--now", str(now))) as appliance:
            trees = [tree for tree in (build_other(appliance, *other) for other in others) if tree]
            if len(trees) < len(others):
                figures.short("%d of %d other builds could be made" % (len(trees), len(others)))
            for line in lines:
                for form in ("vigil", "vigil-json"):
                    for zone in ZONES:
                        whole = appliance.run(line, form=form, environment={"TZ": zone})
                        def same(run):
                            return run.output == whole.output and run.status == whole.status
                        for locale in LOCALES:
                            run = appliance.run(line, form=form, environment={"TZ": zone, "LC_ALL": locale})
                            counter.check("%s, %s, %s" % (day, zone, locale), line, run, same)
                        for tree in trees:
                            appliance.build, before = tree, appliance.build
                            run = appliance.run(line, form=form, environment={"TZ": zone})
                            appliance.build = before
                            counter.check("%s, %s, %s" % (day, zone, os.path.basename(tree)), line, run, same)


def main():
    chosen = options(__doc__)
    figures = Figures("output")
    counter = Counter(figures)
    lines = lines_of(REPORTS) + FORWARDED[::5]
    if chosen.short:
        lines = lines[::9]
    with Appliance(chosen.build) as appliance:
        lost(appliance, counter, lines)
        exhausted(appliance, counter, lines)
        refused = at_once(appliance, counter, figures)
        left_behind(figures, "runs that lack something")
    lacking = counter.runs
    others = OTHER_BUILDS[:chosen.count] if chosen.count else OTHER_BUILDS
    the_same(chosen, counter, figures, lines if not chosen.short else lines[:3], () if chosen.short else others)
    figures.end("%d runs that lack something (%d of %d at once refused a segment), %d runs compared" % (
        lacking, refused, 3 * AT_ONCE, counter.runs - lacking))


main()
