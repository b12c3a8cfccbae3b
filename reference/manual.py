#!/usr/bin/python3
"""Writes a manual page: the page as it stands, with what the schemas say in place of its marks.

    manual.py SCHEMAS PAGE.in PAGE

A mark is a line .\\" @what@: forms, modules, counted, schemas.
"""
import pathlib
import re
import sys
import textwrap

import commands

SENTENCE_END = re.compile(r'(?<=[.!?])\s+(?=[A-Z"(])')


def escaped(text):
    """Nothing in it is an escape; at the start of a line it may still be a request."""
    text = text.replace("\\", "\\e").replace("~", "\\(ti").replace("^", "\\(ha").replace("`", "\\(ga")
    return "".join(c if c.isascii() else f"\\[u{ord(c):04X}]" for c in text)


def argument(text):
    """For a macro line; \\& keeps short words from being taken for macros or punctuation."""
    text = escaped(text).replace('"', "\\(dq").replace("-", "\\-")
    if len(text) <= 3:
        text = "\\&" + text
    return f'"{text}"' if " " in text else text


def sentences(text):
    """Text lines, each sentence on its own, as the language wants them."""
    for sentence in SENTENCE_END.split(text.strip()):
        for line in textwrap.wrap(escaped(sentence), 78, break_long_words=False, break_on_hyphens=False):
            yield re.sub(r"^(?=[.'])", r"\\&", line)


def as_sentence(text):
    text = text.strip()
    text = text[:1].upper() + text[1:] if not re.match(r"\S*[=:_]|\S+,\S", text) else text
    return text if text.endswith((".", "!", "?")) else text + "."


def values_of(argument_):
    """(the placeholder, what else there is to say of the values)"""
    values = argument_.get("values", {})
    if "enum" in values:
        return "word", "One of " + ", ".join(str(value) for value in values["enum"]) + "."
    if values.get("type") == "integer":
        low, high = values.get("minimum"), values.get("maximum")
        if low is not None and high is not None:
            return "number", f"{low} to {high}."
        return "number", f"At least {low}." if low else ""
    said = values.get("description", "")
    if "maxLength" in values:
        said = (said + ", " if said else "") + f"at most {values['maxLength']} bytes"
    return "text", as_sentence(said) if said else ""


def argument_head(one):
    name, form = one["name"], one.get("form", "key")
    placeholder, _ = values_of(one)
    if form == "position":
        return f"Ar {argument(name)}"
    if form == "word":
        return f"Cm {argument(name)}"
    if form == "option":
        return f"Cm {argument(name)} Ar {placeholder}"
    return f"Cm {argument(name)} Ns Ar {placeholder}"


def argument_lines(one):
    yield f".It {argument_head(one)}"
    yield from sentences(as_sentence(one["description"]))
    if one.get("form") != "word":
        said = values_of(one)[1]
        if said != as_sentence(one["description"]):
            yield from sentences(said)
    if one.get("required"):
        yield "Required."
    elif one.get("default") is not None:
        yield f"The default is {escaped(str(one['default']))}."
    if one.get("repeatable"):
        yield "May be typed several times."
    if one.get("sent"):
        yield from sentences(f"The daemon gets it as {one['sent']} instead.")


def member_lines(path, schema):
    yield f".It Va {argument(path)}"
    said = as_sentence(schema["description"])
    unit = schema.get("x-unit")
    if unit:
        said += f" Unit: {unit}."
    if "enum" in schema and not all(str(value) in said for value in schema["enum"]):
        said += " One of " + ", ".join(str(value) for value in schema["enum"]) + "."
    if schema.get("x-quoted-number"):
        said += " A number in quotes."
    if schema.get("x-64-bit"):
        said += " A number of 64 bits."
    if "see" in schema:
        said += f" Its members are those of: {schema['see']}."
    yield from sentences(said)


def listing(heading, rows, width="Ds"):
    rows = list(rows)
    if rows:
        yield from [".Pp", heading, f".Bl -tag -width {width} -compact", *rows, ".El"]


def members(schemas, command):
    heading, shown = "Members:", []
    for path, schema in schemas.members(command.schema):
        if path is not None:
            shown += member_lines(path, schema)
        elif shown and heading == "Members:":
            shown.append(f".It Em {argument(schema)}")  # of the list's elements
        else:
            yield from listing(heading, shown)
            heading, shown = f"Members, {lowered(schema)}:", []
    yield from listing(heading, shown)


def lowered(text):
    return text[:1].lower() + text[1:]


def columns(command):
    rows = []
    for column in command.columns:
        rows.append(f".It Va {argument(column['name'])}")
        unit = f" Unit: {column['x-unit']}." if "x-unit" in column else ""
        rows += sentences(as_sentence(column["description"]) + unit)
    yield from listing("Columns of a line:", rows)


def entry(schemas, command, name):
    yield f".It {name}"
    yield from sentences(as_sentence(command.title))
    if not command.built:
        yield "Not built: refused with NOT_SUPPORTED."
        return
    yield from sentences(command.description)
    plain = command.said.get("x-plain", {})
    if plain.get("with"):
        yield f"Prints JSON with {escaped(plain['with'])}."
    if command.forwards:
        yield "Other arguments go to the daemon."
    yield from listing("Arguments:", [line for one in command.arguments for line in argument_lines(one)])
    yield from columns(command)
    if command.schema not in schemas.SHARED and not (command.columns and len(schemas.members(command.schema)) == 1):
        yield from members(schemas, command)


def forms(schemas):
    yield ".Bl -tag -width Ds"
    for form in schemas.forms:
        if form.module.startswith("-"):  # an option of vigil-json's own
            continue
        words = [word for word in str(form).split()]
        name = " ".join(f"Ar {word.lower()}" if word.isupper() else f"Cm {argument(word)}" for word in words)
        for one in form.arguments:
            if one.get("form") == "position" and one["name"] not in words:
                name += f" Ar {argument(one['name'])}"
        yield from entry(schemas, form, f"Nm {name}".strip())
        if "verbs" in form.said:
            yield from sentences("The verbs: " + ", ".join(form.said["verbs"]) + ".")
    yield ".El"


def modules(schemas):
    for module, verbs in schemas.modules:
        yield f".Ss {argument(module['module'])}"
        yield from sentences(f"{module['description']} Asks the {module['daemon']} daemon.")
        yield ".Bl -tag -width Ds"
        for command in verbs:
            yield from entry(schemas, command, f"Cm {argument(command.module)} Cm {argument(command.verb)}")
        yield ".El"


def counted(schemas):
    found = [command for command in schemas.commands() if command.counts]
    if not found:
        raise SystemExit("manual.py: no verb says that its exit status is a record count")
    for command in found[:-1]:
        yield f".Cm {argument(str(command))} ,"
    yield f".Cm {argument(str(found[-1]))} ."


def schema_files(schemas):
    yield ".Bl -tag -width Ds -compact"
    for name, schema in schemas.files.items():
        yield f".It Pa {argument(name)}"
        yield from sentences(as_sentence(schema["title"]))
    yield ".El"


MARKS = {"forms": forms, "modules": modules, "counted": counted, "schemas": schema_files}


def main():
    folder, source, target = sys.argv[1:]
    schemas = commands.Schemas(folder)
    lines = []
    for line in pathlib.Path(source).read_text(encoding="utf-8").splitlines():
        mark = re.fullmatch(r'\.\\" @(\w+)@', line)
        lines += MARKS[mark[1]](schemas) if mark else [line]
    pathlib.Path(target).write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
