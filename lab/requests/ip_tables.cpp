#include "lab/requests/ip_tables.h"

IpTable* table_called(World& world, std::string_view text)
{
    bool number = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
    for (IpTable& table : world.ip_tables)
        if (number ? std::to_string(table.id) == text : table.name == text)
            return &table;
    return nullptr;
}
