#include "common/export_file.h"

#include <climits>
#include <cstring>
#include <ctime>

#include "base/clock.h"
#include "base/gb2312.h"
#include "base/output.h"
#include "base/text.h"
#include "link/places.h"

namespace {

int length_of(const char* text)
{
    return static_cast<int>(strnlen(text, INT_MAX));
}

// What stands in front of the next cell.
std::string_view lead_of(unsigned& cells)
{
    return cells++ == 0 ? "\n" : ",";
}

} // namespace

bool open_export(ExportFile& file, char* name, size_t name_size)
{
    tm local = local_time(time(nullptr));
    Output out{.buffer = name, .size = name_size};
    append(&out, FORMAT("{}{}{}{}{}{}.csv"), local.tm_year + 1900, two_digits(local.tm_mon + 1),
           two_digits(local.tm_mday), two_digits(local.tm_hour), two_digits(local.tm_min),
           two_digits(local.tm_sec));
    char path[place::path_max];
    Output composed{.buffer = path, .size = sizeof path};
    append(&composed, FORMAT("{}/{}"), text_of(place::export_directory), text_of(name));
    file.stream = fopen(placed(path).text, "we");
    return file.stream != nullptr;
}

void export_text(ExportFile& file, unsigned& cells, const char* text)
{
    if (file.stream == nullptr)
        return;
    Output out{.stream = file.stream};
    append(&out, FORMAT("{}{}"), lead_of(cells), text_of(text));
}

void export_number(ExportFile& file, unsigned& cells, uint64_t value)
{
    if (file.stream == nullptr)
        return;
    Output out{.stream = file.stream};
    append(&out, FORMAT("{}{}"), lead_of(cells), value);
}

void export_header(ExportFile& file, unsigned& cells, const char* gb2312)
{
    char utf8[128 + 1] = {};
    gb2312_to_utf8(utf8, sizeof utf8 - 1, gb2312, length_of(gb2312));
    export_text(file, cells, utf8);
}

void export_record_text(ExportFile& file, unsigned& cells, const char* text)
{
    char gb2312[64 + 1] = {};
    if (!is_utf8(text, SIZE_MAX))
        return export_text(file, cells, text);
    utf8_to_gb2312(gb2312, sizeof gb2312 - 1, text, length_of(text));
    export_text(file, cells, gb2312);
}

bool close_export(ExportFile& file)
{
    if (file.stream == nullptr)
        return false;
    bool written = ferror(file.stream) == 0;
    written = fclose(file.stream) == 0 && written;
    file.stream = nullptr;
    return written;
}
