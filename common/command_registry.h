#pragma once
// Raw command codes and their handlers; the daemon's side of the exchange.
#include "common/record_handler.h"

constexpr uint32_t registry_code_max = 512;

// 0, or -1 for a code outside 1..registry_code_max or when the table, made by the first registration, cannot
// be had.
int command_register(uint32_t code, RecordHandler* handler);
int command_unregister(uint32_t code); // leaves an empty slot; -1 for a code outside

// Runs the handler of the record's code; when it refuses, the field at 172, where a daemon's answer has its
// length, is cleared. Rejects a code outside with "INV_CMD" and one without a handler with "NO_CMD". The code
// that fetches the dictionary, and any code before the first registration, does nothing.
void command_dispatch(RequestRecord& record);
