// However a run ends, its segment goes with it; a stop signal ends it with status 1 and what was printed is
// out.
#include "base/stop_signals.h"
#include "tests/support/program.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A listing that prints while it walks: one session a batch, the opening before the first request.
const std::string session_record = Bytes(24).ip(0, 10, 0, 0, 1).ip(4, 10, 0, 0, 2).be16(8, 1).be16(10, 2).str();
const char opening[] = R"({"data":[)";
const char row[] = R"({"src":"10.0.0.1","dst":"10.0.0.2","sport":1,"dport":2,"proto":0,"catagore":0,)"
                   R"("pkts0":0,"pkts1":0,"birth":0})";
const Request batch_request{.code = 2055, .module = "idssum", .data = leading(" show_session=1"), .segment_size = 65536};
const std::vector<std::string> walking{"kesidslog", "listflow"};

struct Scene {
    PrivateRoot root;
    ScriptedDaemon daemon;
    Scene(Daemon at, std::vector<Exchange> exchanges) : daemon(root.path() + socket_of(at), std::move(exchanges)) {}
    Environment environment() const
    {
        Environment all = environment_below(root.path());
        all["ASAN_OPTIONS"] = "detect_leaks=0:handle_segv=0"; // the program's own handler is what is tested
        return all;
    }
};

TEST(Signals, WhatWasPrintedIsOut)
{
    Scene scene(Daemon::management, {{batch_request, {.answer = session_record, .count = 1, .last = false}},
                                     {batch_request, {.cut_at = 0, .before = [](pid_t run) { kill(run, SIGTERM); }}}});
    Program program(walking, scene.environment());
    EXPECT_EQ(1, program.wait().status);
    scene.daemon.finish(); // it has let go of the segment too
    EXPECT_EQ(std::string(opening) + row, program.output());
    scene.daemon.finish(); // it may still be attached when the run has ended
    EXPECT_EQ(0, segments_of(program.pid()));
}

// The daemon answers no second time before the run has ended; what the first brought is written. Without a signal the
// run has a second's time.
void expect_end_without_a_reply(int signal, int status)
{
    SCOPED_TRACE(signal);
    std::promise<void> ended;
    std::future<void> end = ended.get_future();
    const Request dump{.code = 2068, .module = "mempcap"};
    const Reply three_bytes{.answer = "out", .last = false, .edit = [](Bytes& record, std::span<char>) { record.u32(172, 3); }};
    Scene scene(Daemon::management, {{dump, three_bytes}, {dump, {.before = [&](pid_t run) {
                                                               kill(run, signal);
                                                               end.wait();
                                                           }}}});
    Environment environment = scene.environment();
    environment["VIGIL_TIMEOUT"] = signal == 0 ? "1" : "3600";
    Program program({"mempcap", "dump"}, environment);
    int got = program.wait(20).status;
    ended.set_value();
    scene.daemon.finish();
    EXPECT_EQ(status, got);
    EXPECT_EQ("out", program.output());
    EXPECT_EQ(0, segments_of(program.pid()));
}

TEST(Signals, TheDaemonIsNotWaitedFor)
{
    for (int signal : stop_signals)
        expect_end_without_a_reply(signal, 1);
    expect_end_without_a_reply(SIGKILL, -SIGKILL);
    expect_end_without_a_reply(0, 1);
}

// The pipe is full and nobody reads on.
TEST(Signals, AReaderThatDoesNotReadIsNotWaitedFor)
{
    std::string answer(2 * 1024 * 1024 - 1, 'x');
    Scene scene(Daemon::analysis, {{{.code = 2055, .module = "gadget", .data = trailing("")}, {.answer = answer}}});
    Program program({"gadget", "list"}, scene.environment());
    program.read_output(1);
    kill(program.pid(), SIGTERM);
    const RunResult& run = program.wait(20, false);
    EXPECT_EQ(1, run.status);
    EXPECT_GT(answer.size(), run.output.size());
    EXPECT_EQ(0, segments_of(program.pid()));
}

