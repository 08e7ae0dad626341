#include "support/CommandRunner.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "support/TempDir.h"

namespace orv::test {

std::filesystem::path orvantineProgram() {
    return std::filesystem::path(ORVANTINE_BINARY_DIR) / "cli" / "orvantine";
}

CommandResult runOrvantine(const std::string& arguments) {
    TempDir dir;
    const auto errPath = dir.path() / "stderr";
    CommandResult result;
    std::string command = orvantineProgram().string() + " " + arguments + " 2>" + errPath.string();
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 65536> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) result.out.append(buffer.data(), n);
    int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream in(errPath);
    std::stringstream text;
    text << in.rdbuf();
    result.err = text.str();
    return result;
}

}  // namespace orv::test
