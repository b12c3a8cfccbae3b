#pragma once
// The operator's IP tables, found as operators write them.
#include "lab/world/world.h"

constexpr uint32_t tables_max = 1024;

IpTable* table_called(World& world, std::string_view text); // by "3" or a name; null without one
