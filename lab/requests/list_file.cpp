#include "lab/requests/list_file.h"

#include <filesystem>

std::ifstream open_list_file(Turn& turn, const std::string& otherwise)
{
    std::string path = turn.value("file").value_or(otherwise);
    std::ifstream file;
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error))
        file.open(path);
    if (!file.is_open())
        turn.refuse(lab_error::unknown, "NO_FILE");
    return file;
}
