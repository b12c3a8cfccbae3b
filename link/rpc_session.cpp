#include "link/rpc_session.h"

#include "base/document.h"
#include "base/stop_signals.h"
#include "link/answer.h"
#include "link/argument_text.h"
#include "link/control_socket.h"
#include "link/dictionary.h"
#include "link/orphans.h"
#include "link/places.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr size_t segment_min = 4096;

// Process-wide; each item is reset to its empty value as it is released, so closing twice is harmless.
// volatile: the stop handler reads and resets them.
volatile int socket_fd = -1;
volatile int segment_id = -1;
char* volatile segment_base = nullptr;
volatile bool removal_is_due = false; // the segment is not marked for removal yet
uint32_t segment_size = 0;
uint32_t segment_mapped = 0; // bytes that need no page fault any more
PlacePath default_path;

void close_socket()
{
    int fd = socket_fd;
    socket_fd = -1;
    if (fd >= 0)
        close(fd);
}

void remove_segment()
{
    int id = segment_id;
    segment_id = -1;
    if (id >= 0 && removal_is_due)
        shmctl(id, IPC_RMID, nullptr);
}

void release_segment()
{
    char* base = segment_base;
    segment_base = nullptr;
    if (base != nullptr)
        shmdt(base);
    remove_segment();
}

// Creates and attaches the segment and marks it for removal. From the mark on the kernel ends it with the
// last process that is attached, however that process ends; daemons attach by its id all the same.
int make_segment(size_t size)
{
    // A SIGKILL between creation and mark leaves the segment to remove_orphaned_segments() of a later run:
    // nothing but the three calls may stand between them. Through syscall(2) they are one function to bind at
    // start.
    auto id = static_cast<int>(syscall(SYS_shmget, IPC_PRIVATE, size, IPC_CREAT | 0600));
    if (id < 0) {
        return refuse(FORMAT("rpc_init: shmget fail({})"), text_of(strerror(errno)));
    }
    segment_id = id;
    removal_is_due = true;
    long address = syscall(SYS_shmat, id, nullptr, 0);
    if (address == -1) {
        return refuse(FORMAT("rpc_init: shmat fail({})"), text_of(strerror(errno)));
    }
    segment_base = reinterpret_cast<char*>(address);
    removal_is_due = syscall(SYS_shmctl, id, IPC_RMID, nullptr) != 0;
    return 0;
}

template <RowFormat Format, class... Values>
void set_transport_error(RequestRecord& record, Format format, const Values&... values)
{
    char text[decltype(record.text)::width];
    format_text(text, format, values...);
    record.error = error_code::transport;
    record.text.assign(text);
}

// Puts data that a record has elsewhere into the segment. False when the data, wherever it is, is longer than
// the segment (or its length negative).
bool place_data(const RequestRecord& record)
{
    if (static_cast<uint32_t>(record.data_length) > segment_size)
        return false;
    const void* data = reinterpret_cast<const void*>(record.data_address);
    if (data != nullptr && data != segment_base)
        memcpy(segment_base, data, static_cast<size_t>(record.data_length));
    return true;
}

// Maps a long answer at once: a page fault for each of its pages takes twice as long. A daemon's length is a
// hint here, and a kernel that cannot do it leaves the faults as they are.
void map_answer(int32_t length)
{
    constexpr uint32_t worth_a_call = 64 * 1024;
    const uint32_t wanted = std::min(static_cast<uint32_t>(std::max(length, 0)), segment_size);
    if (wanted < segment_mapped + worth_a_call)
        return;
    syscall(SYS_madvise, segment_base, wanted, MADV_POPULATE_READ);
    segment_mapped = wanted;
}

