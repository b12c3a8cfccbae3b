#include "base/output.h"
#include "cli/dispatch.h"
#include "cli/signals.h"

#include <fcntl.h>
#include <unistd.h>

// A closed descriptor 0 to 2 would be taken by the next file or socket. Output on a read-only /dev/null
// fails, as on the closed descriptor, and shows in the exit status.
static void open_standard_descriptors()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != fd)
            _exit(255);
}

int main(int argc, char** argv)
{
    open_standard_descriptors();
    ignore_write_signals();
    int status = dispatch(argc, argv);
    form::finish(status);
    return flush_output() ? status : 255; // what the caller did not get is never a success
}
