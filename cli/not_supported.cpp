#include "cli/not_supported.h"

#include "base/document.h"

int not_supported(int, char**)
{
    return refuse("NOT_SUPPORTED");
}
