#include "cli/not_supported.h"

#include "base/output.h"

int not_supported(int, char**)
{
    print_line("NOT_SUPPORTED");
    return -1;
}
