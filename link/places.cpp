#include "link/places.h"

#include "base/document.h"

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
    format_text(path.text, FORMAT("{}{}"), text_of(root()), text_of(fixed));
    return path;
}

const char* root_fault()
{
    const char* given = root();
    if (strlen(given) > place::root_max)
        return "VIGIL_ROOT is too long";
    if (*given != '\0' && *given != '/')
        return "VIGIL_ROOT is no absolute path";
    return strchr(given, ':') != nullptr ? "VIGIL_ROOT holds a ':'"
                                         : nullptr; // sockets below it would be IPv4 endpoints
}
