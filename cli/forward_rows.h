#pragma once
// The forwarding members, one row a line, in the order of the catalogue. Texts of the trailing style count
// their NUL (`worker list` writes it without counting), those of the leading style do not.
#include "cli/forward.h"

// clang-format off
namespace row {
inline constexpr auto count = ArgumentText::count_nul, leave = ArgumentText::leave_nul;
inline constexpr auto none = Forward::none, trailing = Forward::trailing, leading = Forward::leading;
inline constexpr auto nothing = Forward::nothing, text = Forward::text, text_if_any = Forward::text_if_any,
                      line_if_any = Forward::line_if_any;
inline constexpr auto zero = Forward::zero, records = Forward::record_count;
inline constexpr int any = Forward::any_number;

//                       member                 module           code           style     NUL    rewritten    reply        result
inline constexpr Forward
    obslog_stat          {"obslog",        verb::stat,    trailing, count, "tag=",      text,        zero},
    obslog_get           {"obslog",        verb::get,     trailing, count, nullptr,     nothing,     zero},
    obsquery_stat        {"obsquery",      verb::stat,    none,     leave, nullptr,     text,        records},
    worker_stat          {"worker",        verb::stat,    trailing, count, "taskid=",   text,        records},
    worker_list          {"worker",        verb::list,    trailing, leave, "type=",     text,        zero},
    worker_add           {"worker",        verb::add,     trailing, count, "taskname=", text,        records},
    disk_stat            {"disk",          verb::stat,    none,     leave, nullptr,     text,        zero},
    obssegdelay_stat     {"obssegdelay",   verb::stat,    none,     leave, nullptr,     text,        zero},
    condtunnel_stat      {"condtunnel",    verb::stat,    none,     leave, nullptr,     text_if_any, zero},
    applevel_list        {"applevel",      verb::list,    none,     leave, nullptr,     nothing,     zero},
    tunwltable_remove    {"tunwltable",    verb::remove,  trailing, count, nullptr,     nothing,     zero, 1, any, "tunwltable remove ip=xxxx"},
    obsreasslog_remove   {"obsreasslog",   verb::remove,  leading,  leave, nullptr,     text_if_any, zero},
    obsreasslog_config   {"obsreasslog",   verb::config,  leading,  leave, nullptr,     text_if_any, zero},
    obsreasspkt_set      {"obsreasspkt",   verb::set,     leading,  leave, nullptr,     text_if_any, zero},
    obsreasspkt_get      {"obsreasspkt",   verb::get,     leading,  leave, nullptr,     text_if_any, zero},
    obsreasspkt_add      {"obsreasspkt",   verb::add,     leading,  leave, nullptr,     text_if_any, zero},
    obsreasspkt_remove   {"obsreasspkt",   verb::remove,  leading,  leave, nullptr,     text_if_any, zero},
    obsreasspkt_disable  {"obsreasspkt",   verb::disable, leading,  leave, nullptr,     text_if_any, zero},
    obsreasspkt_debug    {"obsreasspkt",   verb::debug,   leading,  leave, nullptr,     text_if_any, zero},
    netev_chart_stat     {"netev_chart",   verb::stat,    none,     leave, nullptr,     text_if_any, zero},
    netev_chart_list     {"netev_chart",   verb::list,    none,     leave, nullptr,     text_if_any, zero},
    nevtlog_config       {"nevt_log",      verb::config,  leading,  leave, nullptr,     text_if_any, zero},
    nevtlog_remove       {"nevt_log",      verb::remove,  leading,  leave, nullptr,     text_if_any, zero},
    hostinfo_stat        {"obshost",       verb::stat,    none,     leave, nullptr,     text_if_any, zero},
    hostinfo_config      {"obshost",       verb::config,  none,     leave, nullptr,     text_if_any, zero},
    obstopogrp_stat      {"obstopogrp",    verb::stat,    none,     leave, nullptr,     text_if_any, zero},
    obstopogrp_add       {"obstopogrp",    verb::add,     leading,  leave, nullptr,     line_if_any, zero},
    obstopogrp_remove    {"obstopogrp",    verb::remove,  leading,  leave, nullptr,     nothing,     zero},
    obstopogrp_config    {"obstopogrp",    verb::config,  leading,  leave, nullptr,     text_if_any, zero},
    mempcap_stat         {"mempcap",       verb::stat,    none,     leave, nullptr,     text_if_any, zero},
    mempcap_list         {"mempcap",       verb::list,    leading,  leave, nullptr,     text_if_any, zero},
    mempcap_add          {"mempcap",       verb::add,     leading,  leave, nullptr,     text_if_any, zero},
    mempcap_remove       {"mempcap",       verb::remove,  leading,  leave, nullptr,     text_if_any, zero},
    mempcap_set          {"mempcap",       verb::set,     leading,  leave, nullptr,     text_if_any, zero},
    mempcap_config       {"mempcap",       verb::config,  leading,  leave, nullptr,     text_if_any, zero},
    mempcap_get          {"mempcap",       verb::get,     leading,  leave, nullptr,     text_if_any, zero},
    qtde_config          {"qtde",          verb::config,  leading,  leave, nullptr,     nothing,     zero},
    qtde_stat            {"qtde",          verb::stat,    none,     leave, nullptr,     text,        zero},
    obsiptable_addip     {"obsiptable",    verb::add,     trailing, count, "tag=",      nothing,     zero, 2, any, "vigil obsiptable|table addip tid=n ip=xxx info=xxxx"},
    obsiptable_remove    {"obsiptable",    verb::remove,  trailing, count, "tag=",      nothing,     zero, 1, any, "obsiptable remove tid=n ip=xxxx"},
    obsiptable_clear     {"obsiptable",    verb::remove,  trailing, count, "tag=",      nothing,     zero, 1, any, "vigil obsiptable remove clear=1 table=xxx"},
    obsiptable_getcmp    {"obsiptable",    verb::get,     trailing, count, "tag=",      text_if_any, zero, 1, any, "vigil obsiptable get getcmp=1 table=xxx"},
    whiteip_stat         {"whiteip",       verb::stat,    none,     leave, nullptr,     text,        zero},
    dnstuncheck_stat     {"dnstuncheck",   verb::stat,    none,     leave, nullptr,     text,        zero},
    dnstunwltable_remove {"dnstunwltable", verb::remove,  trailing, count, nullptr,     nothing,     zero, 1, any, "dnstunwltable remove ip=xxxx"},
    mysqlrd_list         {"mysqlrd",       verb::list,    trailing, count, nullptr,     text,        records},
    mysqlrd_stat         {"mysqlrd",       verb::stat,    none,     leave, nullptr,     text,        records},
    idssum_stat          {"idssum",        verb::stat,    none,     leave, nullptr,     text,        zero},
    idssum_remove        {"idssum",        verb::remove,  trailing, count, nullptr,     nothing,     zero, 2, 2, "idssum remove cata_id=n sid=xxxx"},
    idssum_config        {"idssum",        verb::config,  trailing, count, nullptr,     nothing,     zero, 2, 2, "idssum config cata_id=n cata_enable=xxxx"},
    obsnetbrch_list      {"obsnetbrch",    verb::list,    leading,  leave, nullptr,     text_if_any, zero},
    obsnetbrch_stat      {"obsnetbrch",    verb::stat,    none,     leave, nullptr,     text,        zero},
    obsnetbrch_add       {"obsnetbrch",    verb::add,     leading,  leave, nullptr,     nothing,     zero},
    obsnetbrch_remove    {"obsnetbrch",    verb::remove,  leading,  leave, nullptr,     nothing,     zero},
    obsnetbrch_config    {"obsnetbrch",    verb::config,  leading,  leave, nullptr,     nothing,     zero},
    netev_session_stat   {"netev_session", verb::stat,    none,     leave, nullptr,     text,        zero},
    obstopo_add          {"obstopo",       verb::add,     leading,  leave, nullptr,     line_if_any, zero},
    obstopo_list         {"obstopo",       verb::list,    leading,  leave, nullptr,     text,        zero},
    obstopo_stat         {"obstopo",       verb::stat,    none,     leave, nullptr,     text,        zero},
    obstopo_config       {"obstopo",       verb::config,  leading,  leave, nullptr,     nothing,     zero},
    obstopo_remove       {"obstopo",       verb::remove,  leading,  leave, nullptr,     nothing,     zero},
    obstplink_add        {"obstplink",     verb::add,     leading,  leave, nullptr,     nothing,     zero},
    obstplink_list       {"obstplink",     verb::list,    leading,  leave, nullptr,     text,        zero},
    obstplink_stat       {"obstplink",     verb::stat,    none,     leave, nullptr,     text_if_any, zero},
    obstplink_config     {"obstplink",     verb::config,  leading,  leave, nullptr,     nothing,     zero},
    obstplink_remove     {"obstplink",     verb::remove,  leading,  leave, nullptr,     nothing,     zero},
    obstplink_set        {"obstplink",     verb::set,     leading,  leave, nullptr,     nothing,     zero},
    obssyslog_stat       {"obssyslog",     verb::stat,    none,     leave, nullptr,     text,        zero},
    obssyslog_config     {"obssyslog",     verb::config,  leading,  leave, nullptr,     nothing,     zero},
    obssshlog_stat       {"obssshlog",     verb::stat,    none,     leave, nullptr,     text,        zero},
    obssshlog_config     {"obssshlog",     verb::config,  leading,  leave, nullptr,     nothing,     zero},
    obstlslog_stat       {"obstlslog",     verb::stat,    none,     leave, nullptr,     text,        zero},
    obstlslog_config     {"obstlslog",     verb::config,  leading,  leave, nullptr,     nothing,     zero},
    obsnetbios_stat      {"obsnetbios",    verb::stat,    none,     leave, nullptr,     text,        zero},
    obsnetbios_config    {"obsnetbios",    verb::config,  leading,  leave, nullptr,     nothing,     zero};
} // namespace row
// clang-format on
