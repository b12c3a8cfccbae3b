"""What the catalogue says of arguments: which reach the daemon, and what is in force when none is typed."""
import json

from appliance import Reply
from content import BENIGN
from reports import REPORTS, script_of
from runs import shown
from texts import Texts

UNKNOWN = "zz=7"


def value_of(argument):
    values = argument.get("values", {})
    if "enum" in values:
        return values["enum"][0]
    if "pattern" in values:
        return "7-77"
    return "192.0.2.77" if "IPv4" in values.get("description", "") or argument["name"] == "ip=" else "77"


def typed(argument):
    """The words that are typed, and what of them a daemon would get."""
    name, value, form = argument["name"], value_of(argument), argument.get("form")
    sent = argument.get("sent", "" if form == "position" else name)
    words = {"position": [value], "word": [name], "option": [name, value]}.get(form, [name + value])
    return words, sent if form == "word" else sent + value


def check_forwarding(check):
    """Everything that is known is typed at once, and a word that nobody knows. The plain program, which takes all."""
    for entry in check.schemas.entries.values():
        arguments = entry.said["x-arguments"]
        if entry.command.startswith("obspcap"):
            continue  # makes files of what is typed, and asks no daemon
        command = entry.command.replace("MODULE", "nosuchmodule").split()
        exactly_known = arguments and all(argument.get("required") for argument in arguments)
        words = [word for argument in arguments for word in typed(argument)[0]]
        words += [] if exactly_known else [UNKNOWN]
        _, _, requests = check.appliance.run(check.plain, [*command, *words], lambda request: Reply())
        if not entry.daemon or not requests:
            continue
        sent = {word for request in requests for word in (request.text + b" " + request.module).decode().split()}
        sent |= {word.split("=", 1)[-1] for word in sent}  # a position is sent behind a key
        for argument in arguments:
            if (typed(argument)[1] in sent) != argument["forwarded"]:
                check.fault(
                    shown([*command, *words]), f"{argument['name']}: {argument['forwarded']=}, sent {sorted(sent)}"
                )
        if not exactly_known and (UNKNOWN in sent) != (entry.said["x-others"] == "forwarded"):
            check.fault(shown([*command, *words]), f"others are {entry.said['x-others']}, sent {sorted(sent)}")


def check_defaults(check):
    """A default that is typed changes nothing."""
    for report in REPORTS:
        entry = check.schemas.entries[report.command]
        built = report.build(Texts(BENIGN, hostile=False), 130)  # more than any page has
        for argument in entry.said["x-arguments"]:
            name, default = argument["name"], argument["default"]
            if default is None or argument.get("selects") == "json":
                continue
            words = [word for word in report.words if not word.startswith(name)]
            command = [check.json, [*entry.command.split(), *words]]
            without, _, _ = check.appliance.run(*command, script_of(built))
            command[1].append(f"{name}{default}")
            with_it, _, _ = check.appliance.run(*command, script_of(built))
            if without != with_it and report.same(json.loads(without)) != report.same(json.loads(with_it)):
                check.fault(
                    f"{report} {name}{default}",
                    f"changes the document:\n    {without[-200:]!r}\n    {with_it[-200:]!r}",
                )
