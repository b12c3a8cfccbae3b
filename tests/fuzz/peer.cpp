#include "tests/fuzz/fuzz.h"

#include "wire/dictionary.h"
#include "wire/request.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <utility>
#include <vector>

namespace {

Input* input = nullptr;
Peer peer;
char* segment = nullptr;
size_t segment_size = 0;

// ---- Changes between any two reads: while nobody may touch the segment each access is a fault. Its handler changes
// what is about to be read, and lets the one instruction through.

constexpr size_t page = 4096;
char* region = nullptr; // the pages of a changing segment, between two that may not be touched
size_t region_size = 0;
bool watching = false;
unsigned accesses_left = 0;
std::vector<char> was_read; // from there on, since the reply

void watch(bool on)
{
    watching = on && peer.changing && accesses_left > 0;
    if (peer.changing && segment != nullptr)
        mprotect(region, region_size, watching ? PROT_NONE : PROT_READ | PROT_WRITE);
}

uint64_t chance(uint64_t of)
{
    peer.seed = peer.seed * 6364136223846793005 + 1442695040888963407;
    return (peer.seed >> 33) % of;
}

// What is read for the first time is what the input says.
[[maybe_unused]] void change(char* at)
{
    if (at < segment || at >= segment + segment_size || !std::exchange(was_read[static_cast<size_t>(at - segment)], 1))
        return;
    at += chance(4);
    if (chance(1U << peer.odds) != 0 || at >= segment + segment_size)
        return;
    const int values[] = {0, 0xFF, *at ^ 0x80, static_cast<int>(chance(256))};
    *at = static_cast<char>(values[chance(4)]);
}

#ifdef __x86_64__
constexpr long long one_step = 0x100; // the trap flag
struct sigaction fault_before;

void on_fault(int, siginfo_t* information, void* context)
{
    char* at = static_cast<char*>(information->si_addr);
    if (!watching || at < region || at >= region + region_size) {
        sigaction(SIGSEGV, &fault_before, nullptr); // the access repeats and is reported
        return;
    }
    mprotect(region, region_size, PROT_READ | PROT_WRITE);
    change(at);
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] |= one_step;
}

void on_step(int, siginfo_t*, void* context)
{
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~one_step;
    accesses_left -= accesses_left > 0;
    watch(true);
}

bool can_watch()
{
    struct sigaction action {};
    action.sa_flags = SA_SIGINFO;
    action.sa_sigaction = on_step;
    sigaction(SIGTRAP, &action, nullptr);
    action.sa_sigaction = on_fault;
    return sigaction(SIGSEGV, &action, &fault_before) == 0;
}
#else
bool can_watch()
{
    return false;
}
#endif

