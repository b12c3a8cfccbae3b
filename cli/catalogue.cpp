#include "cli/catalogue.h"

#include "cli/forward_rows.h"
#include "cli/not_supported.h"
#include "reports/assets/assets.h"
#include "reports/capture/capture.h"
#include "reports/charts/charts.h"
#include "reports/flow/flow.h"
#include "reports/security/security.h"
#include "reports/tables/tables.h"

#include <cstring>

// clang-format off
// A command code of 612 or less: sent without a module name.
static constexpr uint64_t raw(uint64_t code) { return code; }

static VerbEntry module_verbs[] = {
    {"list",        raw(387),                           8},
    {"stat",        raw(388),                          32},
    {nullptr, raw(0), 0},
};

static VerbEntry obslog_verbs[] = {
    {"stat",        forward<row::obslog_stat>,         32},
    {"get",         forward<row::obslog_get>,          32},
    {nullptr, raw(0), 0},
};

static VerbEntry obsquery_verbs[] = {
    {"stat",        forward<row::obsquery_stat>,       32},
    {nullptr, raw(0), 0},
};

static VerbEntry worker_verbs[] = {
    {"stat",        forward<row::worker_stat>,       2048},
    {"list",        forward<row::worker_list>,       8192},
    {"add",         forward<row::worker_add>,        4096},
    {nullptr, raw(0), 0},
};

static VerbEntry disk_verbs[] = {
    {"stat",        forward<row::disk_stat>,         2048},
    {nullptr, raw(0), 0},
};

static VerbEntry assetsgroup2_verbs[] = {
    {"add",         verb::add,                          8},
    {"list",        verb::list,                      2048},
    {"set",         verb::set,                          8},
    {"stat",        verb::stat,                         8},
    {"remove",      verb::remove,                     256},
    {nullptr, raw(0), 0},
};

static VerbEntry assetsobj2_verbs[] = {
    {"add",         verb::add,                          8},
    {"set",         verb::set,                          8},
    {"stat",        verb::stat,                         8},
    {"remove",      verb::remove,                     256},
    {nullptr, raw(0), 0},
};

static VerbEntry table_verbs[] = {
    {"get",         table_get,                       2048},
    {"addip",       table_addip,                        4},
    {"rmvip",       table_rmvip,                        4},
    {"clear",       table_clear,                        4},
    {"getcmp",      table_getcmp,                    2048},
    {"loadfile",    raw(249),                           4},
    {nullptr, raw(0), 0},
};

static VerbEntry obssegdelay_verbs[] = {
    {"stat",        forward<row::obssegdelay_stat>,  1024},
    {"set",         verb::set,                       1024},
    {nullptr, raw(0), 0},
};

static VerbEntry tundata_verbs[] = {
    {"list",        not_supported,                   1024},
    {nullptr, raw(0), 0},
};

static VerbEntry certdata_verbs[] = {
    {"list",        not_supported,                   1024},
    {nullptr, raw(0), 0},
};

static VerbEntry condtunnel_verbs[] = {
    {"list",        not_supported,                   1024},
    {"stat",        forward<row::condtunnel_stat>,      8},
    {nullptr, raw(0), 0},
};

static VerbEntry applevel_verbs[] = {
    {"list",        forward<row::applevel_list>,     1024},
    {nullptr, raw(0), 0},
};

static VerbEntry tunwltable_verbs[] = {
    {"list",        tunwltable_list,                 1024},
    {"remove",      forward<row::tunwltable_remove>,    8},
    {nullptr, raw(0), 0},
};

