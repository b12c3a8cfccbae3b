#include "common/english_only.h"

#include <cstdio>
#include <cstring>

#include "base/line_reader.h"
#include "link/places.h"

bool english_only()
{
    LineReader settings;
    const PlacePath path = placed(place::english_only);
    if (!settings.open(path.text))
        return false;
    char line[1024]; // a longer line counts as several
    bool found = false;
    while (!found && settings.next(line))
        found = strncmp(line, "ENONLY=1", 8) == 0;
    if (settings.failed())
        perror(path.text);
    return found;
}
