// Calls of the C library, of which FAULT in the environment says which is to fail:
//   alloc BYTES         malloc, calloc and realloc of just so many bytes
//   alloc-once N        the Nth allocation after main has begun (0: none)
//   alloc-from N        that one and all that follow
//   guard               nothing fails, but no memory lies behind a segment
//   open PATH [OTHER]   the file OTHER is opened instead, or none
//   fstat, mmap, shmget, shmat, send
//   shmctl              by its number: the mark, not the removal at the end
//   raise SIGNAL        comes when a segment has been created, or attached
//   stop BYTES          SIGTERM comes when so many are allocated
// FAULT_TIME in the environment is the second at which the clock stands still.
// FAULT_COUNT names a file for the bytes of each allocation after main had begun, and the file of the code that asked
// for them (? when it has been unloaded), one a line, written when the run ends by itself.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <iterator>
#include <sys/mman.h>
#include <sys/shm.h>
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

bool main_has_begun = false;
unsigned long allocations = 0;
struct Asked {
    size_t bytes;
    const void* by;
} asked[10000];

bool is_number(const char* text, unsigned long number)
{
    return text != nullptr && strtoul(text, nullptr, 10) == number;
}

bool refused(size_t bytes, const void* by)
{
    if (main_has_begun && ++allocations <= std::size(asked))
        asked[allocations - 1] = {bytes, by};
    if (is_number(fault("stop"), bytes))
        raise(SIGTERM);
    const char* from = fault("alloc-from");
    bool refuse = is_number(fault("alloc"), bytes) || (main_has_begun && is_number(fault("alloc-once"), allocations)) ||
                  (main_has_begun && from != nullptr && allocations >= strtoul(from, nullptr, 10));
    if (refuse)
        errno = ENOMEM;
    return refuse;
}

[[gnu::destructor]] void write_count()
{
    const char* path = getenv("FAULT_COUNT");
    const int file = path != nullptr ? static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, 0600)) : -1;
    const size_t count = std::min(allocations, std::size(asked)); // before the printing allocates
    for (size_t i = 0; file >= 0 && i < count; i++) {
        Dl_info code{};
        const bool loaded = dladdr(asked[i].by, &code) != 0;
        dprintf(file, "%zu %s\n", asked[i].bytes, loaded ? code.dli_fname : "?");
    }
}

int (*program_main)(int, char**, char**) = nullptr;

int main_of_program(int argc, char** argv, char** environment)
{
    main_has_begun = true;
    return program_main(argc, argv, environment);
}

// Attaches a segment in front of a page that nothing may touch.
long attach_before_guard(long (*real)(long, ...), long id, long flags)
{
    shmid_ds state{};
    if (shmctl(static_cast<int>(id), IPC_STAT, &state) != 0)
        return -1;
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t size = (state.shm_segsz + page - 1) / page * page;
    void* room = mmap(nullptr, size + page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return real(SYS_shmat, id, reinterpret_cast<long>(room), flags | SHM_REMAP);
}

int open_as_told(const char* path, int flags, unsigned mode)
{
    static auto* real = next<int(const char*, int, ...)>("open");
    const char* moved = fault("open");
    const size_t length = strlen(path);
    if (moved == nullptr || strncmp(moved, path, length) != 0 || strchr(" ", moved[length]) == nullptr)
        return real(path, flags, mode);
    if (moved[length] == ' ')
        return real(moved + length + 1, flags, mode);
    errno = EACCES;
    return -1;
}

} // namespace

extern "C" {
int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(), void (*fini)(), void (*end_of_loader)(),
                      void* end_of_stack);
int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(), void (*fini)(), void (*end_of_loader)(),
                      void* end_of_stack)
{
    using Start = int(int (*)(int, char**, char**), int, char**, void (*)(), void (*)(), void (*)(), void*);
    program_main = main;
    return next<Start>("__libc_start_main")(main_of_program, argc, argv, init, fini, end_of_loader, end_of_stack);
}

void* malloc(size_t size)
{
    static auto* real = next<void*(size_t)>("malloc");
    return refused(size, __builtin_return_address(0)) ? nullptr : real(size);
}

void* calloc(size_t count, size_t size)
{
    static auto* real = next<void*(size_t, size_t)>("calloc");
    return refused(count * size, __builtin_return_address(0)) ? nullptr : real(count, size);
}

void* realloc(void* block, size_t size)
{
    static auto* real = next<void*(void*, size_t)>("realloc");
    return refused(size, __builtin_return_address(0)) ? nullptr : real(block, size);
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
    const bool guarded = number == SYS_shmat && fault("guard") != nullptr;
    long result = refuse ? -1 : guarded ? attach_before_guard(real, a, c) : real(number, a, b, c);
    const char* signal = number == SYS_shmget || number == SYS_shmat ? fault("raise") : nullptr;
    if (signal != nullptr)
        raise(atoi(signal));
    return result;
}

// `open` and `fstat` as the program calls them, not the library itself; `__open_2` is what a checked build may call.
int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    return open_as_told(path, flags, mode);
}
int __open_2(const char* path, int flags);
int __open_2(const char* path, int flags)
{
    return open_as_told(path, flags, 0);
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
    const char* seconds = getenv("FAULT_TIME");
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
