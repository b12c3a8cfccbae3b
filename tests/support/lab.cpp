#include "tests/support/lab.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Starts vigil-lab; what it prints on the `outputs` comes out of the descriptor.
pid_t start_lab(const std::string& root, const Lab::Start& start, std::initializer_list<int> outputs, int& out)
{
    int ends[2];
    pid_t pid = pipe2(ends, O_CLOEXEC) == 0 ? fork() : -1;
    if (pid < 0)
        throw std::runtime_error("fork");
    if (pid == 0) {
        for (int output : outputs)
            dup2(ends[1], output);
        if (start.input >= 0)
            dup2(start.input, 0);
        start.prepare();
        std::vector<const char*> arguments{"vigil-lab", "--root", root.c_str()};
        for (const std::string& option : start.options)
            arguments.push_back(option.c_str());
        arguments.push_back(nullptr);
        execv(VIGIL_BINARY_DIR "/lab/vigil-lab", const_cast<char**>(arguments.data()));
        _exit(127);
    }
    close(ends[1]);
    if (start.input >= 0)
        close(start.input);
    out = ends[0];
    return pid;
}

} // namespace

std::pair<std::string, int> outcome(const std::string& root, const Lab::Start& start)
{
    int out = -1, status = 0;
    pid_t pid = start_lab(root, start, {1, 2}, out);
    std::string said;
    char piece[4096];
    for (ssize_t n; (n = read(out, piece, sizeof piece)) > 0;)
        said.append(piece, static_cast<size_t>(n));
    close(out);
    waitpid(pid, &status, 0);
    return {said, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

Lab::Lab(const Start& start)
{
    int out = -1;
    pid_ = start_lab(root_.path(), start, {1}, out);
    pollfd ready{out, POLLIN, 0};
    char line[256] = "";
    EXPECT_EQ(poll(&ready, 1, 120'000), 1) << "no ready line";
    EXPECT_GT(read(out, line, sizeof line - 1), 0);
    EXPECT_EQ(std::string(line), "ready " + root_.path() + ' ' + start.ready + '\n');
    close(out);
}

Lab::~Lab()
{
    int status = -1;
    kill(pid_, SIGTERM);
    waitpid(pid_, &status, 0);
    EXPECT_EQ(status, 0);
    for (const char* socket : {"/var/tmp/obslog.d", "/usr/ramdisk/var/mgmt.d", "/usr/ramdisk/var/obschartd.d"})
        EXPECT_FALSE(std::filesystem::exists(root_.path() + socket)) << socket;
}

std::string Lab::run(const std::string& command, int status) const
{
    std::istringstream words(command);
    std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
    Program program(arguments, environment_below(root_.path()));
    auto& run = program.wait();
    EXPECT_EQ(run.status, status) << command << ": " << run.output;
    EXPECT_EQ(segments_of(run.pid), 0) << command;
    return run.output;
}

Lab::Start made_up(const std::string& sessions)
{
    return {.options = {"--sessions", sessions, "--seed", "5", "--now", "1790000000"}, .ready = "sessions=" + sessions};
}

Lab::Start of_capture(const std::string& path, const std::string& sessions)
{
    return {.options = {"--capture", path}, .ready = "sessions=" + sessions};
}
