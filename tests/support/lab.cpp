#include "tests/support/lab.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

void become_lab(std::vector<std::string> options)
{
    options.insert(options.begin(), "vigil-lab");
    std::vector<char*> arguments;
    for (std::string& word : options)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(VIGIL_BINARY_DIR "/lab/vigil-lab", arguments.data());
    _exit(127);
}

Lab::Lab(const Start& start)
{
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0 || (pid_ = fork()) < 0)
        throw std::runtime_error("fork");
    if (pid_ == 0) {
        dup2(out[1], 1);
        if (start.input >= 0)
            dup2(start.input, 0);
        start.prepare();
        std::vector<std::string> options{"--root", root_.path()};
        options.insert(options.end(), start.options.begin(), start.options.end());
        become_lab(options);
    }
    close(out[1]);
    if (start.input >= 0)
        close(start.input);
    pollfd ready{out[0], POLLIN, 0};
    char line[256] = "";
    EXPECT_EQ(poll(&ready, 1, 120'000), 1) << "no ready line";
    EXPECT_GT(read(out[0], line, sizeof line - 1), 0);
    EXPECT_EQ(std::string(line), "ready " + root_.path() + ' ' + start.ready + '\n');
    close(out[0]);
}

Lab::~Lab()
{
    EXPECT_EQ(stop(), 0);
}

int Lab::stop()
{
    int status = 0;
    if (pid_ < 0)
        return 0;
    kill(pid_, SIGTERM);
    waitpid(pid_, &status, 0);
    pid_ = -1;
    for (const char* socket : {"/var/tmp/obslog.d", "/usr/ramdisk/var/mgmt.d", "/usr/ramdisk/var/obschartd.d"})
        EXPECT_FALSE(std::filesystem::exists(root_.path() + socket)) << socket;
    return status;
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
