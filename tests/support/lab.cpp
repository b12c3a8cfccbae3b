#include "tests/support/lab.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

// Takes the place of a shell, and ends before it is a hanging test.
static std::string lab_command(const std::string& root, const std::string& options, const std::string& under)
{
    return "exec timeout 200 " + under + " '" VIGIL_BINARY_DIR "/lab/vigil-lab' --root " + root + ' ' + options;
}

std::pair<std::string, int> outcome(const std::string& root, const std::string& options, const std::string& under)
{
    FILE* said = popen((lab_command(root, options, under) + " 2>&1").c_str(), "re");
    std::string text;
    for (int c; (c = fgetc(said)) != EOF;)
        text += static_cast<char>(c);
    return {text, WEXITSTATUS(pclose(said))};
}

Lab::Lab(const std::string& options, const std::string& under)
    : said_(popen(("echo $$; " + lab_command(root(), options, under)).c_str(), "re"))
{
    char number[16] = "", line[256] = "";
    EXPECT_TRUE(fgets(number, sizeof number, said_) != nullptr && fgets(line, sizeof line, said_) != nullptr);
    pid_ = atoi(number);
    ready = line;
    EXPECT_TRUE(ready.starts_with("ready " + root() + ' ')) << ready;
    ready.erase(0, root().size() + 7);
}

Lab::~Lab()
{
    if (pid_ > 0)
        kill(pid_, SIGTERM);
    EXPECT_EQ(pclose(said_), 0);
    for (const char* socket : {"/var/tmp/obslog.d", "/usr/ramdisk/var/mgmt.d", "/usr/ramdisk/var/obschartd.d"})
        EXPECT_FALSE(std::filesystem::exists(root() + socket)) << socket;
}

std::string Lab::run(const std::string& line, int status) const
{
    Program program(words_of(line), environment_below(root()));
    const RunResult& run = program.wait();
    EXPECT_EQ(run.status, status) << line << ": " << run.output;
    EXPECT_EQ(segments_of(run.pid), 0) << line;
    return run.output;
}

std::string Lab::run_until(const std::string& line, const std::string& words) const
{
    for (int i = 0; i < 300; i++, usleep(100'000))
        if (std::string answer = run(line); answer.find(words) != answer.npos)
            return answer;
    ADD_FAILURE() << line << " never shows " << words << ": " << run(line);
    return "";
}
