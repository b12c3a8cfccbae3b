"""The schemas: which a verb has, whether a document keeps it, and which of its members were ever seen."""
import json
import pathlib

import jsonschema

from strict import Fault

PROMISES = ("notes", "error")  # members that may never appear
ALWAYS, SOMETIMES, NEVER = "always", "sometimes", "never"

# How the words of our own look, beside what JSON Schema says itself.
_TEXT = {"type": "string", "minLength": 1}
_ARGUMENT = {
    "type": "object",
    "properties": {
        "name": _TEXT,
        "form": {"enum": ["word", "option", "position"]},
        "values": {"type": "object"},
        "default": {"type": ["string", "integer", "null"]},
        "required": {"const": True},
        "repeatable": {"const": True},
        "forwarded": {"type": "boolean"},
        "sent": _TEXT,
        "selects": {"enum": ["json", "report"]},
        "description": _TEXT,
    },
    "required": ["name", "default", "forwarded", "description"],
    "additionalProperties": False,
    "if": {"properties": {"form": {"const": "word"}}, "required": ["form"]},
    "else": {"required": ["values"]},
}
_COLUMN = {
    "type": "object",
    "properties": {"name": _TEXT, "description": _TEXT, "x-unit": _TEXT},
    "required": ["name", "description"],
    "additionalProperties": False,
}
_SAID = {
    "title": {"type": "string", "pattern": "^[^\n.]{5,90}$"},
    "description": _TEXT,
    "x-arguments": {"type": "array", "items": _ARGUMENT},
    "x-others": {"enum": ["forwarded", "ignored"]},
    "x-columns": {"type": "array", "items": _COLUMN, "minItems": 1},
    "x-plain": {
        "type": "object",
        "properties": {"with": _TEXT, "valid": {"enum": [ALWAYS, SOMETIMES, NEVER]}, "why": _TEXT},
        "required": ["valid", "why"],
        "additionalProperties": False,
    },
}
_ENTRY = {"type": "object", "properties": _SAID, "required": ["title", "x-arguments", "x-others", "x-plain"]}


class Entry:
    """A verb as the catalogue and its schema describe it together."""

    def __init__(self, command, daemon, said):
        self.command, self.daemon, self.said = command, daemon, said
        self.schema = said["schema"]
        self.plain = said["x-plain"]
        self.json_word = next((a["name"] for a in said["x-arguments"] if a.get("selects") == "json"), None)


