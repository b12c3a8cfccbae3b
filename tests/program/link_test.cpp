// The session between a run and a daemon, above all where it goes wrong.
#include "link/answer.h"
#include "link/dictionary.h"
#include "link/rpc_session.h"
#include "tests/support/captured_output.h"
#include "tests/support/program.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr Daemon A = Daemon::analysis, M = Daemon::management;

Request stat_request(const std::string& text = "")
{
    return {.code = 2050, .module = "gadget", .data = trailing(text), .segment_size = 16384};
}

// `gadget stat`, answered so.
Case stat(const Reply& reply, const std::string& output, int status = 0)
{
    return command("gadget stat", A, {{stat_request(), reply}}, output, status);
}

const Exchange dictionary_exchange{{.code = 2055, .module = "obsbussflow", .data = trailing(""), .wants_dictionary = true}, {}};

// clang-format off
TEST(Link, Transport)
{
    auto refused = [](const std::string& said) { return command("gadget stat", A, {}, said, 255); };
    const Case cases[] = {
        stat({.cut_at = 0}, "r_Success_0\n", 255),
        stat({.cut_at = 207}, "r_Success_0\n", 255),
        stat({.answer = "late", .before = [](pid_t) { usleep(1'500'000); }}, "late"), // one missed wait is none too many
        failing("shmctl", stat({.answer = "text"}, "text")), // the segment goes at the end
        command("keytbl list", A, {{{.code = 282, .data = trailing("")}, {.cut_at = 0}}}, "r_Success_0\n"),
        command("ipobj listbussflow", M, {dictionary_exchange},
                "{root}/usr/ramdisk/bin/dict.so: cannot open shared object file: No such file or directory\n", 255),
        // The daemon gets a connection, and no request.
        failing("shmget", refused("rpc_init: shmget fail(No space left on device)\n")),
        failing("shmat", refused("rpc_init: shmat fail(Cannot allocate memory)\n")),
        failing("send", refused("s_Connection reset by peer_104\n")),
    };
    run_cases(cases);
}

TEST(Link, Replies)
{
    const std::string full(16384, 'z'), unended(116, 'x');
    const Case cases[] = {
        stat({.error = 1, .error_text = unended}, unended + "\n", 255),
        stat({.error = 1}, "\n", 255),
        stat({.error = 5, .error_text = "far"}, "far\n", 255), // the daemon's own transport code
        stat({.answer = full, .length = 1}, full),
        stat({.answer = "x"}, "x"), // written in one byte
        stat({.answer = "text", .count = -3, .length = 0x7fffffff}, "text"), // lengths and counts that lie
        stat({.answer = "text", .length = -1}, ""),
    };
    run_cases(cases);
}

// Words that make `bytes` of text with a blank for each.
std::string words(size_t bytes)
{
    constexpr size_t most = 100000; // of one argument
    std::string out;
    for (; bytes > most; bytes -= most)
        out += std::string(most - 1, 'a') + " ";
    return out + std::string(bytes - 1, 'a');
}

