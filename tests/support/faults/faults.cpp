// Calls of the C library, of which FAULT in the environment says which is to fail:
//   alloc BYTES         malloc, calloc and realloc of just so many bytes
//   fopen PATH [OTHER]  the file OTHER is opened instead, or none
//   open PATH
//   fstat, mmap, shmget, shmat, send
//   shmctl              by its number: the mark, not the removal at the end
//   raise SIGNAL        comes when a segment has been created, or attached
//   time SECONDS        nothing fails, but the clock stands still
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// What follows the call's name in FAULT; null when it is not the one to fail.
const char* fault(const char* call)
{
    const char* text = getenv("FAULT");
    size_t length = strlen(call);
    bool named = text != nullptr && strncmp(text, call, length) == 0 && strchr(" ", text[length]) != nullptr;
    return named ? text + length + (text[length] == ' ') : nullptr;
}

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool refused(size_t bytes)
{
    const char* size = fault("alloc");
    bool refuse = size != nullptr && strtoul(size, nullptr, 10) == bytes;
    if (refuse)
        errno = ENOMEM;
    return refuse;
}

} // namespace

extern "C" {
void* malloc(size_t size)
{
    static auto* real = next<void*(size_t)>("malloc");
    return refused(size) ? nullptr : real(size);
}

void* calloc(size_t count, size_t size)
{
    static auto* real = next<void*(size_t, size_t)>("calloc");
    return refused(count * size) ? nullptr : real(count, size);
}

void* realloc(void* block, size_t size)
{
    static auto* real = next<void*(void*, size_t)>("realloc");
    return refused(size) ? nullptr : real(block, size);
}

FILE* fopen(const char* path, const char* mode)
{
    static auto* real = next<FILE*(const char*, const char*)>("fopen");
    const char* moved = fault("fopen");
    if (moved == nullptr || strncmp(moved, path, strlen(path)) != 0)
        return real(path, mode);
    moved += strcspn(moved, " ");
    return real(moved + (*moved == ' '), mode); // the empty path is no file
}

long syscall(long number, ...) noexcept
{
    static auto* real = next<long(long, ...)>("syscall");
    va_list arguments;
    va_start(arguments, number);
    long a = va_arg(arguments, long), b = va_arg(arguments, long), c = va_arg(arguments, long);
    va_end(arguments);
    bool refuse =
        (number == SYS_shmget && fault("shmget")) || (number == SYS_shmat && fault("shmat")) || (number == SYS_shmctl && fault("shmctl"));
    if (refuse)
        errno = number == SYS_shmget ? ENOSPC : ENOMEM;
    long result = refuse ? -1 : real(number, a, b, c);
    const char* signal = number == SYS_shmget || number == SYS_shmat ? fault("raise") : nullptr;
    if (signal != nullptr)
        raise(atoi(signal));
    return result;
}

// `open` and `fstat` as the program calls them, not the library itself.
int open(const char* path, int flags, ...)
{
    static auto* real = next<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    const char* refused_path = fault("open");
    if (refused_path == nullptr || strcmp(refused_path, path) != 0)
        return real(path, flags, mode);
    errno = EACCES;
    return -1;
}

int fstat(int fd, struct stat* status) noexcept
{
    static auto* real = next<int(int, struct stat*)>("fstat");
    if (fault("fstat") == nullptr)
        return real(fd, status);
    errno = EIO;
    return -1;
}

void* mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset) noexcept
{
    static auto* real = next<void*(void*, size_t, int, int, int, off_t)>("mmap");
    if (fault("mmap") == nullptr)
        return real(address, size, protection, flags, fd, offset);
    errno = ENOMEM;
    return MAP_FAILED;
}

time_t time(time_t* at) noexcept
{
    static auto* real = next<time_t(time_t*)>("time");
    const char* seconds = fault("time");
    if (seconds == nullptr)
        return real(at);
    time_t now = atol(seconds);
    if (at != nullptr)
        *at = now;
    return now;
}

ssize_t send(int fd, const void* data, size_t size, int flags)
{
    static auto* real = next<ssize_t(int, const void*, size_t, int)>("send");
    if (fault("send") == nullptr)
        return real(fd, data, size, flags);
    errno = ECONNRESET;
    return -1;
}
}