class Schemas:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.files = {path.name: json.loads(path.read_text()) for path in sorted(self.folder.glob("*.json"))}
        self.catalogue = self.files.pop("catalogue.json")
        self.entries = {}
        for entry in self._entries():
            if entry.command in self.entries:
                raise Fault(f"{entry.command} stands twice in the catalogue")
            self.entries[entry.command] = entry
        store = {(self.folder / name).as_uri(): schema for name, schema in self.files.items()}
        self.validators = {}
        for name, schema in self.files.items():
            jsonschema.Draft202012Validator.check_schema(schema)
            resolver = jsonschema.RefResolver((self.folder / name).as_uri(), schema, store=store)
            self.validators[name] = jsonschema.Draft202012Validator(schema, resolver=resolver)
        self.seen = set()  # members of schemas that a document had: file and place
        self.texts = []  # of the document that was checked last: encoding and text

    def _entries(self):
        for form in self.catalogue["forms"]:
            for verb in form.get("verbs", [""]):
                command = form["command"].replace("VERB", verb) if verb else form["command"]
                yield self._entry(command, form.get("daemon", ""), form)
        for module in self.catalogue["modules"]:
            for verb in module["verbs"]:
                yield self._entry(f"{module['module']} {verb['verb']}", module["daemon"], verb)

    def _entry(self, command, daemon, said):
        schema = self.files.get(said["schema"])
        if schema is None:
            raise Fault(f"{command}: no {said['schema']}")
        merged = {**{word: schema[word] for word in _SAID if word in schema}, **said}
        try:
            jsonschema.Draft202012Validator(_ENTRY).validate(merged)
        except jsonschema.ValidationError as fault:
            raise Fault(f"{command}: {fault.message} in {list(fault.path)}") from None
        return Entry(command, daemon, merged)

    # ---- Walking a schema

    def _resolve(self, name, schema):
        """The schema behind a reference, with the file that it stands in and its place there."""
        target, pointer = schema["$ref"].split("#", 1)
        name = target or name
        found = self.files[name]
        for step in pointer.strip("/").split("/"):
            found = found[step]
        return name, pointer, found

    def _keeps(self, name, schema, value):
        return self.validators[name].evolve(schema=schema).is_valid(value)

    def check(self, name, document):
        """Raises when the document does not keep the schema; marks the members that it has."""
        faults = sorted(self.validators[name].iter_errors(document), key=lambda fault: len(fault.path))
        if faults:
            best = jsonschema.exceptions.best_match(faults)
            raise Fault(f"{name}: {best.message[:300]} at /{'/'.join(map(str, best.absolute_path))}")
        self.texts = []
        self._mark(name, "", self.files[name], document)

    def _mark(self, name, place, schema, value):
        if "x-encoding" in schema and isinstance(value, str):
            self.texts.append((schema["x-encoding"], value))
        if "$ref" in schema:
            target, pointer, found = self._resolve(name, schema)
            self._mark(target, pointer, found, value)
        self._mark_alternatives(name, place, schema.get("anyOf", ()), value)
        if isinstance(value, dict) and "properties" in schema:
            known = list(schema["properties"])
            if [member for member in known if member in value] != [member for member in value if member in known]:
                raise Fault(f"{name}{place}: members in another order: {list(value)}")
            for member, inner in value.items():
                if member in schema["properties"]:
                    inside = f"{place}/properties/{member}"
                    self.seen.add((name, inside))
                    self._mark(name, inside, schema["properties"][member], inner)
        if isinstance(value, list) and "items" in schema:
            for inner in value:
                self._mark(name, f"{place}/items", schema["items"], inner)

    def _mark_alternatives(self, name, place, branches, value):
        """An empty list is like several: one with the members in their order is enough."""
        kept = [(at, branch) for at, branch in enumerate(branches) if self._keeps(name, branch, value)]
        faults = []
        for at, branch in kept:
            try:
                self._mark(name, f"{place}/anyOf/{at}", branch, value)
            except Fault as fault:
                faults.append(fault)
        if faults and len(faults) == len(kept):
            raise faults[0]

    def members(self):
        """Every member of every schema: (file, place, its schema)."""
        for name, schema in self.files.items():
            yield from self._members(name, "", schema)

    def _members(self, name, place, schema):
        if not isinstance(schema, dict):
            return
        for member, inner in schema.get("properties", {}).items():
            inside = f"{place}/properties/{member}"
            if any(word in inner for word in ("$ref", "type", "anyOf", "enum", "const")):
                yield name, inside, inner  # the others are what an alternative asks of a member
            yield from self._members(name, inside, inner)
        for member, inner in schema.get("$defs", {}).items():
            yield from self._members(name, f"{place}/$defs/{member}", inner)
        for at, inner in enumerate(schema.get("anyOf", ())):
            yield from self._members(name, f"{place}/anyOf/{at}", inner)
        yield from self._members(name, f"{place}/items", schema.get("items"))

    def _flat(self, name, schema):
        """A member's schema with what its references add, its own words first."""
        merged = dict(schema)
        while "$ref" in merged:
            name, _, found = self._resolve(name, merged)
            del merged["$ref"]
            merged = {**found, **merged}
        return merged

    # ---- What a reader may expect of them

    def faults_of_form(self):
        """What is missing in the schemas themselves."""
        for name, schema in self.files.items():
            yield from self._open_objects(name, "", schema)
            for word in ("title", "description", "$schema"):
                if word not in schema:
                    yield f"{name}: no {word}"
        for name, place, schema in self.members():
            if place.rsplit("/", 1)[1] in PROMISES:
                continue
            flat = self._flat(name, schema)
            if "description" not in schema and not str(schema.get("$ref", "")).startswith("#"):
                yield f"{name}{place}: no description of what the member means here"
            number = (
                flat.get("type") in ("integer", "number")
                or flat.get("x-quoted-number")
                or ("enum" in flat and all(isinstance(value, int) for value in flat["enum"]))
            )
            if number and "x-unit" not in flat:
                yield f"{name}{place}: no unit"
            if flat.get("maximum", 0) > 2**53 and not flat.get("x-64-bit"):
                yield f"{name}{place}: a 64-bit number that is not called one"
        used = {entry.schema for entry in self.entries.values()} | {"defs.json"}
        for name in self.files:
            if name not in used:
                yield f"{name}: no verb has this schema"
        report = {name for name in used if "-" in name and name != "not-supported.json"}
        for entry in self.entries.values():
            if entry.schema in report and entry.schema != entry.command.replace(" ", "-") + ".json":
                yield f"{entry.command}: {entry.schema} is named after another verb"

    def _open_objects(self, name, place, schema):
        if isinstance(schema, dict):
            if (
                schema.get("type") == "object"
                and schema.get("additionalProperties") is not False
                and not schema.get("x-open")
            ):
                yield f"{name}{place}: an object that takes any member"
            for word, inner in schema.items():
                if not word.startswith("x-"):
                    yield from self._open_objects(name, f"{place}/{word}", inner)
        elif isinstance(schema, list):
            for at, inner in enumerate(schema):
                yield from self._open_objects(name, f"{place}/{at}", inner)

    def never_seen(self):
        for name, place, _ in self.members():
            if (name, place) not in self.seen and place.rsplit("/", 1)[1] not in PROMISES:
                yield f"{name}{place}: no document had it"
