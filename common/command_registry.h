#pragma once
// Raw command codes and their handlers; the daemon's side of the exchange.
#include "common/record_handler.h"

constexpr uint32_t registry_code_max = 512;

// 0, or -1 for a code outside 1..registry_code_max or when the table, made by the first registration, cannot
// be had.
int command_register(uint32_t code, RecordHandler* handler);
int command_unregister(uint32_t code); // leaves an empty slot

// Runs the record's handler, or rejects the record. A refusal ends with no answer length.
void command_dispatch(RequestRecord& record);
