#include "tests/support/program.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

std::string with_root(std::string text, const std::string& root)
{
    for (size_t at; (at = text.find("{root}")) != std::string::npos;)
        text.replace(at, 6, root);
    return text;
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> out;
    for (std::string& text : texts)
        out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

// Every signal at its default but for the `kept`, none blocked, whatever the test runner has.
void start_clean(posix_spawnattr_t& attributes, const std::vector<int>& kept)
{
    sigset_t all, none;
    sigfillset(&all);
    for (int signal : kept)
        sigdelset(&all, signal);
    sigemptyset(&none);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

} // namespace

PrivateRoot::PrivateRoot()
{
    for (const char* place :
         {"/var/tmp", "/usr/ramdisk/var", "/usr/ramdisk/bin", "/usr/ramdisk/etc", "/conf", "/usr/obslog", "/usr/keslog", "/log"})
        std::filesystem::create_directories(folder + place);
}

void PrivateRoot::install_dictionary(const std::string& variant) const
{
    std::filesystem::create_symlink(VIGIL_BINARY_DIR "/tests/dict/dict_" + variant + ".so", folder + "/usr/ramdisk/bin/dict.so");
}

Environment environment_below(const std::string& root)
{
    // The program's own SIGSEGV handler stays out of the sanitizer's way, except where it is what is tested.
    return {{"VIGIL_ROOT", root},
            {"TZ", "CST-8"},
            {"PATH", "/usr/bin:/bin"},
            {"ASAN_OPTIONS", "detect_leaks=0:allocator_may_return_null=1:handle_segv=2"},
            {"UBSAN_OPTIONS", "print_stacktrace=1"}};
}

Program::Program(const std::vector<std::string>& arguments, const Environment& environment, const std::string& output_to,
                 const std::vector<int>& ignored)
{
    const bool json = !arguments.empty() && arguments[0] == "@json";
    std::vector<std::string> words{"vigil"}, settings;
    words.insert(words.end(), arguments.begin() + json, arguments.end());
    for (const auto& [name, value] : environment)
        settings.push_back(name + "=" + value);

    int out[2], errors[2];
    posix_spawn_file_actions_t to;
    posix_spawn_file_actions_init(&to);
    if (pipe2(errors, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe2");
    posix_spawn_file_actions_addopen(&to, 0, "/dev/null", O_RDONLY, 0);
    if (output_to.empty() || output_to == "|")
        posix_spawn_file_actions_adddup2(&to, out[1], 1);
    else if (output_to == "-")
        posix_spawn_file_actions_addclose(&to, 1);
    else
        posix_spawn_file_actions_addopen(&to, 1, output_to.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_adddup2(&to, errors[1], 2);

    if (!output_to.empty()) { // nothing is captured
        close(out[0]);
        out[0] = -1;
    }
    posix_spawnattr_t attributes;
    start_clean(attributes, ignored);
    for (int signal : ignored)
        ::signal(signal, SIG_IGN);
    int failure = posix_spawn(&run_.pid, json ? VIGIL_BINARY "-json" : VIGIL_BINARY, &to, &attributes, pointers(words).data(),
                              pointers(settings).data());
    for (int signal : ignored)
        ::signal(signal, SIG_DFL);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&to);
    close(errors[1]);
    close(out[1]);
    output_fd_ = out[0];
    errors_fd_ = errors[0];
    if (failure != 0)
        throw std::runtime_error("cannot start " VIGIL_BINARY);
}

Program::~Program()
{
    if (!ended_) {
        kill(run_.pid, SIGKILL);
        waitpid(run_.pid, nullptr, 0);
    }
    for (int fd : {output_fd_, errors_fd_})
        if (fd >= 0)
            close(fd);
}

// Collects what there is within the time; false when both streams have ended.
bool Program::read_some(int timeout_ms)
{
    pollfd ends[] = {{output_fd_, POLLIN, 0}, {errors_fd_, POLLIN, 0}}; // -1 is passed over
    if (output_fd_ < 0 && errors_fd_ < 0)
        return false;
    if (poll(ends, 2, timeout_ms) <= 0)
        return true;
    char piece[65536];
    for (int i = 0; i < 2; i++) {
        if (ends[i].revents == 0)
            continue;
        int& fd = i == 0 ? output_fd_ : errors_fd_;
        ssize_t n = read(fd, piece, sizeof piece);
        if (n > 0) {
            (i == 0 ? run_.output : run_.errors).append(piece, static_cast<size_t>(n));
        } else {
            close(fd);
            fd = -1;
        }
    }
    return true;
}

void Program::read_until(const std::string& text, size_t size, const int& fd)
{
    auto deadline = Clock::now() + std::chrono::seconds(60);
    while (text.size() < size && fd >= 0 && Clock::now() < deadline)
        read_some(100);
}

RunResult& Program::wait(int seconds, bool reading)
{
    auto deadline = Clock::now() + std::chrono::seconds(seconds);
    int status = 0;
    while (!ended_) {
        if (!reading || !read_some(50))
            usleep(500);
        ended_ = waitpid(run_.pid, &status, WNOHANG) == run_.pid;
        if (!ended_ && Clock::now() > deadline) {
            ADD_FAILURE() << "the run hangs";
            kill(run_.pid, SIGKILL);
            deadline = Clock::now() + std::chrono::seconds(seconds);
        }
    }
    while (read_some(-1)) {
    }
    run_.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    return run_;
}

void limit_files(rlim_t bytes)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
}

bool wait_until(const std::function<bool()>& is_so)
{
    for (int i = 0; i < 60000 && !is_so(); i++)
        usleep(1000);
    return is_so();
}

// What others left behind before, created by a process of the same number, is not the run's.
static const time_t begun = time(nullptr);

int segments_of(pid_t creator)
{
    shm_info all;
    shmid_ds one;
    const int last = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&all));
    EXPECT_LE(0, last);
    int found = 0;
    for (int i = 0; i <= last; i++)
        found += shmctl(i, SHM_STAT, &one) >= 0 && one.shm_cpid == creator && one.shm_ctime >= begun;
    return found;
}