// The pipe takes a part of the write that the signal interrupts.
TEST(Signals, AnInterruptedWriteRepeatsNothing)
{
    std::string answer;
    for (int i = 0; answer.size() < 200000; i++)
        answer += std::to_string(i) + "\n";
    Scene scene(Daemon::analysis, {{{.code = 2055, .module = "gadget", .data = trailing("")}, {.answer = answer}}});
    const std::string fifo = scene.root.path() + "/fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    const int room = fcntl(reader, F_SETPIPE_SZ, 4096);
    ASSERT_LT(0, room);
    Program program({"gadget", "list"}, scene.environment(), fifo);
    int filled = 0;
    ASSERT_TRUE(wait_until([&] { return ioctl(reader, FIONREAD, &filled) == 0 && filled >= room; }));
    kill(program.pid(), SIGTERM);
    fcntl(reader, F_SETFL, 0);
    std::string output(answer.size() + 1, '\0');
    size_t got = 0;
    for (ssize_t n = 1; n > 0 && got < output.size(); got += static_cast<size_t>(n))
        n = std::max<ssize_t>(read(reader, &output[got], output.size() - got), 0);
    close(reader);
    output.resize(got);
    EXPECT_EQ(1, program.wait(20).status);
    EXPECT_LE(static_cast<size_t>(room), output.size());
    EXPECT_TRUE(answer.starts_with(output)) << output.size();
}

// The answer that is being decoded is read to its end.
TEST(Signals, AStoppedAnswerIsADocument)
{
    const std::string answer(20'000, 'x');
    run_case(failing("stop 120000", command("@json gadget list", Daemon::analysis,
                                            {{{.code = 2055, .module = "gadget", .data = trailing("")}, {.answer = answer}}},
                                            "{\"text\":\"" + answer + "\",\"error\":{\"text\":\"stopped\",\"status\":1}}\n", 1)));
}

// A fault sent from outside does not repeat: the session is gone, the run fails over its closed socket or
// goes by the second one.
TEST(Signals, AFaultFromOutsideClosesTheSession)
{
    Scene scene(Daemon::management, {{batch_request, {.before = [](pid_t run) { kill(run, SIGSEGV); }}}});
    Program program(walking, scene.environment());
    const RunResult& run = program.wait(20);
    EXPECT_TRUE(run.status == 255 || run.status == -SIGSEGV) << run.status;
    scene.daemon.finish();
    EXPECT_EQ(0, segments_of(program.pid()));
}

TEST(Signals, ARealFaultEndsTheRunAndItsSegment)
{
    Scene scene(Daemon::management, {{{.code = 2055, .module = "obsbussflow", .data = trailing(""), .wants_dictionary = true}, {}}});
    scene.root.install_dictionary("faulty");
    Program program({"ipobj", "listbussflow"}, scene.environment());
    EXPECT_EQ(-SIGSEGV, program.wait(20).status);
    EXPECT_EQ(0, segments_of(program.pid()));
}

// Whichever it is: one that ends the run waits until the segment goes with the run.
TEST(Signals, NoneComesBetweenTheSegmentAndItsMark)
{
    for (auto [signal, status] : {std::pair{SIGTERM, 1}, std::pair{SIGHUP, 1}, std::pair{SIGALRM, -SIGALRM}, std::pair{SIGUSR1, -SIGUSR1},
                                  std::pair{SIGVTALRM, -SIGVTALRM}}) {
        Case one = command("gadget stat", Daemon::analysis, {}, "", status);
        one.fault = "raise " + std::to_string(signal);
        run_case(one);
    }
}

// As under nohup: the closed terminal does not end the run.
TEST(Signals, WhatIsIgnoredAtTheStartStaysIgnored)
{
    Scene scene(Daemon::management, {{batch_request, {.answer = session_record, .count = 1, .before = [](pid_t run) {
                                                          kill(run, SIGHUP);
                                                          kill(run, SIGQUIT);
                                                      }}}});
    Program program(walking, scene.environment(), "", {SIGHUP, SIGQUIT});
    EXPECT_EQ(0, program.wait(20).status);
    EXPECT_EQ(std::string(opening) + row + R"(], "total":1})", program.output());
}

// A reader that goes away, or a limit on the size of files, is no signal.
TEST(Signals, LostOutputIsAnError)
{
    Scene scene(Daemon::management,
                {{batch_request, {.answer = session_record, .count = 1}}, {batch_request, {.answer = session_record, .count = 1}}});
    EXPECT_EQ(255, Program(walking, scene.environment(), "|").wait().status);
    EXPECT_EQ(255, Program({"sysboot"}, scene.environment(), "|").wait().status);

    limit_files(8);
    Program limited(walking, scene.environment(), scene.root.path() + "/limited");
    Program listing({}, scene.environment(), scene.root.path() + "/listing");
    limit_files();
    EXPECT_EQ(255, limited.wait().status);
    EXPECT_EQ(255, listing.wait().status);
    EXPECT_EQ(std::string(opening).substr(0, 8), read_file(scene.root.path() + "/limited"));
}

} // namespace
