// The lab appliance serves the built vigil: its reports agree with each other, its settings show in later
// lists, and nothing stays behind.
#include "tests/support/lab.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using Rows = std::vector<std::vector<std::string>>;

// A world that is always the same, of so many sessions.
const std::string made_up = "--seed 5 --now 1790000000 --sessions ";

Rows rows_of(const std::string& text)
{
    Rows rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        rows.push_back(words_of(line));
    return rows;
}

uint64_t sum(const Rows& rows, size_t column)
{
    return std::accumulate(rows.begin(), rows.end(), uint64_t{0}, [=](uint64_t n, auto& row) { return n + std::stoull(row.at(column)); });
}

// Ends, bytes up and bytes down of every session.
Rows sessions_of(const Lab& lab, const std::string& filter = "")
{
    Rows rows = rows_of(lab.run("ipobj listbussflow limit=100000 lang=en " + filter));
    EXPECT_EQ(rows.back(), (std::vector<std::string>{"total", std::to_string(rows.size() - 1)}));
    rows.pop_back();
    for (auto& row : rows)
        row = {row.at(4), row.at(5), row.at(6)};
    std::ranges::sort(rows);
    return rows;
}

TEST(Lab, ReportsOfOneWorldAgree)
{
    Lab lab(made_up + "6000"); // more than one batch
    Rows sessions = sessions_of(lab), web = sessions_of(lab, "dport=443");
    EXPECT_EQ(sessions.size(), 6000U);
    auto is_web = [](const auto& row) { return row[0].ends_with(":443") || row[0].ends_with("/443"); };
    EXPECT_EQ(static_cast<size_t>(std::ranges::count_if(sessions, is_web)), web.size());
    std::erase_if(sessions, [](const auto& row) { return row[0].find('/') != std::string::npos; }); // IPv6
    Rows sources = rows_of(lab.run("ipobj listflow issrc=1 limit=100000"));
    EXPECT_EQ(sum(sources, 1), sessions.size());
    EXPECT_EQ(sum(sources, 2), sum(sessions, 1));
    EXPECT_EQ(sum(sources, 3), sum(sessions, 2));
    EXPECT_NE(lab.run("obssyslog list").find("\"oui_mac\":\""), std::string::npos);
}

TEST(Lab, SettingsShowInLaterLists)
{
    Lab lab(made_up + "300");
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
        {"obstopogrp list", R"([{"title":"a", "id":1, "spread":true, "children":[{"title":"b", "id":2, "spread":true, "children":[]}]}])"},
        {"obsnetbrch remove all=1", ""},
        {"obsnetbrch add name=all ip=any4", "INV_IP\n", 255},
        {"obsnetbrch add name=nobody ip=203.0.113.0/24", ""},
        {"obsnetbrch list", "id=1 name=nobody iprng=203.0.113.0/24 sessions=0 bytes=0\n"},
        {"idssum config cata_id=250 cata_enable=0", "NOT_FOUND\n", 255},
        {"obssshlog config enable=0", ""},
        {"obssshlog list", R"({"data":[], "total":0})"},
        {"dnstunwltable list type=foo", R"({"data":[], "count":0})"},
        {"nosuch stat", "NO_MODULE\n", 255},
    };
    for (const auto& step : steps)
        EXPECT_EQ(lab.run(step.command, step.status), step.output) << step.command;
}

TEST(Lab, CapturesAreCaptureFiles)
{
    Lab lab(made_up + "200");
    lab.run("mempcap config max=1000000"); // everything
    const std::string dump = lab.run("mempcap dump"), file = lab.root() + "/log/dump.pcap";
    EXPECT_GT(dump.size(), 200'000U); // several exchanges
    std::ofstream(file, std::ios::binary) << dump;
    EXPECT_EQ(sessions_of(Lab("--capture " + file)), sessions_of(lab));

    EXPECT_EQ(lab.run("mempcap add ip=192.0.2.1"), "id=1\n");
    EXPECT_EQ(lab.run("mempcap dump").size(), 24U); // the head of a file
    EXPECT_EQ(lab.run("obspcap save of=" + file), "");
    EXPECT_FALSE(sessions_of(Lab("--capture " + file)).empty());
}

// The file VERSION is the one place that says it.
TEST(Lab, ProgramsTellTheirVersion)
{
    const std::string file = read_file(VIGIL_SOURCE_DIR "/VERSION"), version = file.substr(0, file.find('\n'));
    EXPECT_EQ(outcome("/none", "--version"), std::pair("vigil-lab " + version + '\n', 0));
    EXPECT_EQ(Program({"@json", "--version"}, environment_below("/none")).wait().output,
              R"({"version":")" + version + "\",\"vendor_key\":\"development\"}\n");
}

// A root that holds what the lab did not make stays as it is.
TEST(Lab, TheFilesOfOthersAreLeftAlone)
{
    PrivateRoot others;
    others.write("/conf/kestrel.conf", "theirs");
    for (const std::string& root : {others.path(), std::string("/")})
        EXPECT_EQ(outcome(root, ""), std::pair("vigil-lab: " + root + " is not empty, and not the lab's own\n", 2));
    EXPECT_EQ(read_file(others.path() + "/conf/kestrel.conf"), "theirs");
    EXPECT_FALSE(std::filesystem::exists(others.path() + "/usr/ramdisk/bin/dict.so"));
}

TEST(Lab, BadClientsCostOnlyThemselves)
{
    Lab lab(made_up + "200");
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (lab.root() + "/usr/ramdisk/var/mgmt.d").copy(address.sun_path, sizeof address.sun_path - 1);
    auto connected = [&](size_t bytes) { // which says so many
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(send(fd, std::string(bytes, '\xff').data(), bytes, 0), static_cast<ssize_t>(bytes));
        return fd;
    };
    int silent = connected(0), stalled = connected(100), wild = connected(208);
    close(connected(208));
    std::string reply(208, '\0');
    EXPECT_EQ(recv(wild, reply.data(), reply.size(), MSG_WAITALL), 208);
    EXPECT_STREQ(reply.c_str() + 36, "INV_SHMID");
    EXPECT_EQ(sessions_of(lab).size(), 200U);
    for (int fd : {stalled, silent, wild})
        close(fd);
}

} // namespace
