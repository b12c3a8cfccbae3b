#pragma once
// Lists that operators load from files of their own.
#include "lab/requests/turn.h"

#include <fstream>

// The file that file= (or the given text) names; closed, with the turn refused, when it cannot be read. Only
// plain files are read: a pipe or a device could keep every client waiting.
std::ifstream open_list_file(Turn& turn, const std::string& otherwise = "");