// The text, its blanks and its NUL just fit, or are one too many. What prints before it asks prints nothing else.
TEST(Link, RefusesWhatDoesNotFit)
{
    rlimit stack{}; // a quarter of it is there for arguments
    getrlimit(RLIMIT_STACK, &stack);
    stack.rlim_cur = std::min<rlim_t>(stack.rlim_max, 64 << 20);
    setrlimit(RLIMIT_STACK, &stack);
    const std::string whole(16382, 'a'), leading_whole(65534, 'a'), name(115, 'm'), refusal = "ARG_TOO_LONG\n";
    const Case cases[] = {
        command("gadget stat " + whole, A, {{stat_request(whole + " "), {}}}, ""),
        command("gadget stat a" + whole, A, {}, refusal, 255),
        command("gadget stat " + std::string(100000, 'a') + " b", A, {}, refusal, 255),
        command("mempcap list " + leading_whole, M, {{{.code = 2055, .module = "mempcap", .data = leading(" " + leading_whole)}, {}}}, ""),
        command("mempcap list a" + leading_whole, M, {}, refusal, 255),
        command("obslog stat tag=" + std::string(65531, 'a'), A, {}, refusal, 255),
        command("obssyslog list a" + leading_whole, M, {}, refusal, 255),
        command("table addip 1 a" + leading_whole, A, {}, refusal, 255),
        command("obsquery stat " + std::string(100000, 'a'), A, {{{.code = 2050, .module = "obsquery"}, {}}}, ""), // sends none
        command("keytbl list " + std::string(4095, 'a'), A, {}, refusal, 0), // has the least segment
        command(name + " stat", A, {{{.code = 2050, .module = name, .data = trailing("")}, {}}}, ""),
        command(name + "m stat", A, {}, refusal, 255),
        command("kesidslog listflow " + words(65536 - 15), M, {}, refusal, 255), // its own argument does not fit
        command("tunwltable list " + words((1 << 20) - 9), A, {}, refusal, 255), // "type=ip " does, "type=dns " does not
        command("whiteip list showjson=1 " + words(1 << 18), M, {}, refusal, 255),
        command("nevt list json=1 " + words(1 << 18), M, {}, refusal, 255),
        command("nevtlog list json=1 " + words(1 << 18), M, {}, refusal, 255),
        command("assetsobj list " + words(1 << 21), M, {}, refusal, 255),
        command("outconnect listflow " + words(1 << 21), M, {}, refusal, 255),
        command("dnsflow listflow " + words(1 << 21), M, {}, refusal, 255),
    };
    run_cases(cases);
}

// A segment that a process which is gone has made, attached, and written if a byte is given.
int orphan(key_t key, size_t size, int mode = 0600, char byte = 0)
{
    int channel[2], id = -1;
    EXPECT_EQ(0, pipe(channel));
    const pid_t creator = fork();
    if (creator == 0) {
        id = shmget(key, size, IPC_CREAT | mode);
        auto* bytes = static_cast<char*>(shmat(id, nullptr, 0));
        if (byte != 0)
            bytes[size - 1] = byte;
        _exit(write(channel[1], &id, sizeof id) != sizeof id);
    }
    EXPECT_EQ(ssize_t{sizeof id}, read(channel[0], &id, sizeof id));
    waitpid(creator, nullptr, 0);
    close(channel[0]);
    close(channel[1]);
    return id;
}

// SIGKILL between creation and mark leaves one; others may be wanted by somebody.
TEST(Link, RemovesTheBlankSegmentsOfRunsThatAreGone)
{
    const time_t begun = time(nullptr);
    const struct {
        const char* what;
        int id;
        bool stays;
    } segments[] = {
        {"as a run leaves it", orphan(IPC_PRIVATE, 65536), false},
        {"the largest", orphan(IPC_PRIVATE, 8 << 20), false},
        {"larger", orphan(IPC_PRIVATE, (8 << 20) + 1024), true},
        {"no whole KiB", orphan(IPC_PRIVATE, 65537), true},
        {"written", orphan(IPC_PRIVATE, 65536, 0600, 'x'), true},
        {"for others to read", orphan(IPC_PRIVATE, 65536, 0640), true},
        {"with a key", orphan(getpid(), 65536), true},
        {"its creator is there", shmget(IPC_PRIVATE, 65536, IPC_CREAT | 0600), true},
        {"attached by another", orphan(IPC_PRIVATE, 65536), true},
    };
    shmdt(shmat(std::rbegin(segments)->id, nullptr, 0));
    const time_t made = time(nullptr);
    for (long later : {0, 3}) { // seconds; the first two it may still be handed on
        Case one = failing("time", command("emaillog list", M, {}, "NOT_SUPPORTED\n", 255));
        one.environment = {{"FAULT_TIME", std::to_string(made + later)}};
        run_case(one);
        for (const auto& segment : segments) {
            shmid_ds state;
            const bool is_there = shmctl(segment.id, IPC_STAT, &state) == 0;
            const bool late = later == 0 && time(nullptr) - begun > 2; // any other test's run removes it, too
            EXPECT_TRUE(is_there == (segment.stays || later == 0) || late) << segment.what;
        }
    }
    for (const auto& segment : segments)
        shmctl(segment.id, IPC_RMID, nullptr);
}

