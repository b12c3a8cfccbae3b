#pragma once
// vigil-lab below a private root, from its ready line to its end.
#include "tests/support/program.h"

class Lab {
public:
    struct Start {
        std::vector<std::string> options;
        std::string ready = "sessions=0";      // what the ready line says behind the root
        int input = -1;                        // becomes its standard input; closed here
        std::function<void()> prepare = [] {}; // in the new process
    };
    explicit Lab(const Start& start);
    ~Lab(); // expects a clean end
    Lab(const Lab&) = delete;

    // Runs a command line of vigil against it; expects the status, and nothing left behind.
    std::string run(const std::string& command, int status = 0) const;
    const std::string& root() const { return root_.path(); }

private:
    PrivateRoot root_;
    pid_t pid_ = -1;
};

// A made-up world of so many sessions, always the same.
Lab::Start made_up(const std::string& sessions);
Lab::Start of_capture(const std::string& path, const std::string& sessions);

// What vigil-lab says that does not serve, and its status.
std::pair<std::string, int> outcome(const std::string& root, const Lab::Start& start);
