// Stands where a program for this machine is expected and runs the one for arm64 that lies beside it, NAME.arm64.
// Linked statically, so that a library that is to be loaded in front of the program's (LD_PRELOAD) is not tried here;
// qemu hands it on.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    char path[4096], preload[4096 + 16];
    const char ending[] = ".arm64";
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - sizeof ending);
    char** words = calloc((size_t)argc + 6, sizeof *words);
    if (length < 0 || (size_t)length == sizeof path - sizeof ending || words == NULL)
        return 126;
    memcpy(path + length, ending, sizeof ending);

    int count = 0;
    words[count++] = "qemu-aarch64";
    words[count++] = "-0";
    words[count++] = argv[0];
    const char* library = getenv("LD_PRELOAD");
    if (library != NULL) {
        snprintf(preload, sizeof preload, "LD_PRELOAD=%s", library);
        words[count++] = "-E";
        words[count++] = preload;
        unsetenv("LD_PRELOAD");
    }
    words[count++] = path;
    for (int i = 1; i < argc; i++)
        words[count++] = argv[i];
    execv("/usr/bin/qemu-aarch64", words);
    return 127;
}