char* make_segment()
{
    if (!peer.changing)
        return new char[segment_size]();
    region_size = (segment_size + page - 1) / page * page;
    void* room = mmap(nullptr, region_size + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    region = static_cast<char*>(room) + page;
    expect(room != MAP_FAILED && mprotect(region, region_size, PROT_READ | PROT_WRITE) == 0, "no room for a segment");
    return region + region_size - segment_size;
}

void drop_segment()
{
    watching = false;
    if (!peer.changing)
        delete[] segment;
    else if (segment != nullptr)
        munmap(region - page, region_size + 2 * page);
    segment = nullptr;
}

// ---- Replies

// A number of records or bytes: small ones as they are, then those at the bounds of what somebody checks.
int32_t read_number()
{
    constexpr uint32_t record_sizes[] = {1, 4, 24, 48, 56, 64, 92, 96, 104, 120, 132, 136, 208, 228, 252, 304, 352, 356, 848, 3844};
    constexpr int32_t others[] = {-1, INT32_MIN, INT32_MAX, 0x10000};
    const size_t code = input->number(), bounds = 2 * std::size(record_sizes), first = 256 - bounds - std::size(others);
    if (code < first)
        return static_cast<int32_t>(code);
    if (code < 256 - bounds)
        return others[code - first];
    const size_t bound = code - (256 - bounds); // what fits, and one more
    return static_cast<int32_t>(segment_size / record_sizes[bound / 2] + bound % 2);
}

// False: the daemon closes without one.
bool reply(RequestRecord& record)
{
    if (input->left.empty())
        return false;
    const uint8_t kind = input->number();
    record.last_batch = kind & 1;
    record.error = (kind & 2) != 0 ? input->number() : 0;
    if (record.error != 0)
        record.text.assign(input->text());
    record.count = read_number();
    record.length = read_number();
    record.segment_size = static_cast<uint32_t>(read_number());
    const std::string_view wild = input->rest((kind & 4) != 0 ? sizeof record : 0);
    memcpy(static_cast<void*>(&record), wild.data(), wild.size());
    const std::string_view answer = input->rest(std::min<size_t>(input->number<uint16_t>(), segment_size));
    size_t at = answer.copy(segment, answer.size());
    const bool repeated = (kind & 8) != 0 && at > 0;
    for (size_t piece; repeated && (piece = std::min(at, segment_size - at)) > 0; at += piece)
        memcpy(segment + at, segment, piece);
    return true;
}

// ---- The dictionary library: arrays of just the size that it says, up to more than a segment holds

std::vector<std::unique_ptr<UserDictionaryRecord[]>> arrays;
unsigned registered = 0;
char entry[44] = "\1\0\0\0name\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0second \xd6\xd0";

using Operation = void (*)();
template <class Function> Operation operation(Function* function)
{
    return reinterpret_cast<Operation>(function);
}

struct Operations {
    Operation slot[44] = {};
    Operations()
    {
        using namespace dictionary_slot;
        slot[initialise] = operation(+[] {});
        slot[name] = operation(+[](uint32_t id) -> const char* { return id % 2 != 0 ? entry + 4 : nullptr; });
        slot[second_name] = operation(+[](uint32_t) -> const char* { return entry + 24; });
        slot[entry_by_name] = operation(+[](const char* text) -> const void* { return *text != 'x' ? entry : nullptr; });
        slot[entry_by_id] = operation(+[](uint32_t id) -> const char* { return id != 0 ? entry : nullptr; });
        slot[user_protocols] = operation(+[] { return peer.protocols; });
        slot[user_groups] = operation(+[] { return peer.groups; });
        slot[register_user] = operation(+[](UserDictionaryRecord* record) {
            registered += static_cast<unsigned>(record->library_link) + static_cast<unsigned>(record->name.view().size());
        });
    }
} operations;
Operations* table = &operations;

} // namespace

void begin_peer(Input& answers, const Peer& wanted)
{
    static const bool able = can_watch();
    input = &answers;
    peer = wanted;
    peer.changing = peer.changing && able;
    accesses_left = 4000;
}

void end_peer()
{
    drop_segment();
    arrays.clear();
    input = nullptr;
}

#pragma GCC diagnostic ignored "-Wmissing-declarations"
extern "C" {
long __real_syscall(long number, ...);
void* __real_dlopen(const char* path, int flags);
void* __real_dlsym(void* library, const char* name);

// As link/rpc_session makes its segment.
long __wrap_syscall(long number, ...)
{
    va_list list;
    va_start(list, number);
    const auto first = va_arg(list, long), second = va_arg(list, long), third = va_arg(list, long);
    va_end(list);
    if (input == nullptr)
        return __real_syscall(number, first, second, third);
    if (number == SYS_shmget)
        segment_size = static_cast<size_t>(second);
    return number == SYS_shmat ? reinterpret_cast<long>(segment = make_segment()) : 0;
}

int __wrap_shmdt(const void*)
{
    drop_segment();
    return 0;
}

// socket_connect, send_all, receive_all of link/control_socket.h
int __wrap__Z14socket_connectPKc(const char*)
{
    return INT32_MAX;
}

int __wrap__Z8send_alliPKvi(int, const void*, int)
{
    watch(false);
    return 0;
}

int __wrap__Z11receive_alliPvi(int, void* record, int)
{
    errno = 0;
    if (!reply(*static_cast<RequestRecord*>(record)))
        return -1;
    was_read.assign(segment_size, 0);
    watch(true);
    return 0;
}

void* __wrap_dlopen(const char* path, int flags)
{
    return input == nullptr ? __real_dlopen(path, flags) : peer.library ? &operations : nullptr;
}

// The sanitizers ask it for what they stand in front of, before they can watch anything.
UNWATCHED void* __wrap_dlsym(void* library, const char* name)
{
    if (input == nullptr)
        return __real_dlsym(library, name);
    if (strcmp(name, "_axpdict") == 0)
        return &table;
    const int count = strcmp(name, "_usraxps") == 0 ? peer.protocols : peer.groups;
    return arrays.emplace_back(new UserDictionaryRecord[static_cast<size_t>(std::clamp(count, 0, 512))]).get();
}

int __wrap_dlclose(void*)
{
    arrays.clear();
    return 0;
}
}
