#!/usr/bin/python3
"""Writes docs/json.md from schema/: what vigil-json prints, and which plain output is JSON too.

    scripts/json_docs.py           writes it
    scripts/json_docs.py --check   fails when it is not up to date
"""
import json
import pathlib
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "reference"))
from commands import resolve  # noqa: E402 (found through the line above)

PAGE = ROOT / "docs/json.md"

HEAD = """\
# JSON

<!-- Made from schema/ by scripts/json_docs.py; change it there. -->

`vigil` prints what the web layer and scripts are used to: texts as they came, some documents with a comma too many or
too few, messages in front of a document or inside it. Who parses that trusts every host whose name the appliance has
seen. `vigil-json` takes the same command lines, ends with the same status, and prints exactly one valid document:
UTF-8, one line end, no member twice.

- A JSON report prints its document with the same members in the same order. The word that selects JSON is set already;
  one that is typed changes nothing and does not reach the daemon.
- A report that prints lines gives `{"lines":["…", …]}`, a daemon's text `{"text":"…"}`, a command that says nothing
  `{}`.
- An error is `{"error":{"text":"…","status":255}}`. A document that was begun is closed, and the error is the last
  member of the outermost object, or of an object that is the last element of the outermost array. Messages that are no
  failure are `"notes":["…"]` in front of it.
- A forwarded argument with a blank or a control character in it is refused: `INV_ARG`.

What each command line prints stands in `schema/`, one JSON Schema a report; `schema/README.md` tells how they are
made up.
"""

ENCODINGS = """\
## Texts and numbers

Texts that the daemons send in GBK are decoded as GBK. Every other text stays as it is when it is UTF-8 throughout and
is otherwise taken as GBK. A byte that begins no character becomes U+FFFD, by itself. These are GBK:
"""

PLAIN = """\
## Which plain output is JSON

Of runs of `vigil` that succeed; a run that fails prints its message as a line, which never is. Where a word is named,
it is the one that selects JSON: without it the report prints lines.
"""


def load(name):
    return json.loads((ROOT / "schema" / name).read_text())


def wrapped(text):
    """Lines of a list item, none of them broken inside a pair of backquotes."""
    pieces = text.split("`")
    pieces[1::2] = [piece.replace(" ", "\x1f") for piece in pieces[1::2]]
    lines = textwrap.wrap(
        "`".join(pieces), 118, subsequent_indent="  ", break_on_hyphens=False, break_long_words=False
    )
    return "\n".join(lines).replace("\x1f", " ")


def command_names(commands):
    """Modules once, with their verbs behind them."""
    modules = {}
    for command in commands:
        module, _, verb = command.partition(" ")
        modules.setdefault(module, []).append(verb)
    for module, verbs in modules.items():
        if len(verbs) == 1:
            yield f"`{' '.join(['vigil', module, *verbs]).strip()}`"
        else:
            yield f"`vigil {module}` ({', '.join(verbs)})"


class Page:
    def __init__(self):
        self.files = {path.name: load(path.name) for path in sorted((ROOT / "schema").glob("*.json"))}
        self.catalogue = self.files.pop("catalogue.json")

    def commands(self):
        """(command, what its schema and its entry say)"""
        for form in self.catalogue["forms"]:
            yield form["command"], {**self.files[form["schema"]], **form}
        for module in self.catalogue["modules"]:
            for verb in module["verbs"]:
                yield f"{module['module']} {verb['verb']}", {**self.files[verb["schema"]], **verb}

    def members_with(self, word, value):
        """The members of each report that have this word with this value: report → names, each once."""
        found = {}

        def walk(name, schema):
            if isinstance(schema, list):
                for inner in schema:
                    walk(name, inner)
            elif isinstance(schema, dict):
                for member, inner in schema.get("properties", {}).items():
                    if resolve(self.files, name, inner)[1].get(word) == value:
                        found.setdefault(name, {})[member] = None
                for inner in schema.values():
                    walk(name, inner)

        for name, schema in self.files.items():
            if name != "defs.json":
                walk(name, schema)
        return {name.removesuffix(".json").replace("-", " "): list(members) for name, members in found.items()}

    def member_list(self, word, value):
        for command, members in self.members_with(word, value).items():
            yield f"- `{command}`: " + ", ".join(f"`{member}`" for member in members)

    def encodings(self):
        yield ENCODINGS
        yield from self.member_list("x-encoding", "GBK")
        yield "\nNumbers in quotes, which the web layer has always had so:\n"
        yield from self.member_list("x-quoted-number", True)
        yield "\nNumbers of 64 bits, which a parser that reads numbers as doubles rounds above 9007199254740992:\n"
        yield from self.member_list("x-64-bit", True)

    def plain(self):
        yield PLAIN
        groups = {}
        for command, said in self.commands():
            plain = said["x-plain"]
            groups.setdefault(plain["valid"], {}).setdefault((plain["why"], plain.get("with", "")), []).append(
                command
            )
        for valid in ("always", "sometimes", "never"):
            yield f"### {valid.capitalize()}\n"
            for (why, word), commands in groups.get(valid, {}).items():
                names = ", ".join(command_names(commands))
                word = f" (`{word}`)" if word else ""
                yield wrapped(f"- {names}{word}: {why}.")
            yield ""

    def text(self):
        return "\n".join([HEAD, *self.encodings(), "", *self.plain()]).rstrip("\n") + "\n"


def main():
    text = Page().text()
    if sys.argv[1:] == ["--check"]:
        if PAGE.read_text() != text:
            print("docs/json.md is not what scripts/json_docs.py writes")
            return 1
    elif sys.argv[1:]:
        print(__doc__)
        return 2
    else:
        PAGE.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
