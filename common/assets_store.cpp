#include "common/assets_store.h"

#include "base/document.h"
#include "base/lookup2.h"
#include "common/spin_lock.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t buckets = 1024;

struct AssetStore {
    uint32_t locks[256]; // reserved
    AssetGroup groups[asset_groups_max];
    Asset assets[assets_max];
    Asset* by_address[buckets];
    Asset* by_name[buckets];
};
static_assert(sizeof(AssetStore) == 807936);

AssetStore* assetsdesc;
AssetTotals totals;
uint32_t free_group, free_asset; // no slot below is free
uint32_t lock_word;

Asset*& address_bucket(const void* address)
{
    uint32_t word[4];
    memcpy(word, address, sizeof word);
    return assetsdesc->by_address[(word[0] + word[2]) & (buckets - 1)];
}

Asset*& name_bucket(const char* text, size_t length)
{
    return assetsdesc->by_name[lookup2(text, std::min<size_t>(length, 16), 0) & (buckets - 1)];
}

// Where the asset is indexed; null for an all-zero address, which is not.
Asset** bucket_of(const Asset& asset)
{
    static constexpr char zero[16] = {};
    if (asset.type == asset_text)
        return &name_bucket(asset.value, strlen(asset.value));
    return memcmp(asset.value, zero, sizeof zero) != 0 ? &address_bucket(asset.value) : nullptr;
}

// Compares only as many bytes as the query has.
bool begins_with(const Asset& asset, const char* text, size_t length)
{
    return length < sizeof asset.value && memcmp(asset.value, text, length) == 0;
}

const Asset* find_in_name_bucket(const char* text, size_t length)
{
    const Asset* asset = name_bucket(text, length);
    while (asset != nullptr && !begins_with(*asset, text, length))
        asset = asset->next;
    return asset;
}

// What a slot held before must not stay in its chain.
void leave_chain(Asset& asset)
{
    Asset** link = asset.id != 0 ? bucket_of(asset) : nullptr;
    while (link != nullptr && *link != nullptr && *link != &asset)
        link = &(*link)->next;
    if (link != nullptr && *link == &asset)
        *link = asset.next;
}

Asset* slot_for(uint32_t id)
{
    if (id != 0)
        return &assetsdesc->assets[id - 1];
    while (free_asset < assets_max && assetsdesc->assets[free_asset].id != 0)
        free_asset++;
    return free_asset < assets_max ? &assetsdesc->assets[free_asset] : nullptr;
}

void store(Asset& slot, const Asset& asset)
{
    leave_chain(slot);
    slot = asset;
    slot.next = nullptr;
    slot.id = static_cast<uint32_t>(&slot - assetsdesc->assets) + 1;
    if (slot.logical_id == 0)
        slot.logical_id = totals.highest_logical_id + 1;
    totals.highest_logical_id =
        asset.logical_id == 0 ? slot.logical_id : std::max(totals.highest_logical_id, slot.logical_id);
    if (Asset** bucket = bucket_of(slot); bucket != nullptr) {
        slot.next = *bucket;
        *bucket = &slot;
    }
    totals.assets++;
    totals.highest_slot = std::max(totals.highest_slot, slot.id);
}

} // namespace

int assetsdesc_init()
{
    assetsdesc_release();
    assetsdesc = static_cast<AssetStore*>(calloc(1, sizeof *assetsdesc));
    if (assetsdesc != nullptr)
        return 0;
    note(FORMAT("assetsdesc_init: fail to alloc {} bytes"), sizeof(AssetStore));
    return -1;
}

void assetsdesc_release()
{
    free(assetsdesc);
    assetsdesc = nullptr;
    totals = {};
    free_group = free_asset = 0;
}

const char* assetsdesc_add_group(const AssetGroup& group)
{
    if (assetsdesc == nullptr)
        return nullptr;
    if (group.id > asset_groups_max)
        return "INV_ID\n";
    if (group.id != 0) {
        assetsdesc->groups[group.id - 1] = group;
        totals.groups++; // when it overwrites, too
        return nullptr;
    }
    SpinLock lock(lock_word);
    while (free_group < asset_groups_max && assetsdesc->groups[free_group].name[0] != '\0')
        free_group++;
    if (free_group == asset_groups_max)
        return "GRPPOOL_FULL\n";
    AssetGroup& slot = assetsdesc->groups[free_group];
    slot = group;
    slot.id = static_cast<uint16_t>(free_group + 1);
    totals.groups++;
    return nullptr;
}

const char* assetsdesc_add(const Asset& asset)
{
    if (assetsdesc == nullptr)
        return nullptr;
    if (asset.id > assets_max)
        return "INV_ID\n";
    SpinLock lock(lock_word);
    const Asset* known = asset.type == asset_text ? find_in_name_bucket(asset.value, strlen(asset.value))
                                                  : assetsdesc_find_by_addr(asset.value);
    if (known != nullptr)
        return "EXISTS\n";
    Asset* slot = slot_for(asset.id);
    if (slot == nullptr)
        return "ASSETS_POOL_FULL\n";
    store(*slot, asset);
    return nullptr;
}

const Asset* assetsdesc_find_by_addr(const void* sixteen_bytes)
{
    if (totals.assets == 0)
        return nullptr;
    const Asset* asset = address_bucket(sixteen_bytes);
    while (asset != nullptr && memcmp(asset->value, sixteen_bytes, 16) != 0)
        asset = asset->next;
    return asset;
}

// A text of 16 bytes or more shares its bucket with every text that begins with it; a shorter one does not,
// and is searched for among all.
const Asset* assetsdesc_find_by_name(const char* text, size_t length)
{
    if (totals.assets == 0)
        return nullptr;
    if (const Asset* asset = find_in_name_bucket(text, length); asset != nullptr || length >= 16)
        return asset;
    for (uint32_t i = 0; i < totals.highest_slot; i++) {
        const Asset& asset = assetsdesc->assets[i];
        if (asset.id != 0 && asset.type == asset_text && begins_with(asset, text, length))
            return &asset;
    }
    return nullptr;
}

// A group stands in the slot of its id, so that this finds what a walk over all slots would.
const AssetGroup* assetsdesc_group(uint32_t id)
{
    if (assetsdesc == nullptr || id < 1 || id > asset_groups_max)
        return nullptr;
    const AssetGroup& group = assetsdesc->groups[id - 1];
    return group.name[0] != '\0' ? &group : nullptr;
}

const AssetGroup* assetsdesc_group_ancestor(uint32_t id, uint32_t target)
{
    for (uint32_t step = 0; assetsdesc != nullptr && step < asset_groups_max; step++) {
        if (id < 1 || id > asset_groups_max)
            return nullptr;
        const AssetGroup& group = assetsdesc->groups[id - 1];
        if (id == target)
            return &group;
        id = group.parent;
    }
    return nullptr;
}

AssetTotals assetsdesc_totals()
{
    return totals;
}
