#include "support/ListeningSocket.h"

#include <array>
#include <thread>

#include "core/FileReading.h"
#include "core/TextDecoding.h"

namespace orv::test {

namespace {

// The socket accepts connections (the kernel's __SO_ACCEPTCON).
constexpr unsigned long listeningFlag = 0x10000;

}  // namespace

bool listensAt(std::string_view table, std::string_view path) {
    // "Num: RefCount Protocol Flags Type St Inode Path", one socket a line;
    // the path, absent for unbound sockets, is the rest of the line after
    // one space, and may hold spaces of its own.
    for (std::string_view line : TextDecoding::Lines(table)) {
        std::array<std::string_view, 7> fields;
        if (TextDecoding::splitFields(line, fields) < fields.size()) continue;
        const size_t pathAt = size_t(fields[6].data() + fields[6].size() - line.data()) + 1;
        if (pathAt > line.size() || line.substr(pathAt) != path) continue;
        const auto flags = TextDecoding::parseNumber<unsigned long>(fields[3], 16);
        if (flags && (*flags & listeningFlag)) return true;
    }
    return false;
}

bool waitUntilListening(const std::string& path, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        auto table = FileReading::readSmallFile("/proc/net/unix");
        if (table && listensAt(*table, path)) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace orv::test
