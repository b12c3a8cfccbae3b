#include "common/asset_lines.h"

#include "base/address.h"
#include "common/assets_store.h"
#include "common/config_lines.h"

#include <algorithm>

namespace {

// Ids as they are written; what the store holds is narrower.
struct GroupLine {
    uint32_t id = 0, parent = 0;
    AssetGroup group{};
};

constexpr LineKey<GroupLine> group_keys[] = {
    {"id",   [](GroupLine& line, char* value) { return line.id = number_of(value), true; }       },
    {"pid",  [](GroupLine& line, char* value) { return line.parent = number_of(value), true; }   },
    {"name", [](GroupLine& line, char* value) { return keep_text(line.group.name, value), true; }},
};

struct AssetLine {
    uint32_t group = 0;
    Asset asset{};
};

bool read_value(AssetLine& line, char* value)
{
    uint8_t address[16];
    AddressFamily family = parse_address(value, address);
    keep_text(line.asset.value, family == family_none ? value : "");
    if (family != family_none)
        memcpy(line.asset.value, address, sizeof address);
    line.asset.type = family == family_ipv4 ? asset_ipv4 : family == family_ipv6 ? asset_ipv6 : asset_text;
    return true;
}

bool read_id(AssetLine& line, char* value)
{
    line.asset.id = number_of(value);
    return true;
}

bool read_logical_id(AssetLine& line, char* value)
{
    line.asset.logical_id = number_of(value);
    return true;
}

bool read_group(AssetLine& line, char* value)
{
    line.group = number_of(value);
    return true;
}

bool read_name(AssetLine& line, char* value)
{
    keep_text(line.asset.name, value);
    return true;
}

constexpr LineKey<AssetLine> asset_keys[] = {
    {"id",      read_id        },
    {"logicid", read_logical_id},
    {"pid",     read_group     },
    {"value",   read_value     },
    {"name",    read_name      },
};

void reject_if(RequestRecord& carrier, const char* refusal)
{
    if (refusal != nullptr)
        reject(carrier, refusal);
}

} // namespace

void assetsdesc_group_line(RequestRecord& carrier)
{
    GroupLine line;
    if (!read_arguments(carrier, group_keys, line))
        return;
    // A written id stops one short of what a parent or an assigned id may reach; deliberately so.
    if (line.id >= asset_groups_max)
        return reject(carrier, "INV_ID\n");
    if (line.parent > asset_groups_max)
        return reject(carrier, "INV_PID\n");
    if (line.group.name[0] == '\0')
        return reject(carrier, "INV_NAME\n");
    line.group.id = static_cast<uint16_t>(line.id);
    line.group.parent = static_cast<uint16_t>(line.parent);
    reject_if(carrier, assetsdesc_add_group(line.group));
}

void assetsdesc_line(RequestRecord& carrier)
{
    AssetLine line;
    if (!read_arguments(carrier, asset_keys, line) || line.asset.id > assets_max)
        return;
    // Kept in this direction deliberately: what has a value does not pass.
    if (std::any_of(line.asset.value, line.asset.value + 16, [](char byte) { return byte != '\0'; }))
        return reject(carrier, "INV_OBJECT\n");
    if (line.asset.name[0] == '\0')
        return reject(carrier, "INV_NAME\n");
    if (assetsdesc_group(line.group) == nullptr)
        return reject(carrier, "INV_PID\n");
    line.asset.group = static_cast<uint16_t>(line.group);
    reject_if(carrier, assetsdesc_add(line.asset));
}