TEST(Link, LostOutputIsNoSuccess)
{
    auto to = [](const std::string& place, Case one) {
        one.output_to = place;
        return one;
    };
    const Reply text{.answer = "text"};
    const Case cases[] = {
        to("/dev/full", stat(text, "", 255)),
        to("-", stat(text, "", 255)), // the socket does not take its place
        to("|", stat(text, "", 255)),
        to("/dev/full", command("malcip list", M, {{{.code = 2055, .module = "malcip", .data = trailing("")},
            {.answer = std::string(65536, '\xff'), .count = 16384, .last = false}}}, "", 255)), // no second request
        to("|", command("kesidslog listflow limit=1", M, {{{.code = 2055, .module = "idssum",
            .data = leading(" limit=1 show_session=1")}, {.answer = std::string(24, '\0'), .count = 1, .last = false}}}, "", 255)),
        to("/dev/full", command("gadget frob", A, {}, "", 255)),
        to("/dev/full", command("sysboot", Daemon::none, {}, "", 255)),
        to("-", stat({}, "")), // nothing to say, nothing lost
    };
    run_cases(cases);
}
// clang-format on

TEST(Link, RefusesAWrongRoot)
{
    for (auto [root, line] : {std::pair{"127.0.0.1:4000", "VIGIL_ROOT is no absolute path\n"},
                              std::pair{"tmp", "VIGIL_ROOT is no absolute path\n"}, std::pair{"/tmp/a:1", "VIGIL_ROOT holds a ':'\n"}})
        for (const char* form : {"gadget stat", "obspcap init file=/tmp/never", "sysboot"}) {
            Case one = command(form, Daemon::none, {}, line, 255);
            one.environment = {{"VIGIL_ROOT", root}};
            run_case(one);
        }
}

TEST(Link, RootOfTheLongestLength)
{
    PrivateRoot root;
    for (size_t length : {79U, 80U}) {
        std::string padded = root.path() + std::string(length - root.path().size(), '/');
        run_case({.name = std::to_string(length) + " bytes",
                  .arguments = {"gadget", "stat"},
                  .daemon = Daemon::none,
                  .output = length == 79 ? "can't connect to " + padded + "/var/tmp/obslog.d" : "VIGIL_ROOT is too long\n",
                  .status = 255,
                  .environment = {{"VIGIL_ROOT", padded}}});
    }
    std::string padded = root.path() + std::string(79 - root.path().size(), '/');
    ScriptedDaemon daemon(padded + socket_of(Daemon::analysis), {{stat_request(), {.answer = "here"}}});
    Program program({"gadget", "stat"}, environment_below(padded));
    EXPECT_EQ("here", program.wait().output);
}

TEST(Link, ALibraryWithoutASymbolIsRefused)
{
    struct Lack {
        const char *variant, *text, *slot;
    };
    std::vector<Lack> cases{{"no_axpdict", "AXPDICT_NOT_FOUND\n", "1"}, // nobody uses slot 1
                            {"no_usraxps", "USRAXPS_NOT_FOUND\n", "1"},
                            {"no_usragps", "USRAGPS_NOT_FOUND\n", "1"}};
    for (const char* slot : {"0", "5", "6", "39", "40", "41"})
        cases.push_back({"full", "AXPDICT_SLOT_NOT_FOUND\n", slot});
    for (auto [variant, text, slot] : cases) {
        Case one = command("ipobj listbussflow", M, {dictionary_exchange}, text, 255);
        one.dictionary = variant;
        one.environment = {{"DICT_LACKS_SLOT", slot}};
        run_case(one);
    }
}

