#pragma once
// Reads a capture file into the world.
#include "lab/packets/frame_source.h"
#include "lab/world/world.h"

// Adds the sessions, names and protocol events of `path` to the world, sets `now` to its last packet's time
// and furnishes the world. Returns false, with the reason in `error`, when nothing of it can be read. Frames
// that cannot be read are counted in Traffic::capture and skipped; a file that cannot be read to its end
// counts up to there, and `error` says where that is and why.
bool read_capture(const std::string& path, World& world, std::string& error);

std::string counts_text(const CaptureCounts& counts); // "packets=… truncated=…", for operators
