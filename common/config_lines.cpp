#include "common/config_lines.h"

#include "base/document.h"
#include "base/line_reader.h"
#include "base/text.h"

#include <algorithm>

PlacePath configuration_file(const char* name, size_t directory_max)
{
    const char* given = secure_getenv("KSETC");
    const char* directory = given != nullptr ? given : place::configuration_directory;
    PlacePath path{};
    if (strlen(directory) > directory_max)
        return path;
    format_text(path.text, FORMAT("{}{}"), text_of(directory), text_of(name));
    return given != nullptr ? path : placed(path.text);
}

// Leading blanks go before tabs become blanks: a line that begins with a tab has an empty word.
static char* prepare(char* line)
{
    line = skip_blanks(line);
    cut_line_end(line);
    std::replace(line, line + strlen(line), '\t', ' ');
    size_t length = strlen(line);
    while (length > 0 && line[length - 1] == ' ')
        length--;
    line[length] = '\0';
    return line;
}

int carry_line(char* line, RequestRecord& carrier)
{
    char* word = prepare(line);
    char* blank = strchr(word, ' ');
    if (*word == '#' || blank == nullptr)
        return -1;
    char* text = skip_blanks(blank);
    if (*text == '\0')
        return -1;
    carrier = {};
    carrier.carrier_kind = 2;
    carrier.data_address = reinterpret_cast<uintptr_t>(text);
    set_carrier_text(carrier, {word, static_cast<size_t>(blank - word)});
    return 0;
}

ConfigFile load_config_lines(const char* path, std::span<const LineHandler> handlers)
{
    LineReader reader;
    if (!reader.open(path))
        return ConfigFile::missing;
    char line[1024];
    RequestRecord carrier;
    while (reader.next(line))
        if (carry_line(line, carrier) == 0)
            for (const LineHandler& handler : handlers)
                if (handler.word == carrier_text(carrier)) {
                    handler.handle(carrier);
                    break;
                }
    return reader.failed() ? ConfigFile::cut : ConfigFile::whole;
}

bool CarriedArguments::next(std::string_view& key, char*& value)
{
    char* argument = rest_ != nullptr ? strsep(&rest_, " ") : nullptr;
    char* equals = argument != nullptr ? strchr(argument, '=') : nullptr;
    if (equals == nullptr) {
        rest_ = nullptr;
        return false;
    }
    key = {argument, static_cast<size_t>(equals - argument)};
    value = equals + 1;
    if (*value == '"') {
        value++;
        size_t length = strlen(value);
        if (length > 0 && value[length - 1] == '"')
            value[length - 1] = '\0';
    }
    return true;
}
