// The lab appliance serves the built vigil: its reports agree with each other, its settings show in later
// lists, and nothing stays behind.
#include "tests/support/lab.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

std::vector<std::vector<std::string>> rows_of(const std::string& text)
{
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        rows.push_back({std::istream_iterator<std::string>(words), {}});
    }
    return rows;
}

TEST(Lab, ReportsOfOneWorldAgree)
{
    Lab lab(made_up("6000")); // more than one batch
    auto sessions = rows_of(lab.run("ipobj listbussflow limit=100000 lang=en"));
    ASSERT_EQ(sessions.size(), 6001U);
    EXPECT_EQ(sessions.back(), (std::vector<std::string>{"total", "6000"}));
    uint64_t ipv4 = 0, up = 0, down = 0;
    for (size_t i = 0; i < 6000; i++) {
        if (sessions[i][4].find('/') != std::string::npos)
            continue;
        ipv4++;
        up += std::stoull(sessions[i][5]);
        down += std::stoull(sessions[i][6]);
    }
    uint64_t flows = 0, up_of_flows = 0, down_of_flows = 0;
    for (const auto& row : rows_of(lab.run("ipobj listflow issrc=1 limit=100000"))) {
        flows += std::stoull(row.at(1));
        up_of_flows += std::stoull(row.at(2));
        down_of_flows += std::stoull(row.at(3));
    }
    EXPECT_EQ(flows, ipv4);
    EXPECT_EQ(up_of_flows, up);
    EXPECT_EQ(down_of_flows, down);

    auto one = rows_of(lab.run("ipobj listbussflow dport=443 limit=100000 lang=en"));
    EXPECT_EQ(std::stoull(one.back().at(1)), static_cast<uint64_t>(std::ranges::count_if(sessions, [](const auto& row) {
                  return row.size() > 2 && (row[4].ends_with(":443") || row[4].ends_with("/443"));
              })));
    EXPECT_NE(lab.run("obssyslog list").find("\"oui_mac\":\""), std::string::npos);
}

TEST(Lab, SettingsShowInLaterLists)
{
    Lab lab(made_up("300"));
    static const struct {
        const char* command;
        const char* output;
        int status = 0;
    } steps[] = {
        {"table addip 9 10.9.9.9", ""},
        {"obsiptable addip tid=9 ip=10.9.9.10-10.9.9.11 info=x", ""},
        {"table get 9", "10.9.9.9\n10.9.9.10\n10.9.9.11\n"},
        {"table getcmp 9", "10.9.9.9-10.9.9.11\n"},
        {"table clear nosuch", "NO_TABLE\n", 255},
        {"obstopogrp remove all=1", ""},
        {"obstopogrp list", "[]"},
        {"obstopogrp add id=1 title=a", "id=1\n"},
        {"obstopogrp add pid=1 title=b", "id=2\n"},
        {"obstopogrp add pid=9 title=c", "INV_PID\n", 255},
        {"obstopogrp list", R"([{"title":"a", "id":1, "spread":true, "children":[)"
                            R"({"title":"b", "id":2, "spread":true, "children":[]}]}])"},
        {"obsnetbrch remove all=1", ""},
        {"obsnetbrch add name=all ip=any4", "INV_IP\n", 255},
        {"obsnetbrch add name=nobody ip=203.0.113.0/24", ""},
        {"obsnetbrch list", "id=1 name=nobody iprng=203.0.113.0/24 sessions=0 bytes=0\n"},
        {"idssum config cata_id=250 cata_enable=0", "NOT_FOUND\n", 255},
        {"nevtlog remove all=1", nullptr},
        {"nevtlog list json=1", R"({"data":[], "total":0})"},
        {"obssshlog config enable=0", ""},
        {"obssshlog list", R"({"data":[], "total":0})"},
        {"nosuch stat", "NO_MODULE\n", 255},
        {"dnstunwltable list type=foo", R"({"data":[], "count":0})"},
    };
    for (const auto& step : steps) {
        std::string output = lab.run(step.command, step.status);
        if (step.output != nullptr) {
            EXPECT_EQ(output, step.output) << step.command;
        }
    }
}

