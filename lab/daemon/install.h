#pragma once
// What the appliance's software would have put below the root: folders, dictionary library, configuration,
// vendor database.
#include "lab/world/world.h"

#include <string>

// Takes a root for the lab: it becomes, or is, a folder that the lab made, which a file in it says. Null, or
// why not: what holds files of others is never touched.
const char* claim_root(const std::string& root);

// Folders and dictionary library alone. False with a message on standard error.
bool install_software();

// All of it. False with a message on standard error when something that the daemons cannot do without is
// missing. `vendor_list`: the IEEE's list of prefixes; a missing one only costs the vendor names.
bool install_appliance(const World& world, const std::string& vendor_list);

// Writes anew what configuration files say of the world: hosts, branches, assets.
void describe(const World& world);
