#include "lab/requests/user_dictionary.h"

#include "lab/dictionary/user_tables.h"
#include "wire/dictionary.h"

#include <span>
#include <string>

namespace {

struct Named {
    uint16_t id;
    const char* name;
};

constexpr Named protocols[] = {
    {8001, "office-portal"   },
    {8002, "order-entry"     },
    {8003, "machine-control" },
    {8004, "building-cameras"},
};
constexpr Named groups[] = {
    {9001, "production" },
    {9002, "back-office"},
};
static_assert(std::size(protocols) <= lab_user_protocols && std::size(groups) <= lab_user_groups);

void append_array(std::string& out, std::span<const Named> used, int slots, uint64_t link)
{
    for (size_t i = 0; i < static_cast<size_t>(slots); i++) {
        UserDictionaryRecord record{};
        if (i < used.size()) {
            record.id = used[i].id;
            record.name.assign(used[i].name);
            record.library_link = link;
        }
        out.append(reinterpret_cast<const char*>(&record), sizeof record);
    }
}

} // namespace

std::string_view user_dictionary()
{
    static const std::string arrays = [] {
        std::string out;
        append_array(out, protocols, lab_user_protocols, 0);
        append_array(out, groups, lab_user_groups,
                     0x1122334455667788); // a pointer of ours: nobody's business
        return out;
    }();
    return arrays;
}