// The packets of a capture file; -1 when it is none.
long packets_in(const std::string& file)
{
    uint32_t magic = 0, kept = 0;
    if (file.size() < 24)
        return -1;
    memcpy(&magic, file.data(), sizeof magic);
    long packets = 0;
    size_t at = 24;
    for (; at + 16 <= file.size(); at += 16 + kept, packets++)
        memcpy(&kept, file.data() + at + 8, sizeof kept);
    return magic == 0xa1b2c3d4 && at == file.size() ? packets : -1;
}

// Ends, bytes and packets of every session.
std::vector<std::string> sizes_of(const Lab& lab)
{
    std::vector<std::string> sizes;
    for (const auto& row : rows_of(lab.run("ipobj listbussflow limit=1000 lang=en")))
        if (row.size() > 10)
            sizes.push_back(row[4] + " " + row[5] + " " + row[6]);
    std::ranges::sort(sizes);
    return sizes;
}

TEST(Lab, CapturesAreCaptureFiles)
{
    Lab lab(made_up("200"));
    lab.run("mempcap config max=1000000"); // everything
    std::string dump = lab.run("mempcap dump");
    EXPECT_GT(dump.size(), 200'000U); // several exchanges
    EXPECT_NE(lab.run("mempcap stat").find("packets=" + std::to_string(packets_in(dump)) + " "), std::string::npos);
    const std::string file = lab.root() + "/log/dump.pcap";
    std::ofstream(file, std::ios::binary) << dump;
    Lab again(of_capture(file, "200")); // the packets that it read are those that were dumped
    EXPECT_EQ(sizes_of(again), sizes_of(lab));

    EXPECT_EQ(lab.run("mempcap add ip=192.0.2.1"), "id=1\n");
    EXPECT_EQ(packets_in(lab.run("mempcap dump")), 0);
    EXPECT_EQ(lab.run("obspcap save of=" + file), "");
    EXPECT_GT(packets_in(read_file(file)), 1);
}

// The file VERSION is the one place that says it.
TEST(Lab, ProgramsTellTheirVersion)
{
    const std::string file = read_file(VIGIL_SOURCE_DIR "/VERSION");
    const std::string version = file.substr(0, file.find('\n'));
    EXPECT_EQ(outcome("/none", {.options = {"--version"}}), std::pair("vigil-lab " + version + '\n', 0));
    EXPECT_EQ(Program({"@json", "--version"}, environment_below("/none")).wait().output, R"({"version":")" + version +
                                                                                             R"(","vendor_key":"development"})"
                                                                                             "\n");
}

// A root that holds what the lab did not make stays as it is.
TEST(Lab, TheFilesOfOthersAreLeftAlone)
{
    PrivateRoot others;
    others.write("/conf/kestrel.conf", "theirs");
    for (const std::string& root : {others.path(), std::string("/")})
        EXPECT_EQ(outcome(root, {}), std::pair("vigil-lab: " + root + " is not empty, and not the lab's own\n", 2));
    EXPECT_EQ(read_file(others.path() + "/conf/kestrel.conf"), "theirs");
    EXPECT_FALSE(std::filesystem::exists(others.path() + "/usr/ramdisk/bin/dict.so"));
}

TEST(Lab, BadClientsCostOnlyThemselves)
{
    Lab lab(made_up("200"));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (lab.root() + "/usr/ramdisk/var/mgmt.d").copy(address.sun_path, sizeof address.sun_path - 1);
    auto connected = [&] {
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return fd;
    };
    std::string garbage(208, '\xff');
    int stalled = connected(), silent = connected(), gone = connected(), wild = connected();
    EXPECT_EQ(send(stalled, garbage.data(), 100, 0), 100);
    EXPECT_EQ(send(gone, garbage.data(), 208, 0), 208);
    close(gone);
    EXPECT_EQ(send(wild, garbage.data(), 208, 0), 208);
    std::string reply(208, '\0');
    EXPECT_EQ(recv(wild, reply.data(), reply.size(), MSG_WAITALL), 208);
    EXPECT_STREQ(reply.c_str() + 36, "INV_SHMID");
    EXPECT_EQ(rows_of(lab.run("ipobj listbussflow limit=1")).back().at(1), "200");
    for (int fd : {stalled, silent, wild})
        close(fd);
}

} // namespace
