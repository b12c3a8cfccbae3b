#include "cli/dispatch.h"

#include "base/document.h"
#include "base/line_reader.h"
#include "cli/catalogue.h"
#include "cli/signals.h"
#include "cli/timeout.h"
#include "common/applevel.h"
#include "link/dictionary.h"
#include "link/places.h"
#include "link/rpc_session.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr int listing_status = 255;
constexpr int unknown_status = 1;
constexpr int32_t segment_min_kib = 64; // of the tables' entries, not of the fallback verbs

// Only the analysis table is listed: the others' modules are reachable but never shown.
int list_modules()
{
    name_lines("modules");
    for (const ModuleEntry* module = analysis_table; module->name != nullptr; module++)
        print_line(text_of(module->name));
    return listing_status;
}

void list_verbs(const char* word)
{
    for (const ModuleEntry* module = analysis_table; module->name != nullptr; module++)
        if (text_of(module->name).find(word) != std::string_view::npos)
            for (const VerbEntry* entry = module->verbs; entry->verb != nullptr; entry++)
                print_line(FORMAT("{} {}"), text_of(module->name), text_of(entry->verb));
}

// Seconds since the epoch at which the system came up; false when /proc/uptime does not tell.
bool boot_time(uint32_t& boot)
{
    LineReader file;
    if (!file.open(place::uptime)) {
        note("fail to open /proc/uptime");
        return false;
    }
    char line[256];
    char* point = file.next(line) ? strchr(line, '.') : nullptr;
    if (point == nullptr)
        return false;
    *point = '\0';
    boot = static_cast<uint32_t>(time(nullptr) - atoi(line));
    return true;
}

int print_boot_time()
{
    uint32_t boot = 0;
    if (boot_time(boot))
        print_fact("boot", boot, FORMAT("{}_0"), boot); // the second number is always 0
    else
        refuse("fail to get bootup time");
    return 0; // with or without it
}

int run_action(const Action& action, const char* module, int argc, char** argv)
{
    if (action.word >= verb::first && action.word <= verb::last)
        return rpc_generic(module, static_cast<uint32_t>(action.word), argc, argv);
    if (action.word > raw_code_max)
        return action.handler(argc, argv);
    return rpc_raw(static_cast<uint32_t>(action.word), argc, argv);
}

int run_entry(VerbEntry& entry, const char* daemon, const char* module, int argc, char** argv)
{
    if (entry.segment_kib > 0) {
        if (entry.segment_kib < segment_min_kib)
            entry.segment_kib = segment_min_kib;
        if (rpc_init(placed(daemon).text, static_cast<size_t>(entry.segment_kib) * 1024) != 0)
            return -1;
    }
    int result = run_action(entry.action, module, argc, argv);
    rpc_close(true);
    return result;
}

int unknown_command(char** argv)
{
    refuse(FORMAT("invalid commands: {} {}"), text_of(argv[1]), text_of(argv[2]));
    return unknown_status;
}

int run_key_table(int argc, char** argv)
{
    constexpr uint32_t key_table_list = 282;
    if (strcmp(argv[2], "list") != 0)
        return unknown_command(argv);
    if (rpc_init(placed(place::analysis_daemon).text, 4096) != 0)
        return -1;
    rpc_raw(key_table_list, argc - 3, argv + 3);
    rpc_close(true);
    return 0; // whatever the request returned
}

int run_fallback(int argc, char** argv)
{
    const FallbackVerb* row = find_fallback(argv[2]);
    if (row == nullptr)
        return unknown_command(argv);
    if (rpc_init(placed(place::analysis_daemon).text, static_cast<size_t>(row->segment_kib) * 1024) != 0)
        return -1;
    int result = rpc_generic(argv[1], row->code, argc - 3, argv + 3);
    rpc_close(true);
    return result;
}

int run_command(int argc, char** argv)
{
    const char* module = argv[1];
    const char* verb = argv[2];
    install_signal_handlers();
    dictionary_initialise(); // never loaded in a fresh process
    if (strcmp(module, "chart") == 0) {
        VerbEntry* entry = find_verb(chart_table, verb);
        return entry != nullptr ? run_entry(*entry, place::chart_daemon, module, argc - 3, argv + 3)
                                : unknown_command(argv);
    }
    applevel_load();
    if (VerbEntry* entry = find_entry(analysis_table, module, verb))
        return run_entry(*entry, place::analysis_daemon, module, argc - 3, argv + 3);
    if (VerbEntry* entry = find_entry(management_table, module, verb))
        return run_entry(*entry, place::management_daemon, module, argc - 3, argv + 3);
    return strcmp(module, "keytbl") == 0 ? run_key_table(argc, argv) : run_fallback(argc, argv);
}

} // namespace

int dispatch(int argc, char** argv)
{
    if (const char* fault = root_fault())
        return refuse(fault);
    if (!start_timeout())
        return refuse("VIGIL_TIMEOUT must be 1 to 3600");
    if (argc < 2)
        return list_modules();
    if (argc > 2)
        return run_command(argc, argv);
    if (strcmp(argv[1], "--version") == 0 && print_version())
        return 0;
    const bool asks_boot_time = strcmp(argv[1], "sysboot") == 0;
    if (!asks_boot_time)
        name_lines("verbs");
    list_verbs(argv[1]);
    return asks_boot_time ? print_boot_time() : listing_status;
}