// The verbs of obsreasslog have no end of their own: they run on into those of obsreasspkt, so that obsreasslog
// answers set, get, add, disable and debug as well. Kept so; the rows must stay adjacent.
static VerbEntry reassembly_verbs[] = {
    {"list",        not_supported,                   1024},
    {"remove",      forward<row::obsreasslog_remove>,   4},
    {"config",      forward<row::obsreasslog_config>,   4},
    {"stat",        verb::stat,                         4},
    // obsreasspkt starts here
    {"stat",        verb::stat,                         8},
    {"set",         forward<row::obsreasspkt_set>,      8},
    {"get",         forward<row::obsreasspkt_get>,      8},
    {"add",         forward<row::obsreasspkt_add>,      8},
    {"remove",      forward<row::obsreasspkt_remove>,   8},
    {"list",        not_supported,                   1024},
    {"disable",     forward<row::obsreasspkt_disable>,  8},
    {"debug",       forward<row::obsreasspkt_debug>,    8},
    {nullptr, raw(0), 0},
};
static constexpr int obsreasspkt_start = 4;

static VerbEntry netev_chart_verbs[] = {
    {"stat",        forward<row::netev_chart_stat>,     8},
    {"list",        forward<row::netev_chart_list>,   128},
    {nullptr, raw(0), 0},
};

static VerbEntry nevtlog_verbs[] = {
    {"list",        nevtlog_list,                     256},
    {"config",      forward<row::nevtlog_config>,       8},
    {"remove",      forward<row::nevtlog_remove>,       8},
    {nullptr, raw(0), 0},
};

static VerbEntry malcip_verbs[] = {
    {"list",        malcip_list,                      256},
    {nullptr, raw(0), 0},
};

static VerbEntry nevt_verbs[] = {
    {"list",        nevt_list,                        256},
    {nullptr, raw(0), 0},
};

static VerbEntry hostinfo_verbs[] = {
    {"list",        hostinfo_list,                   2048},
    {"stat",        forward<row::hostinfo_stat>,        4},
    {"config",      forward<row::hostinfo_config>,      4},
    {nullptr, raw(0), 0},
};

static VerbEntry obstopogrp_verbs[] = {
    {"stat",        forward<row::obstopogrp_stat>,      8},
    {"list",        cli_obstopogrp_list,                8},
    {"add",         forward<row::obstopogrp_add>,       8},
    {"remove",      forward<row::obstopogrp_remove>,    8},
    {"config",      forward<row::obstopogrp_config>,    8},
    {nullptr, raw(0), 0},
};

static VerbEntry obspcap_verbs[] = {
    {"init",        obspcap_init,                       0},
    {"save",        obspcap_save,                       0},
    {nullptr, raw(0), 0},
};

static VerbEntry obslog_management_verbs[] = {
    {"tcpstat",     not_supported,                   2048},
    {"appstat",     not_supported,                   2048},
    {"dnsstat",     not_supported,                   2048},
    {"httpstat",    not_supported,                   2048},
    {"httpsstat",   not_supported,                   2048},
    {"dummydns",    not_supported,                   2048},
    {"dummyhttp",   not_supported,                   2048},
    {"list",        not_supported,                   2048},
    {nullptr, raw(0), 0},
};

static VerbEntry mempcap_verbs[] = {
    {"dump",        mempcap_dump,                      64},
    {"stat",        forward<row::mempcap_stat>,        64},
    {"list",        forward<row::mempcap_list>,        64},
    {"add",         forward<row::mempcap_add>,         64},
    {"remove",      forward<row::mempcap_remove>,      64},
    {"set",         forward<row::mempcap_set>,         64},
    {"config",      forward<row::mempcap_config>,      64},
    {"get",         forward<row::mempcap_get>,         64},
    {nullptr, raw(0), 0},
};

static VerbEntry assetsgroup_verbs[] = {
    {"add",         verb::add,                          8},
    {"list",        verb::list,                      2048},
    {"set",         verb::set,                          8},
    {"stat",        verb::stat,                         8},
    {"remove",      verb::remove,                     256},
    {nullptr, raw(0), 0},
};

static VerbEntry assetsobj_verbs[] = {
    {"add",         verb::add,                          8},
    {"list",        assetsobj_list,                  2048},
    {"showgroup",   not_supported,                   2048},
    {"set",         verb::set,                          8},
    {"get",         verb::get,                         16},
    {"stat",        verb::stat,                         8},
    {"remove",      verb::remove,                     256},
    {"ipsort",      not_supported,                   2048},
    {"listflow",    not_supported,                   2048},
    {"load",        verb::load,                      2048},
    {nullptr, raw(0), 0},
};