// ---- In this process: what no verb shows alone ----

class Session : public testing::Test {
protected:
    Session() { setenv("VIGIL_ROOT", root.path().c_str(), 1); }
    ~Session() override
    {
        rpc_close(true);
        EXPECT_EQ(0, segments_of(getpid()));
    }
    std::string socket(Daemon daemon = Daemon::analysis) const { return root.path() + socket_of(daemon); }
    // A record that nobody has given data.
    static RequestRecord request(uint32_t code = 2055, bool wants_dictionary = false)
    {
        RequestRecord record{};
        record.code = code;
        record.wants_dictionary = wants_dictionary;
        return record;
    }

    PrivateRoot root;
};

TEST_F(Session, WithoutASegmentNothingIsSent)
{
    RequestRecord record = request();
    EXPECT_EQ("shminit fail\n", captured_output([&] { EXPECT_EQ(-1, rpc_exchange("/nowhere", record)); }));
    EXPECT_EQ(nullptr, rpc_segment());
}

TEST_F(Session, TheSegmentHasAtLeast4096Bytes)
{
    std::string path = socket();
    ScriptedDaemon daemon(path, {});
    for (auto [asked, given] : {std::pair{1000U, 4096U}, std::pair{4096U, 4096U}, std::pair{5000U, 5000U}}) {
        ASSERT_EQ(0, rpc_init(path.c_str(), asked));
        EXPECT_EQ(given, rpc_segment_size());
        rpc_close(true);
        rpc_close(true); // harmless
    }
}

TEST_F(Session, LaterExchangesConnectToThePathTheyName)
{
    std::string first = socket(), second = socket(Daemon::management);
    ScriptedDaemon analysis(first, {{{.code = 1, .address = 0}, {}}, {{.code = 3, .address = 0}, {}}});
    ScriptedDaemon management(second, {{{.code = 2, .address = 0}, {}}});
    ASSERT_EQ(0, rpc_init(std::string(first).c_str(), 4096)); // the session keeps a copy
    RequestRecord one = request(1), two = request(2), three = request(3), four = request(4);
    EXPECT_EQ(0, rpc_exchange(second.c_str(), one)); // the socket of rpc_init, whatever path is named
    EXPECT_EQ(0, rpc_exchange(second.c_str(), two));
    EXPECT_EQ(0, rpc_exchange(three)); // the default path again
    EXPECT_EQ(5, rpc_exchange("/no/such/daemon", four));
    EXPECT_EQ("can't connect /no/such/daemon", four.text.view());
}

TEST_F(Session, DataElsewhereIsCopiedToTheSegment)
{
    std::string path = socket();
    const char text[] = "x=1 ";
    const auto address = reinterpret_cast<uintptr_t>(text);
    ScriptedDaemon daemon(path, {{{.code = 7, .data = counted(text), .address = address}, {}}});
    ASSERT_EQ(0, rpc_init(path.c_str(), 4096));
    RequestRecord record = request(7);
    record.data_address = address;
    record.data_length = sizeof text;
    EXPECT_EQ(0, rpc_exchange(record));
    for (int32_t length : {4097, -1}) {
        record.data_length = length;
        EXPECT_EQ(5, rpc_exchange(record)); // and nothing is sent
        EXPECT_EQ("ARG_TOO_LONG", record.text.view());
    }
}

