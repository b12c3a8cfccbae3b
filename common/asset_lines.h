#pragma once
// The lines of the assets' configuration file.
#include "common/record_handler.h"

// A "group" line: id=, pid= (the parent), name=.
void assetsdesc_group_line(RequestRecord& carrier);

// An "assets" line: id=, logicid=, pid= (the group), value= (an address or a text), name=.
void assetsdesc_line(RequestRecord& carrier);
