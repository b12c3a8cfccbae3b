#include "common/intelligence.h"

#include "base/document.h"
#include "common/config_lines.h"

IntelligenceSource* itlgc_pool;

namespace {

struct SourceLine {
    uint32_t id = UINT32_MAX;
    const char* name = nullptr;
    const char* cname = nullptr;
    uint32_t vendor = 255;
};

constexpr LineKey<SourceLine> keys[] = {
    {"id",     [](SourceLine& line, char* value) { return line.id = number_of(value), true; }    },
    {"name",   [](SourceLine& line, char* value) { return line.name = value, true; }             },
    {"cname",  [](SourceLine& line, char* value) { return line.cname = value, true; }            },
    {"vendor", [](SourceLine& line, char* value) { return line.vendor = number_of(value), true; }},
};

} // namespace

void itlgc_init()
{
    free(itlgc_pool);
    itlgc_pool = static_cast<IntelligenceSource*>(calloc(itlgc_slots, sizeof *itlgc_pool));
    if (itlgc_pool == nullptr)
        note("itlgc_pool alloc fail");
}

void itlgc_line(RequestRecord& carrier)
{
    SourceLine line;
    if (!read_arguments(carrier, keys, line) || itlgc_pool == nullptr)
        return;
    if (line.id >= itlgc_slots || line.name == nullptr || line.cname == nullptr)
        return;
    IntelligenceSource& slot = itlgc_pool[line.id];
    slot.vendor = static_cast<uint8_t>(line.vendor);
    keep_text(slot.name, line.name);
    keep_text(slot.cname, line.cname);
}