static VerbEntry assetsflow_verbs[] = {
    {"get",         not_supported,                   2048},
    {nullptr, raw(0), 0},
};

static VerbEntry tcpreset_verbs[] = {
    {"listip",      tcpreset_listip,                 2048},
    {"listdns",     tcpreset_listdns,                2048},
    {"list",        tcpreset_list,                   2048},
    {nullptr, raw(0), 0},
};

static VerbEntry emaillog_verbs[] = {
    {"list",        not_supported,                   2048},
    {nullptr, raw(0), 0},
};

static VerbEntry ftplog_verbs[] = {
    {"list",        not_supported,                   2048},
    {nullptr, raw(0), 0},
};

static VerbEntry telnetlog_verbs[] = {
    {"list",        not_supported,                   2048},
    {nullptr, raw(0), 0},
};

static VerbEntry malclog_verbs[] = {
    {"list",        malclog_list,                    2048},
    {nullptr, raw(0), 0},
};

static VerbEntry qtde_verbs[] = {
    {"config",      forward<row::qtde_config>,          8},
    {"stat",        forward<row::qtde_stat>,            8},
    {nullptr, raw(0), 0},
};

static VerbEntry obsiptable_verbs[] = {
    {"get",         obsiptable_get,                  2048},
    {"addip",       forward<row::obsiptable_addip>,     4},
    {"remove",      forward<row::obsiptable_remove>,    4},
    {"clear",       forward<row::obsiptable_clear>,     4},
    {"getcmp",      forward<row::obsiptable_getcmp>, 2048},
    {"loadfile",    verb::load,                         4},
    {nullptr, raw(0), 0},
};

static VerbEntry obstable_verbs[] = {
    {"add",         verb::add,                          8},
    {"list",        verb::list,                      2048},
    {"set",         verb::set,                          8},
    {"stat",        verb::stat,                         8},
    {"remove",      verb::remove,                     256},
    {"get",         verb::get,                       2048},
    {nullptr, raw(0), 0},
};

static VerbEntry obsdnsgrp_verbs[] = {
    {"add",         verb::add,                          8},
    {"list",        verb::list,                      2048},
    {"set",         verb::set,                          8},
    {"stat",        verb::stat,                         8},
    {"remove",      verb::remove,                     256},
    {"get",         verb::get,                       2048},
    {"dumpgrp",     obsdnsgrp_dumpgrp,               2048},
    {"loadfile",    verb::load,                      2048},
    {"load",        verb::load,                      2048},
    {nullptr, raw(0), 0},
};

static VerbEntry whiteip_verbs[] = {
    {"list",        whiteip_list,                     256},
    {"stat",        forward<row::whiteip_stat>,         4},
    {"get",         whiteip_get,                        8},
    {"config",      whiteip_config,                     8},
    {nullptr, raw(0), 0},
};

static VerbEntry ipobj_verbs[] = {
    {"listflow",    ipobj_listflow,                  1024},
    {"listipa",     ipobj_listipa,                   2048},
    {"listbussflow", ipobj_listbussflow,              1024},
    {nullptr, raw(0), 0},
};

static VerbEntry outconnect_verbs[] = {
    {"caluflow",    outconnect_caluflow,             1024},
    {"listflow",    outconnect_listflow,             2048},
    {nullptr, raw(0), 0},
};

static VerbEntry dnsflow_verbs[] = {
    {"caluflow",    dnsflow_caluflow,                1024},
    {"listflow",    dnsflow_listflow,                2048},
    {nullptr, raw(0), 0},
};

static VerbEntry dnstuncheck_verbs[] = {
    {"list",        not_supported,                   1024},
    {"stat",        forward<row::dnstuncheck_stat>,     8},
    {"iplist",      not_supported,                     32},
    {nullptr, raw(0), 0},
};

