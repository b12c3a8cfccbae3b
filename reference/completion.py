#!/usr/bin/python3
"""Writes a shell's completion: its program as it stands, with the tables that the schemas give in place of its mark.

    completion.py SCHEMAS PROGRAM.in PROGRAM

The mark is a line # @tables@; the program's name tells the shell.
"""
import pathlib
import sys

import commands


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def merged_modules(schemas):
    """Module → (what it is, verb → title), with the forms that begin with a word of their own. Two daemons may have
    a module of one name."""
    found = {}
    for module, verbs in schemas.modules:
        _, known = found.setdefault(module["module"], (module["description"], {}))
        for command in verbs:
            known.setdefault(command.verb, command.title)
    for form in schemas.forms:
        if form.module.isalpha() and form.module.islower():
            _, known = found.setdefault(form.module, (form.title[:1].upper() + form.title[1:], {}))
            if form.verb:
                known[form.verb] = form.title
    return found


def typed_arguments(schemas):
    """(module, verb) → its arguments that have a name to type"""
    found = {}
    for command in [*schemas.commands(), *schemas.forms]:
        named = [one for one in command.arguments if one.get("form") != "position"]
        if named:
            found.setdefault((command.module, command.verb), named)
    return found


def values_of(one):
    """What may stand behind the name, as far as it can be listed; @files are the names of files."""
    values = one.get("values", {})
    return ["@files"] if values.get("description") == "path" else [str(value) for value in values.get("enum", [])]


def bash_tables(schemas):
    modules = merged_modules(schemas)
    yield f"_vigil_modules={quoted(' '.join(modules))}"
    yield "declare -gA _vigil_verbs=("
    for module, (_, verbs) in modules.items():
        yield f"    [{module}]={quoted(' '.join(verbs))}"
    yield ")"
    yield "declare -gA _vigil_arguments=("
    for (module, verb), arguments in typed_arguments(schemas).items():
        yield f"    [{module} {verb}]={quoted(' '.join(one['name'] for one in arguments))}"
    yield ")"
    yield "declare -gA _vigil_values=("
    for (module, verb), arguments in typed_arguments(schemas).items():
        for one in arguments:
            if values_of(one):
                yield f"    [{module} {verb} {one['name']}]={quoted(' '.join(values_of(one)))}"
    yield ")"


def described(name, text):
    return quoted(name.replace(":", "\\:") + ":" + text)


def zsh_tables(schemas):
    modules = merged_modules(schemas)
    yield "modules=("
    for module, (description, _) in modules.items():
        yield f"    {described(module, description)}"
    yield ")"
    yield "case $words[2] in"
    for module, (_, verbs) in modules.items():
        yield f"{module})"
        yield f"    verbs=({' '.join(described(verb, title) for verb, title in verbs.items())})"
        yield "    ;;"
    yield "esac"
    yield "case \"$words[2] $words[3]\" in"
    for (module, verb), arguments in typed_arguments(schemas).items():
        yield f"{quoted(module + ' ' + verb)})"
        for one in arguments:
            array = "keys" if one["name"].endswith("=") else "whole"
            yield f"    {array}+=({described(one['name'], one['description'])})"
            if values_of(one):
                yield f"    values[{one['name']}]={quoted(' '.join(values_of(one)))}"
        yield "    ;;"
    yield "esac"


def main():
    folder, source, target = sys.argv[1:]
    tables = bash_tables if "bash" in pathlib.Path(source).name else zsh_tables
    lines = []
    for line in pathlib.Path(source).read_text(encoding="utf-8").splitlines():
        margin = line[:len(line) - len(line.lstrip())]
        lines += [margin + row for row in tables(commands.Schemas(folder))] if line.strip() == "# @tables@" else [line]
    pathlib.Path(target).write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