TEST_F(Session, TheDictionaryIsTakenFromTheFrontOfTheAnswer)
{
    root.install_dictionary("full");
    std::string path = socket(), diary = root.path() + "/diary";
    setenv("DICT_DIARY", diary.c_str(), 1);
    Request wanted{.code = 2055, .wants_dictionary = true, .address = 0};
    ScriptedDaemon daemon(path, {{wanted, {.answer = "answer proper"}}, {wanted, {.answer = "again"}}});
    EXPECT_STREQ("undname", application_name(3));
    EXPECT_STREQ("undname", application_second_name(3));
    ASSERT_EQ(0, rpc_init(path.c_str(), 65536));
    RequestRecord record = request(2055, true);
    ASSERT_EQ(0, rpc_exchange(record));
    EXPECT_EQ("answer proper", text_in(answer_of(record)));
    EXPECT_EQ(65536U - 280, answer_of(record).area.size());
    EXPECT_STREQ("TLS", application_name(3));
    EXPECT_STREQ("secure web", application_second_name(3));
    EXPECT_STREQ("USERTHREE", application_name(9003));
    EXPECT_EQ(9101, application_id_of("GROUPONE"));
    EXPECT_EQ(-1, application_id_of("NOSUCH"));
    EXPECT_EQ(-1, application_id_of(""));
    EXPECT_STREQ("SSH", application_entry_name(4));
    EXPECT_STREQ("shell", application_entry_second_name(4));
    EXPECT_EQ(nullptr, application_entry_name(5));
    record = request(2055, true);
    EXPECT_EQ(0, rpc_exchange(record)); // the library stays; the arrays come again
    EXPECT_EQ("again", text_in(answer_of(record)));
    rpc_close(true);
    EXPECT_STREQ("undname", application_name(3));
    // Unused records are not registered, but the pointer field of every group is cleared.
    std::string round = "register USERONE\nregister USERTHREE\nregister GROUPONE\n";
    EXPECT_EQ("initialise\n" + round + round + "group link cleared\ngroup link cleared\nprotocol USERONE\nunload\n", read_file(diary));
}

TEST_F(Session, TheDictionaryIsFetchedWhenALookUpNeedsIt)
{
    root.install_dictionary("full");
    std::string path = socket();
    ScriptedDaemon daemon(path, {{{.code = 511, .wants_dictionary = true, .address = 0}, {}}});
    ASSERT_EQ(0, rpc_init(path.c_str(), 65536));
    EXPECT_STREQ("undname", application_name(2)); // never fetches
    EXPECT_EQ(2, application_id_of("HTTP"));
    EXPECT_STREQ("HTTP", application_entry_name(2));
    EXPECT_STREQ("HTTP", application_name(2));
}

TEST_F(Session, AFailedFetchSaysSo)
{
    root.install_dictionary("no_axpdict");
    std::string path = socket();
    const Request fetch{.code = 511, .wants_dictionary = true, .address = 0};
    ScriptedDaemon daemon(path, {{fetch, {.error = 9, .error_text = "LOCKED"}}, {fetch, {.cut_at = 0}}, {fetch, {}}});
    ASSERT_EQ(0, rpc_init(path.c_str(), 65536));
    EXPECT_EQ("rpc_syncdesc: LOCKED(9)\n", captured_output([&] { EXPECT_EQ(-1, application_id_of("HTTP")); }));
    EXPECT_EQ("rpc_syncdesc: r_Success_0(5)\n", captured_output([&] { EXPECT_EQ(nullptr, application_entry_name(2)); }));
    EXPECT_EQ("rpc_syncdesc: AXPDICT_NOT_FOUND(12)\n", captured_output([&] { EXPECT_EQ(-1, application_id_of("HTTP")); }));
    EXPECT_FALSE(dictionary_loaded());
}

TEST_F(Session, ArraysThatDoNotFitTheSegmentAreNotTaken)
{
    // Not a daemon's fault: the library's counts are larger than this segment. The arrays must not be read
    // past it.
    root.install_dictionary("full");
    RequestRecord record{};
    char area[279] = {};
    EXPECT_EQ(-1, dictionary_take(record, area, sizeof area));
    EXPECT_EQ("INV_REPLY", record.text.view());
    dictionary_unload();
}

} // namespace
