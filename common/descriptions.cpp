#include "common/descriptions.h"

#include "base/wire_types.h"
#include "common/address_descriptions.h"
#include "common/asset_lines.h"
#include "common/assets_store.h"
#include "common/config_lines.h"
#include "common/custom_ranges.h"
#include "common/intelligence.h"

#include <cstdio>

namespace {

constexpr size_t directory_max = 127;

constexpr LineHandler address_lines[] = {
    {"mac",       ipmacdesc_line},
    {"malcitlgc", itlgc_line    },
};
constexpr LineHandler range_lines[] = {
    {"cusiprng", cusiprng_line},
};
constexpr LineHandler asset_lines[] = {
    {"group",  assetsdesc_group_line},
    {"assets", assetsdesc_line      },
};

int load_addresses(const char* path)
{
    if (ipmacdesc_init() < 0)
        return -1;
    const ConfigFile file = load_config_lines(path, address_lines);
    if (file == ConfigFile::whole)
        return 0;
    perror(file == ConfigFile::cut ? path : "fopen");
    return file == ConfigFile::cut ? 0 : -1;
}

int load_ranges(const char* path)
{
    if (cusiprng_init() < 0)
        return -1;
    load_config_lines(path, range_lines); // the same file again: what is wrong with it has been said
    return 0;
}

int load_assets()
{
    if (assetsdesc_init() < 0)
        return -1;
    const PlacePath path = placed(place::assets_configuration);
    if (load_config_lines(path.text, asset_lines) == ConfigFile::cut) // a missing one is no fault
        perror(path.text);
    return 0;
}

// The text that describes an IPv4 address, or null. A range that has lost its text hides the assets.
const char* range_or_asset(const uint8_t* address)
{
    be32 host;
    memcpy(&host, address, sizeof host);
    if (const CustomRange* range = cusiprng_find(host); range != nullptr)
        return cusiprng_information(range->information);
    uint8_t padded[16] = {};
    memcpy(padded, address, 4);
    const Asset* asset = assetsdesc_find_by_addr(padded);
    return asset != nullptr ? asset->name : nullptr;
}

} // namespace

int desc_init()
{
    itlgc_init();
    PlacePath path = configuration_file("/kestrel.conf", directory_max);
    return load_addresses(path.text) < 0 || load_ranges(path.text) < 0 || load_assets() < 0 ? -1 : 0;
}

const char* ipdesc_get(const void* address, int family, char* out, size_t out_size)
{
    if (!ipmacdesc_ready() || out_size == 0 || (family != 4 && family != 6))
        return nullptr;
    char exact[address_text_room];
    const char* text = nullptr;
    if (ipmacdesc_get(address, static_cast<size_t>(family), exact) == 0)
        text = exact;
    else if (family == 4)
        text = range_or_asset(static_cast<const uint8_t*>(address));
    if (text == nullptr)
        return nullptr;
    size_t kept = strnlen(text, out_size - 1);
    memcpy(out, text, kept);
    out[kept] = '\0';
    return out;
}
