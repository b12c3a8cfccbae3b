// The daemons' side of a whole-program test.
#include "tests/support/program.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr size_t record_size = 208;

// A segment while a request is answered; it must be gone from here before the reply is out.
struct Segment {
    std::span<char> bytes;
    int mode = 0;
    pid_t creator = 0;
    explicit Segment(int id)
    {
        void* at = shmat(id, nullptr, 0);
        if (at == reinterpret_cast<void*>(-1))
            return;
        shmid_ds state{};
        shmctl(id, IPC_STAT, &state);
        bytes = {static_cast<char*>(at), state.shm_segsz};
        mode = state.shm_perm.mode & 0777;
        creator = state.shm_cpid;
    }
    ~Segment()
    {
        if (!bytes.empty())
            shmdt(bytes.data());
    }
    Segment(const Segment&) = delete;
};

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

std::string shown(std::string_view text)
{
    return testing::PrintToString(std::string(text));
}

} // namespace

struct ScriptedDaemon::Script {
    std::vector<Exchange> exchanges = {};
    int listener = -1, stop[2] = {-1, -1};
    std::thread thread = {};
    size_t arrived = 0; // touched by the thread only, until it is joined
    std::vector<std::string> failures = {};
    std::vector<std::string> records = {}; // as they arrived
    std::atomic<pid_t> client = 0;

    template <class A, class B> void compare(const char* what, const A& expected, const B& actual)
    {
        if (!(expected == actual))
            failures.push_back("request " + std::to_string(arrived) + ": " + what + ": expected " + testing::PrintToString(expected) +
                               ", arrived " + testing::PrintToString(actual));
    }
    void run();
    bool end();
    void serve(int connection);
    void compare_request(const Request& expected, const std::string& record, const Segment& segment);
    void compare_address(const Request& expected, uint64_t address, const std::vector<uint64_t>& places);
    static void send_reply(int connection, const std::string& record, const Reply& reply);
    std::string reply_to(const std::string& record, const Reply& reply, Segment& segment);
};

std::string socket_of(Daemon daemon)
{
    return daemon == Daemon::analysis     ? "/var/tmp/obslog.d"
           : daemon == Daemon::management ? "/usr/ramdisk/var/mgmt.d"
                                          : "/usr/ramdisk/var/obschartd.d";
}

std::string user_arrays()
{
    Bytes arrays(5 * 56);
    arrays.u16(0, 9001).text(4, "USERONE"); // the second protocol is not in use
    arrays.u16(112, 9003).text(116, "USERTHREE");
    arrays.u16(168, 9101).text(172, "GROUPONE").u64(216, 0x7fffdeadbeefULL); // a pointer of the daemon's
    arrays.u64(272, 0x7fffdeadbee0ULL);                                      // also in the unused group
    return arrays.str();
}

