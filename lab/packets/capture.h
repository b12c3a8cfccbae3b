#pragma once
// Reads a capture file into the world.
#include "lab/world/world.h"

// Adds the sessions, names and protocol events of `path` to the world, sets `now` to its last packet's time
// and furnishes the world. Returns false, with the reason in `error`, when the file cannot be opened or is of
// a kind of link that is not read; packets that cannot be read are counted in Traffic::capture and skipped.
bool read_capture(const std::string& path, World& world, std::string& error);
