#pragma once
// What vigil-lab is told when it starts.
#include "lab/packets/live_traffic.h"
#include "lab/world/generator.h"

#include <string>

struct Options {
    std::string root, capture, live, record, replay, vendors = "/usr/share/ieee-data/oui.txt";
    GeneratorOptions generator;
    LiveBounds bounds;
    bool help = false, version = false;
};

extern const char usage[];

// Empty, or what is wrong with the command line.
std::string read_options(int argc, char** argv, Options& options);
