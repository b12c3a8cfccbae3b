#include "link/places.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const char* root()
{
    const char* given = secure_getenv("VIGIL_ROOT");
    return given != nullptr ? given : "";
}

} // namespace

PlacePath placed(const char* fixed)
{
    PlacePath path;
    snprintf(path.text, sizeof path.text, "%s%s", root(), fixed);
    return path;
}

bool root_is_usable()
{
    return strlen(root()) <= place::root_max;
}
