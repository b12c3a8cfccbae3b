#pragma once
// Comma-separated export of a report's rows, a file of the appliance's export directory named after the
// moment.
#include <cstddef>
#include <cstdint>
#include <cstdio>

struct ExportFile {
    FILE* stream = nullptr;
};

// Creates the file and leaves its name, without the directory, in `name` (reports use 128 bytes). A second
// export within the same second truncates the first. False when the file cannot be created.
bool open_export(ExportFile& file, char* name, size_t name_size);

// Cells are written as they are: no quotes, no escapes. `cells` counts those of the current row; the report
// sets it to 0 for each row. A row begins, not ends, with a line feed. Nothing happens while the file is not
// open.
void export_text(ExportFile& file, unsigned& cells, const char* text);
void export_number(ExportFile& file, unsigned& cells, uint64_t value);

// The two kinds of text a report has: header texts, held in GB2312, go out in UTF-8; texts of records go out
// in GB2312 when they are UTF-8, and raw otherwise. Such an export is mixed on purpose.
void export_header(ExportFile& file, unsigned& cells, const char* gb2312);
void export_record_text(ExportFile& file, unsigned& cells, const char* text);

// True when every byte went out; false when some were lost, or when no file was open.
bool close_export(ExportFile& file);