static VerbEntry dnstunwltable_verbs[] = {
    {"list",        dnstunwltable_list,              1024},
    {"remove",      forward<row::dnstunwltable_remove>, 8},
    {nullptr, raw(0), 0},
};

static VerbEntry mysqlrd_verbs[] = {
    {"list",        forward<row::mysqlrd_list>,         8},
    {"listflow",    not_supported,                   2048},
    {"stat",        forward<row::mysqlrd_stat>,        32},
    {"config",      verb::config,                       8},
    {nullptr, raw(0), 0},
};

static VerbEntry kesidslog_verbs[] = {
    {"list",        kesidslog_list,                    32},
    {"listflow",    kesidslog_listflow,                32},
    {nullptr, raw(0), 0},
};

static VerbEntry idssum_verbs[] = {
    {"list",        idssum_list,                       32},
    {"stat",        forward<row::idssum_stat>,          8},
    {"remove",      forward<row::idssum_remove>,        8},
    {"config",      forward<row::idssum_config>,        8},
    {nullptr, raw(0), 0},
};

static VerbEntry obsnetbrch_verbs[] = {
    {"list",        forward<row::obsnetbrch_list>,      8},
    {"stat",        forward<row::obsnetbrch_stat>,      8},
    {"add",         forward<row::obsnetbrch_add>,       8},
    {"remove",      forward<row::obsnetbrch_remove>,    8},
    {"config",      forward<row::obsnetbrch_config>,    8},
    {nullptr, raw(0), 0},
};

static VerbEntry netev_session_verbs[] = {
    {"list",        not_supported,                     32},
    {"stat",        forward<row::netev_session_stat>,   4},
    {nullptr, raw(0), 0},
};

static VerbEntry obstopo_verbs[] = {
    {"add",         forward<row::obstopo_add>,          8},
    {"list",        forward<row::obstopo_list>,        32},
    {"stat",        forward<row::obstopo_stat>,         4},
    {"config",      forward<row::obstopo_config>,       4},
    {"remove",      forward<row::obstopo_remove>,       4},
    {nullptr, raw(0), 0},
};

static VerbEntry obstplink_verbs[] = {
    {"add",         forward<row::obstplink_add>,        8},
    {"list",        forward<row::obstplink_list>,      32},
    {"stat",        forward<row::obstplink_stat>,       4},
    {"config",      forward<row::obstplink_config>,     4},
    {"remove",      forward<row::obstplink_remove>,     4},
    {"set",         forward<row::obstplink_set>,        4},
    {nullptr, raw(0), 0},
};

static VerbEntry obssyslog_verbs[] = {
    {"stat",        forward<row::obssyslog_stat>,       8},
    {"config",      forward<row::obssyslog_config>,     8},
    {"list",        obssyslog_list,                    64},
    {nullptr, raw(0), 0},
};

static VerbEntry obssshlog_verbs[] = {
    {"stat",        forward<row::obssshlog_stat>,       8},
    {"config",      forward<row::obssshlog_config>,     8},
    {"list",        obssshlog_list,                    64},
    {nullptr, raw(0), 0},
};

static VerbEntry obstlslog_verbs[] = {
    {"stat",        forward<row::obstlslog_stat>,       8},
    {"config",      forward<row::obstlslog_config>,     8},
    {"list",        obstlslog_list,                    64},
    {nullptr, raw(0), 0},
};

static VerbEntry obsnetbios_verbs[] = {
    {"stat",        forward<row::obsnetbios_stat>,      8},
    {"config",      forward<row::obsnetbios_config>,    8},
    {"list",        obsnetbios_list,                   64},
    {nullptr, raw(0), 0},
};

VerbEntry chart_table[] = {
    {"rowlist",     chart_rowlist,                    256},
    {"dump",        chart_dump,                      1024},
    {"timesum",     chart_timesum,                    128},
    {nullptr, raw(0), 0},
};

