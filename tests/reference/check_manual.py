#!/usr/bin/python3
"""The manual pages: complete, clean, as docs/ has them, and with examples that work.

    check_manual.py --build BUILD --source SOURCE
"""
import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

PAGES = ("vigil", "vigil-json", "vigil-lab", "vigil-ouidb")
TOKEN = re.compile(r"^[A-Z]+_[A-Z_]+$|^NOT_SUPPORTED$|timeout$", re.M)
# Examples that print nothing when they work
QUIET = re.compile(r"\$ (typed=|(export|until|kill|printf|vigil-ouidb make|vigil obsiptable (addip|remove))\b)")


def output_of(command, **more):
    return subprocess.run(command, capture_output=True, text=True, timeout=120, **more).stdout


class Check:
    def __init__(self, build, source):
        self.build, self.source, self.faults = build, source, []
        self.path = {page: build / f"reference/{page}.1" for page in PAGES}
        self.page = {page: path.read_text() for page, path in self.path.items()}

    def expect(self, holds, fault):
        if not holds:
            self.faults.append(fault)

    def check_verbs(self):
        printed = output_of([self.build / "tests/print_catalogue"], check=True)
        verbs = [line.split()[1:] for line in printed.splitlines()]
        expected = [f"{module} {verb}" for module, verb in verbs if module != "MODULE"]
        found = re.findall(r"^\.It Cm \"?(?:\\&)?(\S+?)\"? Cm \"?(?:\\&)?(\S+?)\"?$", self.page["vigil"], re.M)
        found = [" ".join(words).replace("\\-", "-") for words in found]
        self.expect(found == expected, f"vigil.1: verbs {sorted(set(found) ^ set(expected)) or 'in another order'}")
        common = [verb for module, verb in verbs if module == "MODULE"]
        self.expect(f"The verbs: {', '.join(common)}." in self.page["vigil"], "vigil.1: the common verbs")

    def check_counted(self):
        """The verbs whose status is a record count are those whose rows say so."""
        rows = (self.source / "cli/forward_rows.h").read_text()
        expected = {match[1] for match in re.finditer(r"^ +(\w+) +\{.*\brecords\b.*\}", rows, re.M)}
        section = self.page["vigil"].split("modulo 256:")[1].split("It is 0 both")[0]
        found = {match[1].replace(" ", "_") for match in re.finditer(r'^\.Cm "(.*)"', section, re.M)}
        self.expect(found == expected, f"vigil.1: verbs that count records: {found}, and rows: {expected}")

    def check_places(self):
        for path in re.findall(r'= "(/[^"]+)"', (self.source / "link/places.h").read_text()):
            self.expect(f".It Pa {path}\n" in self.page["vigil"], f"vigil.1: FILES lacks {path}")

    def check_options(self):
        for page, program in (("vigil-lab", "lab/vigil-lab"), ("vigil-ouidb", "tools/vigil-ouidb")):
            for option in set(re.findall(r"--[a-z]+", output_of([self.build / program, "--help"]))) - {"--help"}:
                named = f".It Fl \\-{option[2:]}"
                self.expect(re.search(re.escape(named) + r"\b", self.page[page]), f"{page}.1: no {option}")

    def check_language(self):
        for page, path in self.path.items():
            for line in output_of(["mandoc", "-Tlint", path]).splitlines():
                missing = re.search(r"referenced manual not found: Xr (\S+) 1", line)
                if not missing and "mandoc.db" not in line:
                    self.faults.append(line)
                elif missing and missing[1] not in (*PAGES, "jq"):
                    self.faults.append(line)
            shown = output_of(["mandoc", "-Ios=vigil", "-Tmarkdown", path])
            if shown != (self.source / f"docs/manual/{page}.md").read_text():
                self.faults.append(f"docs/manual/{page}.md is not what scripts/manual_docs.sh writes")

    def examples(self, page):
        """(command lines as one, what the page shows of their output)"""
        section = re.search(r"^\.Sh EXAMPLES\n(.*?)^\.Sh ", self.page[page], re.M | re.S)[1]
        for block in re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed", section, re.M | re.S):
            for line in block.replace("\\e", "\\").splitlines():
                if line.startswith("$ "):
                    command, shown = [line], []
                    yield command, shown
                else:
                    (command if line.startswith("  ") else shown).append(line)

    def check_examples(self):
        with tempfile.TemporaryDirectory(prefix="vigil.", dir="/tmp") as place:
            root = pathlib.Path(place, "root")
            root.mkdir()
            environment = {**os.environ, "HOME": place, "TMPDIR": place, "TZ": "UTC0", "VIGIL_ROOT": str(root), "LC_ALL": "C.UTF-8",
                           "PATH": f"{self.build}:{self.build}/lab:{self.build}/tools:{os.environ['PATH']}"}
            lab = subprocess.Popen([self.build / "lab/vigil-lab", "--sessions", "500", "--seed", "3"], env=environment,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
            try:
                if not lab.stdout.readline().startswith("ready"):
                    raise AssertionError("the lab does not serve")
                for page in PAGES:
                    self.run_examples(page, environment, place)
            finally:
                lab.terminate()
                lab.wait(60)

    def run_examples(self, page, environment, place):
        """In one shell, as somebody would type them."""
        script, examples = ["set -e"], []
        for command, shown in list(self.examples(page)):
            text = "\n".join(command)
            if "jq" in text and not shutil.which("jq"):
                print(f"skipped, no jq here: {text}")
                continue
            examples.append((text, shown, pathlib.Path(place, f"{page}.{len(examples)}")))
            script.append(f"{{ {text[2:]}\n}} >{examples[-1][2]}")
        self.expect(examples, f"{page}.1: no examples")
        run = subprocess.run(["sh", "-c", "\n".join(script)], env=environment, cwd=place, capture_output=True, text=True, timeout=120)
        for text, shown, output in examples:
            if not output.exists():
                break
            last = f"{page}.1: {text}"
            printed = output.read_text(encoding="utf-8")
            if shown:
                self.expect(printed.splitlines() == shown, f"{last}\n    prints {printed[:200]!r}")
            else:
                self.expect(bool(printed) != bool(QUIET.match(text)), f"{last}\n    prints {printed[:200]!r}")
                self.expect(not TOKEN.search(printed), f"{last}\n    prints {printed[:200]!r}")
        self.expect(run.returncode == 0, f"{page}.1: status {run.returncode} after: {last}\n    {run.stderr[-200:]}")

    def run(self):
        self.check_verbs()
        self.check_counted()
        self.check_places()
        self.check_options()
        if shutil.which("mandoc"):
            self.check_language()
        else:
            print("skipped: no mandoc here (scripts/setup.sh --dev)")
        self.check_examples()


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--build", required=True, type=pathlib.Path)
    options.add_argument("--source", required=True, type=pathlib.Path)
    chosen = options.parse_args()
    check = Check(chosen.build.resolve(), chosen.source)
    check.run()
    print("\n".join(check.faults) or "the manual holds")
    return 1 if check.faults else 0


if __name__ == "__main__":
    sys.exit(main())
