"""The command lines as schema/ describes them: what they take and what they print."""
import json
import pathlib

COUNTED = "The exit status is the number of records"  # how an entry says that its status is a record count


def resolve(files, name, schema):
    """(file, a schema with the words of what it refers to behind its own)"""
    while "$ref" in schema:
        target, pointer = schema["$ref"].split("#", 1)
        name, found = target or name, files[target or name]
        for step in pointer.strip("/").split("/"):
            found = found[step]
        schema = {**found, **{word: value for word, value in schema.items() if word != "$ref"}}
    return name, schema


class Command:
    """One command line. `said` is its entry in the catalogue over what its schema says."""

    def __init__(self, module, verb, daemon, said, schema):
        self.module, self.verb, self.daemon, self.said, self.schema = module, verb, daemon, said, schema

    def __str__(self):
        return f"{self.module} {self.verb}".strip()

    @property
    def title(self):
        return self.said["title"]

    @property
    def description(self):
        """What there is to say; of a schema that many share, only the entry's own words."""
        return self.said.get("description", "") if self.said["own"] else ""

    @property
    def arguments(self):
        return self.said.get("x-arguments", [])

    @property
    def columns(self):
        return self.said.get("x-columns", [])

    @property
    def forwards(self):
        return self.said.get("x-others") == "forwarded"

    @property
    def counts(self):
        return COUNTED in self.description

    @property
    def built(self):
        return self.schema != "not-supported.json"


class Schemas:
    SHARED = ("text.json", "nothing.json", "not-supported.json")

    def __init__(self, folder):
        self.files = {path.name: json.loads(path.read_text(encoding="utf-8"))
                      for path in sorted(pathlib.Path(folder).glob("*.json"))}
        catalogue = self.files["catalogue.json"]
        self.forms = [self._command(*form["command"].partition(" ")[::2], form) for form in catalogue["forms"]]
        self.modules = [(module, [self._command(module["module"], entry["verb"], entry, module["daemon"])
                                  for entry in module["verbs"]]) for module in catalogue["modules"]]

    def _command(self, module, verb, entry, daemon=None):
        said = {**self.files[entry["schema"]], **entry}
        said["own"] = entry["schema"] not in self.SHARED or "description" in entry
        return Command(module, verb, entry.get("daemon", daemon), said, entry["schema"])

    def commands(self):
        for _, commands in self.modules:
            yield from commands

    def resolved(self, name, schema):
        return resolve(self.files, name, schema)

    def members(self, name):
        """The document's members but notes and error: (path, schema), a path like "data[].src". Where a document has
        several shapes, (None, title) stands in front of each that has a title. What members share is walked once; a
        later one has its title under "see"."""
        return list(self._walk(name, self.files[name], "", set()))

    def _walk(self, name, schema, path, walked):
        shared = name, schema.get("$ref")
        name, schema = self.resolved(name, schema)
        if shared[1] and self._has_own_page(schema):
            if shared in walked:
                return
            walked.add(shared)
        yield from self._walk_shapes(name, schema, path, walked)
        if "items" in schema:
            if not path:
                lists = (self.resolved(name, schema["items"])[1], schema if schema is not self.files[name] else {})
                described = next((one for one in lists if "description" in one), None)
                if described:
                    yield "[]", described
            yield from self._walk(name, schema["items"], path + "[]", walked)
        for member, value in schema.get("properties", {}).items():
            found = self.resolved(name, value)[1]
            if member in ("notes", "error") or "description" not in found:
                continue
            inner = f"{path}.{member}" if path else member
            if self._has_own_page(found) and (name, value.get("$ref")) in walked:
                found = {**found, "see": found["title"]}
            yield inner, found
            yield from self._walk(name, value, inner, walked)

    def _walk_shapes(self, name, schema, path, walked):
        shapes = [shape for shape in schema.get("anyOf", []) if not shape.get("$ref", "").endswith(("/tail", "/error_document"))]
        for shape in shapes:
            title = self.resolved(name, shape)[1].get("title")
            rows = list(self._walk(name, shape, path, walked))
            if rows and title and len(shapes) > 1:
                yield None, title
            yield from rows

    @staticmethod
    def _has_own_page(schema):
        return "title" in schema and ("properties" in schema or "items" in schema)
