#pragma once
// Asset descriptions and asset groups, in one block.
#include <cstddef>
#include <cstdint>

constexpr uint32_t asset_groups_max = 1024, assets_max = 4096;

struct AssetGroup {
    uint16_t id;     // slot number plus 1
    uint16_t parent; // 0: none
    char name[64];   // empty: the slot is free
};

enum AssetType : uint16_t { asset_ipv4 = 0, asset_text = 1, asset_ipv6 = 2 };

struct Asset {
    Asset* next;   // of the same hash bucket
    uint16_t type; // AssetType
    uint16_t group;
    uint32_t id; // slot number plus 1; 0: the slot is free
    uint32_t logical_id;
    char name[64];
    char value[64]; // 16 bytes of address, IPv4 in the first four; or a text
    uint8_t reserved[28];
};
static_assert(sizeof(AssetGroup) == 68 && sizeof(Asset) == 176);

int assetsdesc_init(); // a new, empty store: 0, or -1 with a message
void assetsdesc_release();

// Both store a copy and return null, or return the refusal. id 0 takes the lowest free slot; another id
// overwrites what its slot holds; one above asset_groups_max or assets_max is refused with "INV_ID". Nothing
// is stored before assetsdesc_init.
const char* assetsdesc_add_group(const AssetGroup& group);
const char* assetsdesc_add(const Asset& asset);

// Null when there is none.
const Asset* assetsdesc_find_by_addr(const void* sixteen_bytes);
// A stored text that begins with `text` is found too.
const Asset* assetsdesc_find_by_name(const char* text, size_t length);
const AssetGroup* assetsdesc_group(uint32_t id);

// The slot of `target` when it is `id` or above it; null otherwise. Gives up in a circle of parents.
const AssetGroup* assetsdesc_group_ancestor(uint32_t id, uint32_t target);

struct AssetTotals {
    uint32_t groups, assets;     // records accepted
    uint32_t highest_slot;       // in use, from 1
    uint32_t highest_logical_id; // seen
};
AssetTotals assetsdesc_totals();
