#pragma once
// A fresh directory that stands for the appliance's root while it lives: VIGIL_ROOT points to it, KSETC is
// unset.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class PrivateFiles {
public:
    PrivateFiles()
    {
        char name[] = "/tmp/vigil-unit-XXXXXX";
        path = mkdtemp(name);
        setenv("VIGIL_ROOT", path.c_str(), 1);
        unsetenv("KSETC");
    }
    ~PrivateFiles()
    {
        unsetenv("VIGIL_ROOT");
        unsetenv("KSETC");
        std::filesystem::remove_all(path);
    }
    PrivateFiles(const PrivateFiles&) = delete;
    void write(const std::string& place, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(path + place).parent_path());
        std::ofstream(path + place, std::ios::binary) << content;
    }
    std::string read(const std::string& place) const
    {
        std::ifstream in(path + place, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::string path;
};
