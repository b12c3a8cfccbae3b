#pragma once
// A folder below /tmp that is there, with what is in it, as long as its object.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// Empty when it is missing.
inline std::string read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct FreshFolder {
    std::string folder = "/tmp/vigil.XXXXXX";

    FreshFolder()
    {
        if (mkdtemp(folder.data()) == nullptr)
            throw std::runtime_error("mkdtemp");
    }
    ~FreshFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    FreshFolder(const FreshFolder&) = delete;
    void write(const std::string& place, const std::string& content) const // makes the folders
    {
        std::filesystem::create_directories(std::filesystem::path(folder + place).parent_path());
        std::ofstream(folder + place, std::ios::binary) << content;
    }
};
