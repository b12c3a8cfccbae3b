#pragma once
// Whole-program tests: the built vigil runs below a private root against a scripted daemon. One table entry a
// behaviour: the arguments, the requests that must arrive with their replies, the complete output and status.
//
//   command("gadget list sort=hits", Daemon::management,
//           {{{.code = 2055, .module = "gadget", .data = trailing("sort=hits ")},
//             {.answer = Bytes(48).u64(16, 7).text(24, "a", 8), .count = 1}}},
//           R"({"data":[{"hits":7,"name":"a"}], "total":1})"),
//
// Every run also checks: nothing on standard error, no request beyond the script and none missing, a current
// request time, a segment of mode 0600 and of the size that the record names, and no segment left behind.
#include "tests/support/bytes.h"
#include "tests/support/fresh_folder.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>
#include <thread>
#include <vector>

enum class Daemon { analysis, management, chart, none };

// Argument text as it must lie at the start of the segment, with the data length of the record.
struct Data {
    std::string text;
    int32_t length = 0;
};
inline Data counted(const std::string& text) // the NUL counts
{
    return {text, static_cast<int32_t>(text.size()) + 1};
}
inline Data uncounted(const std::string& text) // a NUL follows but does not count
{
    return {text, static_cast<int32_t>(text.size())};
}
inline constexpr auto* trailing = counted;  // "a=1 b=2 "
inline constexpr auto* leading = uncounted; // " a=1 b=2"

struct Request {
    uint32_t code = 0;
    std::string module = {}; // empty: none is sent
    Data data = {};          // default: length 0
    bool wants_dictionary = false;
    int32_t cursor = 0;
    uint32_t segment_size = 0;            // bytes; 0: any
    std::optional<uint64_t> address = {}; // of the data; default: where the client has its segment
};

struct Reply {
    // Goes to the start of the segment, behind the user arrays when they are asked for; a NUL follows if the
    // segment has room for it.
    std::string answer = {};
    int32_t count = 0;
    std::optional<int32_t> length = {}; // default: the bytes of `answer`
    int32_t error = 0;
    std::string error_text = {};
    bool last = true;
    int32_t cursor = 0;
    size_t cut_at = 208; // sends only so many bytes of the record, then closes
    // Last changes: the reply record (208 bytes) and the whole segment, after the answer was copied.
    std::function<void(Bytes& record, std::span<char> segment)> edit = {};
    // When the request has arrived, before anything is answered.
    std::function<void(pid_t client)> before = {};
};

struct Exchange {
    Request request = {};
    Reply reply = {};
};

// A program's end: exit status, or minus the number of the signal that ended it.
struct RunResult {
    std::string output, errors;
    int status = 0;
    pid_t pid = 0;
};

struct Case {
    std::string name = {};
    std::vector<std::string> arguments = {}; // "{root}" in arguments and environment stands for the private root
    Daemon daemon = Daemon::analysis;        // only this one listens
    std::vector<Exchange> exchanges = {};
    std::string output = {};
    int status = 0;
    std::string dictionary = {};                         // a variant of tests/support/dict: "full", "no_axpdict", "no_usraxps", ...
    std::map<std::string, std::string> files = {};       // below the root: path → content
    std::map<std::string, std::string> environment = {}; // beside VIGIL_ROOT, TZ=CST-8, PATH, sanitizer options
    std::string errors = {};
    std::string fault = {};                                  // a call that fails in the run, as tests/support/faults takes it
    rlim_t file_limit = RLIM_INFINITY;                       // bytes that the run may write into one file
    std::string output_to = {};                              // open this instead of capturing ("/dev/full"); "-": closed; "|": nobody reads
    std::function<void(const RunResult&)> check = {};        // instead of comparing `output`
    std::function<void(const std::string& root)> after = {}; // looks at files the run has written
};

std::vector<std::string> words_of(const std::string& line);

// The short form of a case: the command line, split at blanks, is its name too. A first word "@json" runs
// vigil-json.
Case command(const std::string& line, Daemon daemon, std::vector<Exchange> exchanges, const std::string& output, int status = 0);

// The same in a run of which a call fails.
inline Case failing(const std::string& fault, Case one)
{
    one.fault = fault;
    return one;
}

void run_case(const Case& one);
void run_cases(std::span<const Case> cases);

// ---- The pieces, for tests that need more than a table entry ----

// A fresh folder with those of the appliance in it.
struct PrivateRoot : FreshFolder {
    PrivateRoot();
    const std::string& path() const { return folder; }
    void install_dictionary(const std::string& variant) const;
};

// Serves the exchanges in their order, one connection each, in a thread of its own. Connections that close
// without a request do not count.
class ScriptedDaemon {
public:
    ScriptedDaemon(const std::string& socket, std::vector<Exchange> exchanges);
    ~ScriptedDaemon() { finish(); }
    ScriptedDaemon(const ScriptedDaemon&) = delete;
    void finish(); // ends the thread and reports what differed; the destructor does the same

private:
    struct Segment;
    void run();
    void serve(int connection);
    template <class A, class B> void compare(const char* what, const A& expected, const B& actual);
    void compare_request(const Request& expected, const char* record, const Segment& segment);
    std::string reply_to(const std::string& record, const Reply& reply, std::span<char> segment);

    std::vector<Exchange> exchanges_;
    int listener_ = -1;
    // Touched by the thread only, until it is joined.
    size_t arrived_ = 0;
    std::vector<std::string> failures_;
    std::thread thread_;
};

std::string socket_of(Daemon daemon); // "/var/tmp/obslog.d" ...

using Environment = std::map<std::string, std::string>;
Environment environment_below(const std::string& root);

// Starts the built vigil. `output_to` as in Case; its standard output is otherwise captured. Signals are at
// their defaults but for those that are to be `ignored`.
class Program {
public:
    Program(const std::vector<std::string>& arguments, const Environment& environment, const std::string& output_to = "",
            const std::vector<int>& ignored = {});
    ~Program(); // kills what is still running
    Program(const Program&) = delete;
    pid_t pid() const { return run_.pid; }
    // Wait until so many bytes are there (or the program ends).
    void read_output(size_t until) { read_until(run_.output, until, output_fd_); }
    void read_errors(size_t until) { read_until(run_.errors, until, errors_fd_); }
    const std::string& output() const { return run_.output; }
    // Collects the output and the end; kills a run that hangs, which is a failure. Not `reading`: leaves the
    // output in the pipe until the run has ended.
    RunResult& wait(int seconds = 60, bool reading = true);

private:
    bool read_some(int timeout_ms);
    void read_until(const std::string& text, size_t size, const int& fd);
    RunResult run_;
    int output_fd_ = -1, errors_fd_ = -1;
    bool ended_ = false;
};

// How many bytes a run that is started from now on may write into one file.
void limit_files(rlim_t bytes = RLIM_INFINITY);

// False when it has not become so within a minute.
bool wait_until(const std::function<bool()>& is_so);

int segments_of(pid_t creator); // SysV segments that this process has created and that exist
