// table, obsiptable: the members of the engine's IP tables, and the verbs of `table` that build their text.
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "reports/tables/tables.h"
#include "wire/white_list.h"

namespace {

// A batch without a length is an array of addresses, any other is text.
Walk print_members(const Answer& answer)
{
    if (answer.length >= 1) {
        print_answer(text_in(answer));
        return Walk::on;
    }
    std::span<const TableMemberRecord> members;
    if (!records_in(answer, members)) {
        refuse_reply();
        return Walk::failed;
    }
    for (const TableMemberRecord& member : members)
        print_line(FORMAT("{}"), Ipv4{member.address});
    return Walk::on;
}

int list_members(const char* module, int argc, char** argv)
{
    Fetch fetch{.code = verb::get, .module = module, .argc = argc, .argv = argv};
    return fetch_batches(fetch, [](const Answer& answer) { return print_members(answer); });
}

// "key=argument", or the argument as it is when it has a key already.
void append_keyed(ArgumentText& text, const char* key, const char* argument)
{
    if (strchr(argument, '=') == nullptr)
        text.append(key);
    text.append_argument(argument);
}

void write_new_member(ArgumentText& text, int argc, char** argv)
{
    append_keyed(text, "tid=", argv[0]);
    text.append(" ");
    append_keyed(text, "ip=", argv[1]);
    text.append_all_leading(argc - 2, argv + 2);
}

void write_old_member(ArgumentText& text, int, char** argv)
{
    text.append("table=");
    text.append_trailing(argv[0]);
    text.append("ip=");
    text.append_argument(argv[1]);
}

} // namespace

int table_get(int argc, char** argv)
{
    return list_members("table", argc, argv);
}

int obsiptable_get(int argc, char** argv)
{
    return list_members("obstable", argc, argv); // the module of the whole tables answers, not "obsiptable"
}

int table_addip(int argc, char** argv)
{
    if (argc < 2)
        return refuse("iptbl addip table ip");
    Fetch fetch{.code = table_code::add_address, .argc = argc, .argv = argv, .write = write_new_member};
    Answer answer;
    return fetch_once(fetch, answer);
}

int table_rmvip(int argc, char** argv)
{
    if (argc < 2)
        return refuse("iptbl rmvip table ip");
    Fetch fetch{.code = table_code::remove_address, .argc = argc, .argv = argv, .write = write_old_member};
    Answer answer;
    return fetch_once(fetch, answer);
}

// From here on the table, by id or by name, travels where others have their module's name. The usage texts
// name an older program: kept so.
int table_clear(int argc, char** argv)
{
    if (argc < 1)
        return refuse("gatectl iptbl clear tblid|tblname");
    Fetch fetch{.code = table_code::clear, .module = argv[0], .write = nullptr};
    Answer answer;
    return fetch_once(fetch, answer);
}

int table_getcmp(int argc, char** argv)
{
    if (argc < 1)
        return refuse("gatectl iptbl getcmp tblid|tblname");
    Fetch fetch{.code = table_code::get_complete, .module = argv[0], .write = nullptr};
    return fetch_text(fetch);
}

// Is the address a member? It travels as one number.
int table_matchtest(int argc, char** argv)
{
    if (argc < 2)
        return refuse("gatectl table matchtest tblid ip");
    uint32_t address = 0;
    if (!parse_ipv4(argv[1], address))
        return refuse("invalid ip");
    char number[sizeof "4294967295"];
    format_text(number, FORMAT("{}"), address);
    return fetch_text({.code = table_code::match_test, .module = argv[0], .extra = number});
}