std::vector<std::string> words_of(const std::string& line)
{
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

Case command(const std::string& line, Daemon daemon, std::vector<Exchange> exchanges, const std::string& output, int status)
{
    return {
        .name = line, .arguments = words_of(line), .daemon = daemon, .exchanges = std::move(exchanges), .output = output, .status = status};
}

void run_case(const Case& one)
{
    SCOPED_TRACE(one.name);
    PrivateRoot root;
    for (const auto& [place, content] : one.files)
        root.write(place, content);
    if (!one.dictionary.empty())
        root.install_dictionary(one.dictionary);
    std::optional<ScriptedDaemon> daemon;
    if (one.daemon != Daemon::none)
        daemon.emplace(root.path() + socket_of(one.daemon), one.exchanges);

    Environment environment = environment_below(root.path());
    for (const auto& [name, value] : one.environment)
        environment[name] = with_root(value, root.path());
    if (!one.fault.empty()) {
        environment["FAULT"] = with_root(one.fault, root.path());
        const std::string library = root.path() + "/faults.so"; // a name without a blank
        std::filesystem::create_symlink(VIGIL_BINARY_DIR "/tests/faults.so", library);
        environment["LD_PRELOAD"] = library;
        environment["ASAN_OPTIONS"] += ":verify_asan_link_order=0";
    }
    std::vector<std::string> arguments;
    for (const std::string& argument : one.arguments)
        arguments.push_back(with_root(argument, root.path()));

    limit_files(one.file_limit);
    Program program(arguments, environment, one.output_to);
    limit_files();
    const RunResult& run = program.wait();
    if (daemon)
        daemon->finish();
    if (one.check)
        one.check(run);
    else
        EXPECT_EQ(with_root(one.output, root.path()), run.output);
    EXPECT_EQ(one.status, run.status);
    EXPECT_EQ(one.errors, run.errors);
    EXPECT_EQ(0, segments_of(run.pid)) << "a segment was left behind";
    if (one.after)
        one.after(root.path());
}

void run_cases(std::span<const Case> cases)
{
    for (const Case& one : cases)
        run_case(one);
}
