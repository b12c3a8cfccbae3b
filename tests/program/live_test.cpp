// A lab that watches: a capture through a pipe, and an interface of a network namespace of its own.
#include "tests/support/lab.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const std::string sample = VIGIL_SOURCE_DIR "/tests/data/sample.pcap", from_sample = " <'" + sample + "'";

// The lines of a listing without their first column, the age of a session.
std::string sessions_of(const Lab& lab)
{
    return std::regex_replace(lab.run("ipobj listbussflow limit=1000 lang=en"), std::regex("(^|\n)[^ \n]* "), "\n");
}

TEST(LabLive, APipeGivesTheSessionsOfTheCapture)
{
    Lab captured("--capture '" + sample + "'");
    EXPECT_EQ(captured.ready, "sessions=37\n");
    const std::string pipe = captured.root() + "/log/pipe", content = read_file(sample);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    int end = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    Lab live("--live - <" + pipe);
    const size_t half = content.size() / 2; // in the middle of a packet
    EXPECT_EQ(write(end, content.data(), half), static_cast<ssize_t>(half));
    live.run_until("obslog stat", "\ndns sessions=");
    live.run_until("obslog stat", "\ninput state=open ");
    EXPECT_EQ(write(end, content.data() + half, content.size() - half), static_cast<ssize_t>(content.size() - half));
    close(end);
    live.run_until("obslog stat", "\ninput state=ended ");
    live.run_until("obslog stat", "\ndropped sessions=0 bytes=0 packets=0\n");
    EXPECT_EQ(sessions_of(live), sessions_of(captured));
    for (const char* report : {"tcpreset list", "outconnect listflow", "dnsflow listflow", "hostinfo list", "obssyslog list",
                               "obstlslog list", "obssshlog list", "obsnetbios list"})
        EXPECT_EQ(live.run(report), captured.run(report)) << report;
}

TEST(LabLive, BoundsAreKeptAndWhatGoesIsCounted)
{
    for (auto [bound, total, because] : {
             std::tuple{"--sessions-max 30", "\ntotal sessions=30 ", "\ndropped_because ended=7 silent=0 aged=0\n"},
             {"--age 0", "\ntotal sessions=1 ", "\ndropped_because ended=0 silent=0 aged=3"}, // 36, a cut one twice
         }) {
        Lab live("--live - " + (bound + from_sample));
        live.run_until("obslog stat", "\ninput state=ended ");
        live.run_until("obslog stat", total);
        live.run_until("obslog stat", because);
    }
}

TEST(LabLive, WhatCannotBeWatchedIsRefusedWithAReason)
{
    // Root gives up the right to capture; others have none.
    const std::string without_right = "$(test $(id -u) != 0 || echo setpriv --bounding-set=-net_admin,-net_raw)";
    const std::array<std::string, 3> cases[] = {
        {"--live lo", without_right, "lo: no right to capture"},
        {"--live - <'" VIGIL_SOURCE_DIR "/CMakeLists.txt'", "", "-: unknown file format"},
        {"--capture /nonexistent.pcap", "", "/nonexistent.pcap: No such file"},
        {"--live lo --capture /nonexistent.pcap", "", "only one of them"},
        {"--live lo --sessions-max 0", "", "--sessions-max needs at least 1"},
    };
    for (const auto& [options, under, words] : cases) {
        auto [said, status] = outcome(PrivateRoot().path(), options, under);
        EXPECT_NE(said.find(words), std::string::npos) << words << ": " << said;
        EXPECT_EQ(status, 2) << words;
    }
}

TEST(LabLive, ANamespaceShowsWhoTalksInIt)
{
    // Its only interface is up, and somebody talks on it.
    const std::string in_namespace = "unshare $(unshare -Ur true 2>/dev/null && echo -Ur) -n /usr/bin/python3 -c '"
                                     R"(
import fcntl, os, socket, struct, sys, time
fcntl.ioctl(socket.socket(), 0x8914, struct.pack("16sH22x", b"lo", 1))
lab = os.getpid()
if os.fork():
    os.execv(sys.argv[1], sys.argv[1:])
address = ("127.0.0.1", 8080)
listener = socket.create_server(address)
while os.getppid() == lab:
    client = socket.create_connection(address)
    client.send(b"GET / HTTP/1.1\r\nHost: talk.example\r\nUser-Agent: first/1\r\n\r\n")
    server = listener.accept()[0]
    server.recv(512)
    server.send(b"HTTP/1.1 200 OK\r\nServer: second/2\r\n\r\n")
    time.sleep(0.05))"
                                     "'";
    if (outcome("/none", "--version", in_namespace).second != 0)
        GTEST_SKIP() << "no network namespace can be made here";
    Lab lab("--live lo", in_namespace);
    std::string sessions = lab.run_until("ipobj listbussflow lang=en limit=5", " GET talk.example second/2 first/1 ");
    EXPECT_NE(sessions.find("-127.0.0.1:8080 "), std::string::npos) << sessions;
    EXPECT_NE(sessions.find(" OK "), std::string::npos) << sessions;
    lab.run_until("ipobj listipa", "127.0.0.1 "); // bytes are moving
    lab.run_until("hostinfo list", " 8080 served=");
    lab.run_until("assetsobj list", "\"value\":\"127.0.0.1\"");
    lab.run_until("obslog stat", "\ninput state=open ");
}

} // namespace