ModuleEntry analysis_table[] = {
    {"module",        module_verbs},
    {"obslog",        obslog_verbs},
    {"obsquery",      obsquery_verbs},
    {"worker",        worker_verbs},
    {"disk",          disk_verbs},
    {"assetsgroup2",  assetsgroup2_verbs},
    {"assetsobj2",    assetsobj2_verbs},
    {"table",         table_verbs},
    {"obssegdelay",   obssegdelay_verbs},
    {"tundata",       tundata_verbs},
    {"certdata",      certdata_verbs},
    {"condtunnel",    condtunnel_verbs},
    {"applevel",      applevel_verbs},
    {"tunwltable",    tunwltable_verbs},
    {nullptr, nullptr},
};

ModuleEntry management_table[] = {
    {"obsreasslog",   reassembly_verbs},
    {"obsreasspkt",   reassembly_verbs + obsreasspkt_start},
    {"netev_chart",   netev_chart_verbs},
    {"nevtlog",       nevtlog_verbs},
    {"malcip",        malcip_verbs},
    {"nevt",          nevt_verbs},
    {"hostinfo",      hostinfo_verbs},
    {"obstopogrp",    obstopogrp_verbs},
    {"obspcap",       obspcap_verbs},
    {"obslog",        obslog_management_verbs},
    {"mempcap",       mempcap_verbs},
    {"assetsgroup",   assetsgroup_verbs},
    {"assetsobj",     assetsobj_verbs},
    {"assetsflow",    assetsflow_verbs},
    {"tcpreset",      tcpreset_verbs},
    {"emaillog",      emaillog_verbs},
    {"ftplog",        ftplog_verbs},
    {"telnetlog",     telnetlog_verbs},
    {"malclog",       malclog_verbs},
    {"qtde",          qtde_verbs},
    {"obsiptable",    obsiptable_verbs},
    {"obstable",      obstable_verbs},
    {"obsdnsgrp",     obsdnsgrp_verbs},
    {"whiteip",       whiteip_verbs},
    {"ipobj",         ipobj_verbs},
    {"outconnect",    outconnect_verbs},
    {"dnsflow",       dnsflow_verbs},
    {"dnstuncheck",   dnstuncheck_verbs},
    {"dnstunwltable", dnstunwltable_verbs},
    {"mysqlrd",       mysqlrd_verbs},
    {"kesidslog",     kesidslog_verbs},
    {"idssum",        idssum_verbs},
    {"obsnetbrch",    obsnetbrch_verbs},
    {"netev_session", netev_session_verbs},
    {"obstopo",       obstopo_verbs},
    {"obstplink",     obstplink_verbs},
    {"obssyslog",     obssyslog_verbs},
    {"obssshlog",     obssshlog_verbs},
    {"obstlslog",     obstlslog_verbs},
    {"obsnetbios",    obsnetbios_verbs},
    {nullptr, nullptr},
};

const FallbackVerb fallback_verbs[9] = {
    {"stat",   verb::stat,     16},
    {"config", verb::config,   16},
    {"list",   verb::list,   2048},
    {"get",    verb::get,      64},
    {"add",    verb::add,      16},
    {"set",    verb::set,      16},
    {"remove", verb::remove,   16},
    {"load",   verb::load,     16},
    {"debug",  verb::debug,   128},
};
// clang-format on

VerbEntry* find_verb(VerbEntry* verbs, const char* verb)
{
    for (VerbEntry* entry = verbs; entry->verb != nullptr; entry++)
        if (strcmp(entry->verb, verb) == 0)
            return entry;
    return nullptr;
}

VerbEntry* find_entry(ModuleEntry* table, const char* module, const char* verb)
{
    for (ModuleEntry* entry = table; entry->name != nullptr; entry++) {
        VerbEntry* found = strcmp(entry->name, module) == 0 ? find_verb(entry->verbs, verb) : nullptr;
        if (found != nullptr)
            return found;
    }
    return nullptr;
}

const FallbackVerb* find_fallback(const char* verb)
{
    for (const FallbackVerb& row : fallback_verbs)
        if (strcmp(row.verb, verb) == 0)
            return &row;
    return nullptr;
}
