"""Every report, with the arguments that it is run with and what makes its records."""
import flow_reports as flow
import security_reports as security
import table_reports as tables
from appliance import Reply
from built import Report

LIST = ["page=1", "limit=1000"]
REPORTS = [
    Report("ipobj listflow", ["limit=1000"], flow.session_addresses("destination")),
    Report("ipobj listflow", ["limit=1000", "issrc=1"], flow.session_addresses("source")),
    Report("ipobj listflow", ["limit=2", "page=2"], flow.session_addresses("destination", (2, 4))),
    Report("ipobj listflow", ["dnssum=1"], flow.session_names),
    Report("ipobj listflow", ["portsum=1"], flow.session_ports),
    Report("ipobj listflow", ["sumloc=1"], flow.session_locations),
    Report("ipobj listbussflow", ["limit=1000", "lang=en"], flow.session_lines, flow.without_age),
    Report("ipobj listipa", [], flow.throughputs),
    Report("outconnect listflow", LIST, flow.flow_rows),
    Report("dnsflow listflow", LIST, flow.flow_rows),
    Report("outconnect caluflow", LIST, flow.flow_addresses("destination")),
    Report("outconnect caluflow", [*LIST, "issrc=1"], flow.flow_addresses("source")),
    Report("outconnect caluflow", [*LIST, "dnssum=1"], flow.flow_names),
    Report("outconnect caluflow", [*LIST, "sumloc=1"], flow.flow_locations),
    Report("outconnect caluflow", [*LIST, "appsum=1"], flow.flow_applications),
    Report("dnsflow caluflow", LIST, flow.dns_flows),
    Report("tcpreset list", [], flow.reset_lines),
    Report("tcpreset listip", [], flow.reset_addresses("destination")),
    Report("tcpreset listip", ["type=src"], flow.reset_addresses("source")),
    Report("tcpreset listdns", [], flow.reset_names),
    Report("obssyslog list", LIST, security.syslogs),
    Report("obssshlog list", LIST, security.ssh_logs),
    Report("obstlslog list", LIST, security.tls_logs),
    Report("obsnetbios list", LIST, security.netbios_logs),
    *(
        Report("malclog list", [f"{word}=1" for word in shown], security.malicious_events(*shown))
        for shown in [
            ["show_flowlog"],
            ["show_area"],
            ["show_dns"],
            ["show_srcip"],
            ["show_dstip"],
            ["show_level"],
            ["show_malc"],
            [],
            ["show_srcip", "show_dstip"],
            ["show_dstip", "show_level"],
            ["show_flowlog", "show_area", "show_dns", "show_srcip", "show_dstip", "show_level", "show_malc"],
        ]
    ),
    Report("malcip list", [], tables.addresses_as_lines(">I")),
    Report("nevt list", [], security.events),
    Report("nevtlog list", [], security.occurrences),
    Report("nevtlog list", ["showsum=1"], security.event_summary),
    Report("idssum list", LIST, security.signatures),
    Report("kesidslog list", LIST, security.alerts),
    Report("kesidslog listflow", LIST, security.ids_sessions),
    Report("assetsobj list", LIST, tables.assets, tables.with_decimals),
    Report("obstopogrp list", [], tables.groups),
    Report("hostinfo list", [], tables.hosts),
    Report("table get", [], tables.addresses_as_lines("<I")),
    Report("obsiptable get", [], tables.addresses_as_lines("<I")),
    *(Report(f"{module} get", ["tid=1"], tables.member_text) for module in ("table", "obsiptable")),
    Report("whiteip list", LIST, tables.white_flows),
    Report("whiteip get", LIST, tables.white_addresses),
    Report("tunwltable list", LIST, tables.exemptions),
    Report("dnstunwltable list", LIST, tables.exemptions),
    Report("chart dump", ["bridge=1"], tables.charts),
]


SMALLEST_SEGMENT = 65536


def script_of(built, most=3):
    """Replies that send the records in several batches."""
    if built.script:
        return built.script()
    records = built.records
    most = 1 if built.one_batch else max(most, -(-sum(map(len, records)) // SMALLEST_SEGMENT) + 1)
    size = -(-len(records) // most)
    batches = [records[at : at + size] for at in range(0, len(records), max(size, 1))] or [[]]
    left = list(batches)

    def script(request):
        batch = left.pop(0) if left else []
        return Reply(b"".join(batch), len(batch), length=0, last=not left)

    return script
