#include "common/custom_ranges.h"

#include "base/address.h"
#include "base/document.h"
#include "common/config_lines.h"

#include <algorithm>

namespace {

constexpr size_t pool_size = 8192;

struct RangeInformation {
    char range[32]; // as written in the file
    char text[64];  // empty: the record is free
    uint8_t reserved[4];
};

struct RangeTable {
    CustomRange index[pool_size]; // ascending by first address
    RangeInformation information[pool_size];
};
static_assert(sizeof(CustomRange) == 12 && sizeof(RangeInformation) == 100);
static_assert(sizeof(RangeTable) == 917504);

RangeTable* cusiprng;
size_t count;
size_t lowest_free; // no information record below it is free

struct RangeLine {
    CustomRange range{};
    RangeInformation information{};
};

// The text is kept before the parser cuts it.
bool read_range(RangeLine& line, char* value)
{
    keep_text(line.information.range, value);
    return parse_ipv4_range(value, line.range.first, line.range.last);
}

constexpr LineKey<RangeLine> keys[] = {
    {"iprng", read_range,         "INV_IP"                                                              },
    {"info",  [](RangeLine& line, char* value) { return keep_text(line.information.text, value), true; }},
};

RangeInformation* free_information()
{
    while (lowest_free < pool_size && cusiprng->information[lowest_free].text[0] != '\0')
        lowest_free++;
    return lowest_free < pool_size ? &cusiprng->information[lowest_free] : nullptr;
}

// Equal first addresses stand in the order of the file.
void insert(const RangeLine& line)
{
    RangeInformation* information = free_information();
    if (information == nullptr)
        return;
    CustomRange* end = cusiprng->index + count;
    CustomRange* behind =
        std::upper_bound(cusiprng->index, end, line.range.first,
                         [](uint32_t first, const CustomRange& r) { return first < r.first; });
    for (const CustomRange* r = behind; r != cusiprng->index && r[-1].first == line.range.first; r--)
        if (r[-1].last == line.range.last)
            return;
    *information = line.information;
    std::copy_backward(behind, end, end + 1);
    *behind = line.range;
    behind->information = static_cast<uint32_t>(information - cusiprng->information) + 1;
    count++;
}

} // namespace

int cusiprng_init()
{
    cusiprng_release();
    cusiprng = static_cast<RangeTable*>(calloc(1, sizeof *cusiprng));
    if (cusiprng != nullptr)
        return 0;
    note("NO_MEM");
    return -1;
}

void cusiprng_release()
{
    free(cusiprng);
    cusiprng = nullptr;
    count = lowest_free = 0;
}

void cusiprng_line(RequestRecord& carrier)
{
    RangeLine line;
    if (cusiprng == nullptr || !read_arguments(carrier, keys, line))
        return;
    // An address of 0 counts as missing.
    if (line.range.first == 0 || line.range.last == 0 || line.information.text[0] == '\0')
        return reject(carrier, "INV_IP_INFO");
    if (count == pool_size)
        return reject(carrier, "POOL_FULL");
    insert(line);
}

const CustomRange* cusiprng_find(uint32_t address)
{
    int low = 0, high = static_cast<int>(count) - 1;
    while (low <= high) {
        int middle = (low + high) / 2;
        const CustomRange& range = cusiprng->index[middle];
        if (range.first <= address && address <= range.last)
            return &range;
        if (range.first <= address)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return nullptr;
}

const char* cusiprng_information(uint32_t number)
{
    return cusiprng != nullptr && number >= 1 && number <= pool_size ? cusiprng->information[number - 1].text
                                                                     : nullptr;
}
