// The daemons' side of a whole-program test.
#include "tests/support/program.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// A segment while a request is answered; it must be gone from here before the reply is out.
struct ScriptedDaemon::Segment {
    std::span<char> bytes;
    shmid_ds state{};
    explicit Segment(int id)
    {
        void* at = shmat(id, nullptr, 0);
        if (at != reinterpret_cast<void*>(-1) && shmctl(id, IPC_STAT, &state) == 0)
            bytes = {static_cast<char*>(at), state.shm_segsz};
    }
    ~Segment()
    {
        if (!bytes.empty())
            shmdt(bytes.data());
    }
    Segment(const Segment&) = delete;
};

namespace {

constexpr size_t record_size = 208;

// Where a process has a segment attached; the daemon's own place is among them when it is the same process.
std::vector<uint64_t> places_of(uint64_t segment_id, pid_t process)
{
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    std::vector<uint64_t> places;
    unsigned long first = 0, id = 0;
    for (std::string line; std::getline(maps, line);)
        if (sscanf(line.c_str(), "%lx-%*s %*s %*s %*s %lu", &first, &id) == 2 && id == segment_id &&
            line.find("/SYSV") != std::string::npos)
            places.push_back(first);
    return places;
}

bool all_zero(std::string_view bytes)
{
    return bytes.find_first_not_of('\0') == std::string_view::npos;
}

} // namespace

std::string socket_of(Daemon daemon)
{
    return daemon == Daemon::analysis     ? "/var/tmp/obslog.d"
           : daemon == Daemon::management ? "/usr/ramdisk/var/mgmt.d"
                                          : "/usr/ramdisk/var/obschartd.d";
}

static std::string user_arrays()
{
    Bytes arrays(5 * 56);
    arrays.u16(0, 9001).text(4, "USERONE"); // the second protocol is not in use
    arrays.u16(112, 9003).text(116, "USERTHREE");
    arrays.u16(168, 9101).text(172, "GROUPONE").u64(216, 0x7fffdeadbeefULL); // a pointer of the daemon's
    arrays.u64(272, 0x7fffdeadbee0ULL);                                      // also in the unused group
    return arrays.str();
}

ScriptedDaemon::ScriptedDaemon(const std::string& socket_path, std::vector<Exchange> exchanges) : exchanges_(std::move(exchanges))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof address.sun_path)
        throw std::runtime_error("socket path too long");
    memcpy(address.sun_path, socket_path.data(), socket_path.size());
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener_, 16) != 0)
        throw std::runtime_error("cannot listen at " + socket_path);
    thread_ = std::thread([this] { run(); });
}

void ScriptedDaemon::finish()
{
    if (!thread_.joinable())
        return;
    shutdown(listener_, SHUT_RDWR); // what has already connected is served before accepting fails
    thread_.join();
    close(listener_);
    for (const std::string& failure : failures_)
        ADD_FAILURE() << failure;
    EXPECT_EQ(exchanges_.size(), arrived_) << "number of requests";
}

void ScriptedDaemon::run()
{
    for (int connection; (connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(connection))
        serve(connection);
}

void ScriptedDaemon::serve(int connection)
{
    std::string record(record_size, '\0');
    ssize_t n = recv(connection, record.data(), record_size, MSG_WAITALL);
    if (n <= 0)
        return;
    compare("bytes of a request", record_size, static_cast<size_t>(n));
    static const Exchange unexpected{.request = {}, .reply = {.error = 99, .error_text = "UNEXPECTED_REQUEST"}};
    const bool known = arrived_ < exchanges_.size();
    const Exchange& exchange = known ? exchanges_[arrived_] : unexpected;
    std::string out;
    {
        Segment segment(static_cast<int>(read_le(&record[16], 4)));
        compare("the segment can be attached", false, segment.bytes.empty());
        if (known && !segment.bytes.empty())
            compare_request(exchange.request, record.data(), segment);
        if (exchange.reply.before)
            exchange.reply.before(segment.state.shm_cpid);
        out = reply_to(record, exchange.reply, segment.bytes);
    }
    arrived_++;
    send(connection, out.data(), exchange.reply.cut_at, MSG_NOSIGNAL);
}

template <class A, class B> void ScriptedDaemon::compare(const char* what, const A& expected, const B& actual)
{
    if (!(expected == actual))
        failures_.push_back("request " + std::to_string(arrived_) + ": " + what + ": expected " + testing::PrintToString(expected) +
                            ", arrived " + testing::PrintToString(actual));
}

void ScriptedDaemon::compare_request(const Request& expected, const char* r, const Segment& segment)
{
    compare("code", expected.code, read_le(r, 4));
    compare("module", expected.module, std::string(r + 36, strnlen(r + 36, 116)));
    compare("data length", expected.data.length, static_cast<int32_t>(read_le(r + 4, 4)));
    compare("dictionary request", expected.wants_dictionary, r[20] != 0);
    compare("cursor", expected.cursor, static_cast<int32_t>(read_le(r + 156, 4)));
    compare("count", 0U, read_le(r + 164, 4));
    compare("error", 0U, read_le(r + 32, 4));
    compare("segment size in the record", segment.bytes.size(), read_le(r + 172, 4));
    if (expected.segment_size != 0)
        compare("segment size", expected.segment_size, segment.bytes.size());
    compare("segment mode", 0600U, segment.state.shm_perm.mode & 0777);
    auto now = static_cast<uint64_t>(time(nullptr));
    compare("request time is current", true, read_le(r + 200, 4) + 60 > now && read_le(r + 200, 4) <= now);
    const uint64_t address = read_le(r + 8, 8);
    if (expected.address)
        compare("data address", *expected.address, address);
    else
        compare("data address is the segment", 1, std::ranges::count(places_of(read_le(r + 16, 4), segment.state.shm_cpid), address));
    for (auto [offset, size] : {std::pair{21U, 11U}, {152U, 4U}, {160U, 4U}, {184U, 16U}, {204U, 4U}})
        compare("reserved bytes are zero", true, all_zero({r + offset, size}));
    std::string_view area(segment.bytes.data(), segment.bytes.size());
    if (expected.data.length > 0)
        compare("argument text", expected.data.text, std::string(area.substr(0, area.find('\0'))));
    else if (arrived_ == 0) // later an answer lies there
        compare("a segment without text is empty", true, all_zero(area));
}

std::string ScriptedDaemon::reply_to(const std::string& record, const Reply& reply, std::span<char> segment)
{
    Bytes out(record);
    const bool arrays = record[20] != 0 && reply.error == 0;
    const std::string answer = (arrays ? user_arrays() : "") + reply.answer;
    compare("the script's answer fits the segment", true, answer.size() <= segment.size());
    memcpy(segment.data(), answer.c_str(), std::min(answer.size() + 1, segment.size()));
    // What the client has to write anew into a next request, and to read nowhere, comes back as nonsense.
    out.u32(0, 0xdeadbeef).i32(4, 0x7ffffff0).u64(8, 0x1000).i32(16, -1).u8(20, 1);
    out.text(36, "nonsense", 116).u32(172, ~0U).u64(176, ~0xffffULL).u32(200, 1);
    out.u8(21, reply.last ? 1 : 0).i32(32, reply.error).i32(156, reply.cursor).i32(164, reply.count);
    out.i32(168, reply.length.value_or(static_cast<int32_t>(reply.answer.size())));
    if (reply.error != 0)
        out.text(36, reply.error_text, 116);
    if (reply.edit)
        reply.edit(out, segment);
    return out.str();
}
