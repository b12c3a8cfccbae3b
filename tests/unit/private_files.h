#pragma once
// A fresh directory that stands for the appliance's root while it lives: VIGIL_ROOT points to it, KSETC is
// unset.
#include "tests/support/fresh_folder.h"

struct PrivateFiles : FreshFolder {
    const std::string& path = folder;

    PrivateFiles()
    {
        setenv("VIGIL_ROOT", path.c_str(), 1);
        unsetenv("KSETC");
    }
    ~PrivateFiles()
    {
        unsetenv("VIGIL_ROOT");
        unsetenv("KSETC");
    }
    std::string read(const std::string& place) const { return read_file(path + place); }
};
