#include "support/ListeningSocket.h"

#include <fstream>
#include <sstream>
#include <thread>

namespace orv::test {

namespace {

// The socket accepts connections (the kernel's __SO_ACCEPTCON).
constexpr unsigned long listeningFlag = 0x10000;

std::string_view nextField(std::string_view& line) {
    const size_t start = line.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        line = {};
        return {};
    }
    line.remove_prefix(start);
    const size_t end = line.find(' ');
    std::string_view field = line.substr(0, end);
    line.remove_prefix(end == std::string_view::npos ? line.size() : end);
    return field;
}

}  // namespace

bool listensAt(std::string_view table, std::string_view path) {
    // "Num: RefCount Protocol Flags Type St Inode Path", one socket a line;
    // the path is the rest of the line, absent for unbound sockets.
    while (!table.empty()) {
        const size_t newline = table.find('\n');
        std::string_view line = table.substr(0, newline);
        table.remove_prefix(newline == std::string_view::npos ? table.size() : newline + 1);
        std::string_view fields[7];
        for (auto& field : fields) field = nextField(line);
        if (fields[6].empty() || line.size() < 2 || line.front() != ' ' || line.substr(1) != path) continue;
        unsigned long flags = 0;
        try {
            flags = std::stoul(std::string(fields[3]), nullptr, 16);
        } catch (...) {
            continue;
        }
        if (flags & listeningFlag) return true;
    }
    return false;
}

bool waitUntilListening(const std::string& path, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        std::ifstream in("/proc/net/unix");
        std::stringstream text;
        text << in.rdbuf();
        if (listensAt(text.str(), path)) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace orv::test
