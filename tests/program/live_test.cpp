// A lab that watches: a capture through a pipe, and an interface of a network namespace of its own.
#include "tests/support/lab.h"

#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string sample = VIGIL_SOURCE_DIR "/tests/data/sample.pcap";
constexpr int bound_seconds = 30; // against hanging

struct Pipe {
    int ends[2] = {-1, -1};

    Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
    ~Pipe() { close(ends[1]); }
    Pipe(const Pipe&) = delete;
    void write(std::string_view text) const { EXPECT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size())); }
    void end()
    {
        close(ends[1]);
        ends[1] = -1;
    }
};

// Asks until the answer has the words in it; the last answer.
std::string ask_until(const Lab& lab, const std::string& command, const std::string& words)
{
    std::string answer;
    for (int i = 0; i < bound_seconds * 10; i++) {
        answer = lab.run(command);
        if (answer.find(words) != answer.npos)
            return answer;
        usleep(100'000);
    }
    ADD_FAILURE() << command << " never shows " << words << ": " << answer;
    return answer;
}

// The lines of a listing without their first column, the age of a session.
std::string without_ages(const std::string& text)
{
    std::istringstream lines(text);
    std::string out;
    for (std::string line; std::getline(lines, line);)
        out += line.substr(std::min(line.find(' '), line.size())) + '\n';
    return out;
}

TEST(LabLive, APipeGivesTheSessionsOfTheCapture)
{
    Lab captured(of_capture(sample, "37"));
    Pipe pipe;
    Lab live({.options = {"--live", "-"}, .input = pipe.ends[0]});
    std::string content = read_file(sample);
    size_t half = content.size() / 2; // in the middle of a packet
    pipe.write(content.substr(0, half));
    ask_until(live, "obslog stat", "\ndns sessions=");
    EXPECT_NE(live.run("obslog stat").find("\ninput state=open "), std::string::npos);
    pipe.write(content.substr(half));
    pipe.end();
    std::string counts = ask_until(live, "obslog stat", "\ninput state=ended ");
    EXPECT_NE(counts.find("\ndropped sessions=0 bytes=0 packets=0\n"), std::string::npos) << counts;
    std::string sessions = captured.run("ipobj listbussflow limit=1000 lang=en");
    EXPECT_NE(sessions.find("\ntotal 37"), std::string::npos) << sessions;
    EXPECT_EQ(without_ages(live.run("ipobj listbussflow limit=1000 lang=en")), without_ages(sessions));
    for (const char* report : {"tcpreset list", "outconnect listflow", "dnsflow listflow", "hostinfo list", "obssyslog list",
                               "obstlslog list", "obssshlog list", "obsnetbios list"})
        EXPECT_EQ(live.run(report), captured.run(report)) << report;
}

TEST(LabLive, BoundsAreKeptAndWhatGoesIsCounted)
{
    static const struct {
        const char *bound, *limit, *total, *because;
    } cases[] = {
        {"--sessions-max", "30", "\ntotal sessions=30 ", "\ndropped_because ended=7 silent=0 aged=0\n"},
        {"--sessions-max", "1", "\ntotal sessions=1 ", "\ndropped_because ended="},
        {"--age", "0", "\ntotal sessions=1 ", "\ndropped_because ended=0 silent=0 aged=3"}, // 36, a cut one twice
    };
    for (const auto& one : cases) {
        Pipe pipe;
        Lab live({.options = {"--live", "-", one.bound, one.limit}, .input = pipe.ends[0]});
        pipe.write(read_file(sample));
        pipe.end();
        ask_until(live, "obslog stat", "\ninput state=ended ");
        std::string counts = ask_until(live, "obslog stat", one.total);
        EXPECT_NE(counts.find(one.because), std::string::npos) << counts;
    }
}

void give_up_the_right_to_capture()
{
    constexpr int net_admin = 12, net_raw = 13;
    prctl(PR_CAPBSET_DROP, net_admin); // of root; others have none
    prctl(PR_CAPBSET_DROP, net_raw);
}

TEST(LabLive, WhatCannotBeWatchedIsRefusedWithAReason)
{
    Pipe garbage;
    garbage.write("this is no capture, whatever it may be");
    garbage.end();
    const struct {
        Lab::Start start;
        const char* words;
    } cases[] = {
        {{.options = {"--live", "lo"}, .prepare = give_up_the_right_to_capture}, "lo: no right to capture"},
        {{.options = {"--live", "-"}, .input = garbage.ends[0]}, "-: unknown file format"},
        {{.options = {"--live", "lo", "--capture", sample}}, "only one of them"},
        {{.options = {"--live", "lo", "--sessions-max", "0"}}, "--sessions-max needs at least 1"},
    };
    for (const auto& one : cases) {
        auto [said, status] = outcome(PrivateRoot().path(), one.start);
        EXPECT_NE(said.find(one.words), std::string::npos) << one.words << ": " << said;
        EXPECT_EQ(status, 2) << one.words;
    }
}

// ---- A network namespace with two programs in it that talk ----

// Makes this process root of a namespace whose only interface is up. False where that is not allowed.
bool enter_namespace()
{
    std::string user = "0 " + std::to_string(getuid()) + " 1", group = "0 " + std::to_string(getgid()) + " 1";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << user;
        std::ofstream("/proc/self/gid_map") << group;
    } else if (unshare(CLONE_NEWNET) != 0) {
        return false;
    }
    ifreq request{};
    strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return fd >= 0 && ioctl(fd, SIOCSIFFLAGS, &request) == 0;
}

