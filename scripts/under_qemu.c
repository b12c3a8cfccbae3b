// Stands where a test expects a program for this machine and runs the one for arm64: below .../native/ it lies, below
// .../arm64/ is what it starts. Linked statically, so that a library that is to be loaded in front of the program's
// (LD_PRELOAD) is not tried here; qemu hands it on.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    char path[4096], preload[4096 + 16];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length < 0)
        return 126;
    path[length] = '\0';
    char* machine = strstr(path, "/native/");
    if (machine == NULL)
        return 126;
    memcpy(machine, "/arm64/", strlen("/arm64/")); // one byte shorter
    memmove(machine + strlen("/arm64/"), machine + strlen("/native/"), strlen(machine + strlen("/native/")) + 1);

    char* words[1024] = {"qemu-aarch64", "-0", argv[0]};
    int count = 3;
    const char* library = getenv("LD_PRELOAD");
    if (library != NULL) {
        snprintf(preload, sizeof preload, "LD_PRELOAD=%s", library);
        words[count++] = "-E";
        words[count++] = preload;
        unsetenv("LD_PRELOAD");
    }
    words[count++] = path;
    for (int i = 1; i < argc && count < 1023; i++)
        words[count++] = argv[i];
    execv("/usr/bin/qemu-aarch64", words);
    return 127;
}
