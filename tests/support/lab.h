#pragma once
// vigil-lab below a private root, from its ready line to its end.
#include "tests/support/program.h"

// The options stand as in a shell, redirections too; `under` is what runs the program.
class Lab {
public:
    explicit Lab(const std::string& options, const std::string& under = "");
    ~Lab(); // expects a clean end
    Lab(const Lab&) = delete;

    // Runs a command line of vigil against it; expects the status, and nothing left behind.
    std::string run(const std::string& command, int status = 0) const;
    // The same until the answer has the words in it.
    std::string run_until(const std::string& command, const std::string& words) const;
    const std::string& root() const { return root_.path(); }
    std::string ready; // what the ready line says behind the root

private:
    PrivateRoot root_;
    FILE* said_;
    pid_t pid_ = 0;
};

// What vigil-lab says that does not serve, and its status.
std::pair<std::string, int> outcome(const std::string& root, const std::string& options, const std::string& under = "");
