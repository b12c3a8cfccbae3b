#include "common/command_registry.h"

#include <cstdlib>

static RecordHandler** handlers; // by code - 1

static bool registrable(uint32_t code)
{
    return code >= 1 && code <= registry_code_max;
}

int command_register(uint32_t code, RecordHandler* handler)
{
    if (!registrable(code))
        return -1;
    if (handlers == nullptr)
        handlers = static_cast<RecordHandler**>(calloc(registry_code_max, sizeof *handlers));
    if (handlers == nullptr)
        return -1;
    handlers[code - 1] = handler;
    return 0;
}

int command_unregister(uint32_t code)
{
    if (!registrable(code))
        return -1;
    if (handlers != nullptr)
        handlers[code - 1] = nullptr;
    return 0;
}

void command_dispatch(RequestRecord& record)
{
    if (!registrable(record.code))
        return reject(record, "INV_CMD");
    if (record.code == sync_dictionary || handlers == nullptr)
        return;
    RecordHandler* handler = handlers[record.code - 1];
    if (handler == nullptr)
        return reject(record, "NO_CMD");
    handler(record);
    if (record.error != 0)
        record.segment_size = 0;
}
