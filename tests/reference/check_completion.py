#!/usr/bin/python3
"""Types at a bash and a zsh on a terminal and looks at what vigil then gets.

    check_completion.py --build BUILD

The shells can run nothing but what is built into them: no daemon is asked. The tables of bash are compared with the
catalogue whole.
"""
import argparse
import os
import pathlib
import pty
import select
import shlex
import shutil
import subprocess
import sys
import tempfile

TAB = "\t"
# Typed → the arguments that vigil gets. Behind a name that is complete comes a blank, behind a '=' the value at once.
TYPED = [
    (f"vigil ipo{TAB}listf{TAB}so{TAB}by{TAB}limit=3", ["ipobj", "listflow", "sort=byte", "limit=3"]),
    (f"vigil-json sysb{TAB}", ["sysboot"]),
    (f"vigil keytbl l{TAB}", ["keytbl", "list"]),
    (f"vigil chart d{TAB}j{TAB}", ["chart", "dump", "json=1"]),
    # Both daemons have a module of this name
    (f"vigil obslog dummyh{TAB}", ["obslog", "dummyhttp"]),
    (f"vigil obslog ge{TAB}", ["obslog", "get"]),
    # Options take their value as the next argument
    (f"vigil ipobj listipa -s o{TAB}raw{TAB}1", ["ipobj", "listipa", "-s", "out", "rawdata=1"]),
    # What was typed is not offered again: of sport= and sort= one is left
    (f"vigil ipobj listbussflow sort=ti{TAB}s{TAB}p{TAB}80", ["ipobj", "listbussflow", "sort=time", "sport=80"]),
    # No such module, no such word: nothing is made up
    (f"vigil nosuch li{TAB}", ["nosuch", "li"]),
    (f"vigil ipobj listflow sort=x{TAB}", ["ipobj", "listflow", "sort=x"]),
    (f"vigil obspcap save of=fi{TAB}", ["obspcap", "save", "of=file-name"]),
]

BASH = """
bind 'set bell-style none'; bind 'set enable-bracketed-paste off'; bind 'set completion-query-items 0'; bind 'set page-completions off'
# As it is loaded on the first TAB: from within a function
load() {{ source {reference}/vigil.bash; }}; load
"""
ZSH = """
setopt no_beep no_list_beep; unset zle_bracketed_paste
fpath=({reference} $fpath); autoload -Uz compinit; compinit -D -u -d {place}/dump
"""
BOTH = """
PATH=/nonexistent
vigil() {{ printf '\\n<<'; printf '[%s]' "$@"; printf '>>\\n'; }}
vigil-json() {{ vigil "$@"; }}
PS1='ready> '
"""


def quoted_reference(build):
    return shlex.quote(str(build / "reference"))


class Terminal:
    def __init__(self, command, place):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(place)
            os.execvpe(command[0], command, {"TERM": "dumb", "HOME": place, "PATH": os.environ["PATH"], "LC_ALL": "C"})
        self.seen = ""

    def type(self, text):
        os.write(self.terminal, text.encode())

    def until(self, word):
        """What the terminal shows up to the word."""
        while word not in self.seen:
            if not select.select([self.terminal], [], [], 20)[0]:
                raise AssertionError(f"no {word!r} on the terminal, but {self.seen[-400:]!r}")
            self.seen += os.read(self.terminal, 65536).decode("utf-8", "replace")
        shown, _, self.seen = self.seen.partition(word)
        return shown

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.process, 0)


def check_terminal(shell, command, setup, build):
    faults = []
    with tempfile.TemporaryDirectory(prefix="vigil.") as place:
        pathlib.Path(place, "file-name").touch()
        script = pathlib.Path(place, "setup")
        script.write_text((setup + BOTH).format(reference=quoted_reference(build), place=place))
        terminal = Terminal(command, place)
        terminal.type(f". {script}\n")
        terminal.until("ready> ")
        for typed, expected in TYPED:
            terminal.type(typed + "\n")
            terminal.until("<<[")
            got = terminal.until("]>>").split("][")
            terminal.until("ready> ")
            if got != expected:
                faults.append(f"{shell}: {typed!r} gives {got}, not {expected}")
        terminal.close()
    return faults


def bash_replies(build, breaks, lines):
    """What bash would offer for each list of words; the last of them is at the cursor."""
    script = [f"COMP_WORDBREAKS={breaks}", f"source {quoted_reference(build)}/vigil.bash", "PATH=/nonexistent"]
    for words in lines:
        quoted = " ".join("'" + word + "'" for word in words)
        script += [f"COMP_WORDS=({quoted}); COMP_CWORD={len(words) - 1}; _vigil; echo \"${{COMPREPLY[*]}}\""]
    run = subprocess.run(["bash", "--norc", "-c", "\n".join(script)], capture_output=True, text=True, timeout=60, check=True)
    return [line.split() for line in run.stdout.splitlines()]


def check_bash_tables(build):
    catalogue = {}
    printed = subprocess.run([build / "tests/print_catalogue"], capture_output=True, text=True, check=True).stdout
    for line in printed.splitlines():
        _, module, verb = line.split()
        if module != "MODULE":
            catalogue.setdefault(module, set()).add(verb)
    offered, *verbs = bash_replies(build, "' ='", [["vigil", ""], *(["vigil", module, ""] for module in catalogue)])
    faults = [] if set(offered) - {"sysboot", "keytbl"} == set(catalogue) else [f"bash: modules {offered}"]
    for (module, expected), found in zip(catalogue.items(), verbs, strict=True):
        if set(found) != expected or len(found) != len(expected):
            faults.append(f"bash: verbs of {module}: {found}")
    # Where bash does not divide at '=', the word is replaced whole.
    for breaks, words, expected in (
            ("' ='", ["vigil", "ipobj", "listflow", "sort", "="], ["byte", "delay", "flow"]),
            ("' ='", ["vigil", "ipobj", "listflow", "sort", "=", "d"], ["delay"]),
            ("' '", ["vigil", "ipobj", "listflow", "sort=d"], ["sort=delay"]),
            ("' ='", ["vigil", "", ""], []),
            ("' ='", ["vigil", "a]b", "x"], [])):
        found = bash_replies(build, breaks, [words])
        if found != ([expected] if expected else [[]]):
            faults.append(f"bash: {words} offers {found}")
    return faults


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--build", required=True, type=pathlib.Path)
    build = options.parse_args().build.resolve()
    faults = check_bash_tables(build)
    for shell, command, setup in (("bash", ["bash", "--norc", "--noprofile", "-i"], BASH), ("zsh", ["zsh", "-f", "-i"], ZSH)):
        if shutil.which(shell):
            faults += check_terminal(shell, command, setup, build)
        else:
            print(f"skipped: no {shell} here (scripts/setup.sh --dev)")
    print("\n".join(faults) or "every completion as expected")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