bool namespaces_are_allowed()
{
    pid_t pid = fork();
    if (pid == 0)
        _exit(enter_namespace() ? 0 : 1);
    int status = 0;
    return waitpid(pid, &status, 0) == pid && status == 0;
}

const sockaddr_in server{.sin_family = AF_INET, .sin_port = htons(8080), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
const auto* const server_address = reinterpret_cast<const sockaddr*>(&server);

[[noreturn]] void serve()
{
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    if (bind(listener, server_address, sizeof server) != 0 || listen(listener, 8) != 0)
        _exit(1);
    static constexpr char answer[] = "HTTP/1.1 200 OK\r\nServer: second/2\r\n\r\n";
    for (;;) {
        int client = accept(listener, nullptr, nullptr);
        char request[512];
        if (read(client, request, sizeof request) > 0)
            (void)!write(client, answer, sizeof answer - 1);
        close(client);
    }
}

[[noreturn]] void ask()
{
    static constexpr char request[] = "GET / HTTP/1.1\r\nHost: talk.example\r\nUser-Agent: first/1\r\n\r\n";
    for (;; usleep(50'000)) {
        int fd = socket(AF_INET, SOCK_STREAM, 0);
        char answer[512];
        if (connect(fd, server_address, sizeof server) == 0 && write(fd, request, sizeof request - 1) > 0)
            while (read(fd, answer, sizeof answer) > 0)
                continue;
        close(fd);
    }
}

// They end with the lab, which is their parent.
void start_talking()
{
    for (void (*program)() : {+[] { serve(); }, +[] { ask(); }})
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(1);
            program();
        }
}

TEST(LabLive, ANamespaceShowsWhoTalksInIt)
{
    if (!namespaces_are_allowed())
        GTEST_SKIP() << "no network namespace can be made here";
    Lab lab({.options = {"--live", "lo"}, .prepare = [] {
                 if (enter_namespace())
                     start_talking();
             }});
    std::string sessions = ask_until(lab, "ipobj listbussflow lang=en limit=5", " GET talk.example second/2 first/1 ");
    EXPECT_NE(sessions.find("-127.0.0.1:8080 "), std::string::npos) << sessions;
    EXPECT_NE(sessions.find(" OK "), std::string::npos) << sessions;
    ask_until(lab, "ipobj listipa", "127.0.0.1 "); // bytes are moving
    ask_until(lab, "hostinfo list", " 8080 served=");
    ask_until(lab, "assetsobj list", "\"value\":\"127.0.0.1\"");
    EXPECT_NE(lab.run("obslog stat").find("\ninput state=open "), std::string::npos);
}

} // namespace
