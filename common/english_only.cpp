#include "common/english_only.h"

#include <cstring>

#include "common/line_reader.h"
#include "link/places.h"

bool english_only()
{
    LineReader settings;
    if (!settings.open(placed(place::english_only).text))
        return false;
    char line[1024]; // a longer line counts as several
    bool found = false;
    while (!found && settings.next(line))
        found = strncmp(line, "ENONLY=1", 8) == 0;
    return found;
}
