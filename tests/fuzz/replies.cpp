// Doors that a daemon, its dictionary library and whoever types a command stand before.
#include "tests/fuzz/fuzz.h"

#include "base/form/json_object.h"
#include "base/output.h"
#include "cli/catalogue.h"
#include "link/dictionary.h"
#include "link/rpc_session.h"

#include <string>
#include <vector>

namespace {

int run_action(const Action& action, int argc, char** argv)
{
    if (action.word > raw_code_max && (action.word < verb::first || action.word > verb::last))
        return action.handler(argc - 2, argv + 2);
    const auto code = static_cast<uint32_t>(action.word);
    return code > raw_code_max ? rpc_generic(argv[0], code, argc - 2, argv + 2) : rpc_raw(code, argc - 2, argv + 2);
}

// The JSON form prints one valid document, whatever happens; that of groups is deeper than the check goes.
void check_document(std::string_view module)
{
    if (form::always_json() && flush_output() && module != "obstopogrp")
        expect(is_json_object("{\"document\":" + std::string(printed_output()) + "}"), "no valid document");
}

// "module verb argument ...", each argument in memory of its own.
void run(std::string_view command, size_t segment_size)
{
    std::vector<std::unique_ptr<char[]>> words;
    std::vector<char*> argv;
    for (Input left{command}; !left.left.empty(); left.rest(1)) {
        words.push_back(exactly(left.rest(left.left.find(' '))));
        argv.push_back(words.back().get());
    }
    if (argv.size() < 2)
        return;
    const VerbEntry* entry = strcmp(argv[0], "chart") == 0 ? find_verb(chart_table, argv[1]) : nullptr;
    for (ModuleEntry* table : {analysis_table, management_table})
        entry = entry != nullptr ? entry : find_entry(table, argv[0], argv[1]);
    if (entry == nullptr || entry->segment_kib <= 0) // the others need no daemon
        return;
    int status = -1;
    if (rpc_init("daemon", segment_size) == 0) {
        status = run_action(entry->action, static_cast<int>(argv.size()), argv.data());
        rpc_close(true);
    }
    form::finish(status);
    check_document(argv[0]);
}

// What one byte of an input says.
Peer changed_by(unsigned byte)
{
    return {.changing = (byte & 1) != 0, .odds = byte >> 1 & 3, .seed = byte, .library = (byte & 0x30) != 0x30};
}

} // namespace

void replies(Input& input)
{
    const unsigned size = input.number(), changing = input.number();
    begin_peer(input, changed_by(changing));
    run(input.text(), 4096 + size * size_t{size} / 16 * 16); // its end is aligned too
    end_peer();
}

// Whatever is typed, before a daemon that answers with nothing.
void arguments(Input& input)
{
    Input blank{{"\1\0\0\0\0\0\1\0\0\0\0", 12}};
    begin_peer(blank, {});
    run(input.rest(), 8192);
    end_peer();
}

void dictionary(Input& input)
{
    const auto protocols = input.number<int16_t>(), groups = input.number<int16_t>();
    const unsigned changing = input.number();
    Peer peer = changed_by(changing);
    peer.protocols = protocols < 0 ? protocols * 0x10000 : protocols;
    peer.groups = groups < 0 ? groups * 0x10000 : groups;
    begin_peer(input, peer);
    if (rpc_init("daemon", 16384) == 0) {
        rpc_syncdesc();
        application_id_of("name");
        for (uint32_t id : {0U, 1U}) {
            application_name(id);
            application_entry_name(id);
            application_entry_second_name(id);
        }
        rpc_close(true);
    }
    end_peer();
}
