#pragma once

#include <filesystem>
#include <string>

namespace orv::test {

// The `orvantine` program of this build, run as a user runs it.
struct CommandResult {
    int status = -1;  // the exit status, or -1 when it did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error (log lines land here without a journal)
};

std::filesystem::path orvantineProgram();

// Runs `orvantine <arguments>` through the shell and waits for it.
CommandResult runOrvantine(const std::string& arguments);

}  // namespace orv::test