// Connects if need be, sends the record and receives the reply over it. The reply's text is an error text
// only when its error code says so.
void transfer(const char* path, RequestRecord& record)
{
    if (!place_data(record)) {
        set_transport_error(record, FORMAT("ARG_TOO_LONG"));
        return;
    }
    if (socket_fd < 0)
        socket_fd = socket_connect(path);
    if (socket_fd < 0) {
        set_transport_error(record, FORMAT("can't connect {}"), text_of(path));
        return;
    }
    record.error = 0;
    record.segment_size = segment_size;
    record.segment_id = segment_id;
    record.time = static_cast<uint32_t>(time(nullptr));
    errno = 0; // a peer that just closes sets none: the text must not name an older failure
    if (send_all(socket_fd, &record, sizeof record) != 0)
        set_transport_error(record, FORMAT("s_{}_{}"), text_of(strerror(errno)), errno);
    else if (receive_all(socket_fd, &record, sizeof record) != 0)
        set_transport_error(record, FORMAT("r_{}_{}"), text_of(strerror(errno)), errno);
    else
        record.answer_address = reinterpret_cast<uintptr_t>(segment_base);
    if (record.error == 0)
        map_answer(record.length);
}

int show_answer(RequestRecord& record)
{
    if (rpc_exchange(record) != 0)
        return print_error(record);
    if (record.length > 0)
        print_answer(text_in(answer_of(record)));
    return 0;
}

int request(const char* module, uint32_t code, int argc, char** argv)
{
    RequestRecord record;
    ArgumentText text;
    text.append_all_trailing(argc, argv);
    if (!start_request(record, code, module) || !text.finish(record, ArgumentText::count_nul))
        return -1;
    return show_answer(record);
}

} // namespace

int rpc_init(const char* path, size_t size)
{
    socket_fd = socket_connect(path);
    if (socket_fd < 0) {
        return refuse<LineEnd::no>(FORMAT("can't connect to {}"), text_of(path));
    }
    if (size < segment_min)
        size = segment_min;
    remove_orphaned_segments();
    // Whatever ends the run between creating and marking would leave the segment behind.
    sigset_t before = hold_every_signal();
    int made = make_segment(size);
    restore_signals(before);
    if (made != 0) {
        rpc_close(false);
        return -1;
    }
    segment_size = static_cast<uint32_t>(size);
    segment_mapped = 0;
    format_text(default_path.text, FORMAT("{}"), text_of(path));
    return 0;
}

int rpc_exchange(const char* path, RequestRecord& record)
{
    if (segment_base == nullptr) {
        return refuse("shminit fail");
    }
    // Asked of the request: what a daemon puts into the reply's byte does not load a library.
    bool wants_dictionary = record.wants_dictionary != 0;
    transfer(path, record);
    if (record.error == 0 && wants_dictionary && dictionary_take(record, segment_base, segment_size) != 0)
        return -1; // the socket stays open until the session closes
    close_socket();
    return record.error;
}

int rpc_exchange(RequestRecord& record)
{
    return rpc_exchange(default_path.text, record);
}

char* rpc_segment()
{
    return segment_base;
}

uint32_t rpc_segment_size()
{
    return segment_base != nullptr ? segment_size : 0;
}

void rpc_close(bool unload)
{
    if (unload)
        dictionary_unload();
    close_socket();
    release_segment();
}

void rpc_close_but_for_reading()
{
    close_socket();
    remove_segment();
}

void rpc_syncdesc()
{
    RequestRecord record;
    start_request(record, sync_dictionary, nullptr); // no data: neither length nor address
    record.wants_dictionary = 1;
    if (rpc_exchange(record) != 0)
        note(FORMAT("rpc_syncdesc: {}({})"), record.text, record.error);
    else
        dictionary_mark_synced();
}

int rpc_raw(uint32_t code, int argc, char** argv)
{
    return request(nullptr, code, argc, argv);
}

int rpc_generic(const char* module, uint32_t code, int argc, char** argv)
{
    return request(module, code, argc, argv);
}

bool start_request(RequestRecord& record, uint32_t code, const char* module)
{
    record = {};
    record.code = code;
    return set_module(record, module);
}

bool set_module(RequestRecord& record, const char* module)
{
    const std::string_view name = text_of(module); // typed, in some commands
    const bool fits = record.text.assign(name, decltype(record.text)::width - 1);
    if (fits && !form::refuses_argument(name))
        return true;
    refuse(fits ? "INV_ARG" : "ARG_TOO_LONG");
    return false;
}

int print_error(const RequestRecord& reply)
{
    return refuse(reply.text.view());
}