ScriptedDaemon::ScriptedDaemon(const std::string& socket_path, std::vector<Exchange> exchanges)
    : script_(new Script{.exchanges = std::move(exchanges)})
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof address.sun_path)
        throw std::runtime_error("socket path too long");
    memcpy(address.sun_path, socket_path.data(), socket_path.size());
    script_->listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (bind(script_->listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(script_->listener, 16) != 0 ||
        pipe2(script_->stop, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot listen at " + socket_path);
    script_->thread = std::thread([this] { script_->run(); });
}

ScriptedDaemon::~ScriptedDaemon()
{
    finish();
    delete script_;
}

// Returns false when the thread has ended before.
bool ScriptedDaemon::Script::end()
{
    if (!thread.joinable())
        return false;
    if (write(stop[1], "", 1) != 1)
        abort();
    thread.join();
    for (int fd : {listener, stop[0], stop[1]})
        close(fd);
    return true;
}

void ScriptedDaemon::abandon()
{
    script_->end();
}

void ScriptedDaemon::finish()
{
    if (!script_->end())
        return;
    for (const std::string& failure : script_->failures)
        ADD_FAILURE() << failure;
    EXPECT_EQ(script_->exchanges.size(), script_->arrived) << "number of requests";
    for (size_t i = 0; i < script_->records.size() && i < script_->exchanges.size(); i++)
        if (script_->exchanges[i].request.check)
            script_->exchanges[i].request.check(script_->records[i]);
}

pid_t ScriptedDaemon::client() const
{
    return script_->client;
}

// What has already connected is served before the stop counts.
void ScriptedDaemon::Script::run()
{
    for (;;) {
        pollfd ends[] = {{listener, POLLIN, 0}, {stop[0], POLLIN, 0}};
        if (poll(ends, 2, -1) < 0)
            continue;
        if (ends[0].revents == 0)
            return;
        int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            continue;
        serve(connection);
        close(connection);
    }
}

void ScriptedDaemon::Script::serve(int connection)
{
    std::string record(record_size, '\0');
    ssize_t n = recv(connection, record.data(), record_size, MSG_WAITALL);
    if (n <= 0)
        return;
    compare("bytes of a request", record_size, static_cast<size_t>(n));
    static const Exchange unexpected{.request = {}, .reply = {.error = 99, .error_text = "UNEXPECTED_REQUEST"}};
    bool known = arrived < exchanges.size();
    const Exchange& exchange = known ? exchanges[arrived] : unexpected;
    records.push_back(record);
    std::string out;
    {
        Segment segment(static_cast<int>(read_le(&record[16], 4)));
        client = segment.creator;
        if (segment.bytes.empty())
            failures.push_back("the segment cannot be attached");
        else if (known)
            compare_request(exchange.request, record, segment);
        else
            failures.push_back("a request beyond the script: code " + std::to_string(read_le(&record[0], 4)) + ", module " +
                               shown(&record[36]) + ", text " + shown(segment.bytes.data()));
        if (exchange.reply.before)
            exchange.reply.before(segment.creator);
        out = reply_to(record, exchange.reply, segment);
    }
    arrived++;
    if (!exchange.reply.close_without_reply)
        send_reply(connection, out, exchange.reply);
}

void ScriptedDaemon::Script::compare_request(const Request& expected, const std::string& record, const Segment& segment)
{
    const char* r = record.data();
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
    compare("segment mode", 0600, segment.mode);
    auto now = static_cast<uint64_t>(time(nullptr));
    compare("request time is current", true, read_le(r + 200, 4) + 60 > now && read_le(r + 200, 4) <= now);
    compare_address(expected, read_le(r + 8, 8), places_of(read_le(r + 16, 4), segment.creator));
    for (auto [offset, size] : {std::pair{21U, 11U}, {152U, 4U}, {160U, 4U}, {184U, 16U}, {204U, 4U}})
        compare("reserved bytes are zero", true, all_zero({r + offset, size}));
    std::string_view area(segment.bytes.data(), segment.bytes.size());
    if (expected.data.length > 0)
        compare("argument text", expected.data.text, std::string(area.substr(0, area.find('\0'))));
    else if (arrived == 0) // later an answer lies there
        compare("a segment without text is empty", true, all_zero(area));
}

void ScriptedDaemon::Script::compare_address(const Request& expected, uint64_t address, const std::vector<uint64_t>& places)
{
    if (expected.address)
        compare("data address", *expected.address, address);
    else
        compare("data address is the segment", 1, std::ranges::count(places, address));
}

void ScriptedDaemon::Script::send_reply(int connection, const std::string& record, const Reply& reply)
{
    usleep(static_cast<unsigned>(reply.delay_ms) * 1000);
    send(connection, record.data(), reply.cut_at, MSG_NOSIGNAL);
}

std::string ScriptedDaemon::Script::reply_to(const std::string& record, const Reply& reply, Segment& segment)
{
    Bytes out(record);
    bool arrays = record[20] != 0 && !reply.without_arrays && reply.error == 0;
    std::string answer = (arrays ? user_arrays() : "") + reply.answer;
    if (answer.size() > segment.bytes.size())
        failures.push_back("the script's answer does not fit the segment");
    else
        memcpy(segment.bytes.data(), answer.c_str(), std::min(answer.size() + 1, segment.bytes.size()));
    // What the client has to write anew into a next request, and to read nowhere, comes back as nonsense.
    out.u32(0, 0xdeadbeef).i32(4, 0x7ffffff0).u64(8, 0x1000).i32(16, -1).u8(20, 1);
    out.text(36, "nonsense", 116).u32(172, ~0U).u64(176, ~0xffffULL).u32(200, 1);
    out.u8(21, reply.last ? 1 : 0).i32(32, reply.error).i32(156, reply.cursor).i32(164, reply.count);
    out.i32(168, reply.length.value_or(static_cast<int32_t>(reply.answer.size())));
    if (reply.error != 0)
        out.text(36, reply.error_text, 116);
    if (reply.edit)
        reply.edit(out, segment.bytes);
    return out.str();
}
