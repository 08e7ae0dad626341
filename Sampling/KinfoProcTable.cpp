#include "Sampling/KinfoProcTable.h"

#include <cerrno>
#include <cstring>

namespace orv {

namespace {
template <class T>
T load(std::span<const uint8_t> bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);  // both macOS targets are little-endian
    return value;
}
}  // namespace

std::optional<ProcessTableRow> decodeKinfoProcRow(std::span<const uint8_t> row) {
    using L = KinfoProcLayout;
    if (row.size() < L::rowSize) return std::nullopt;
    ProcessTableRow out;
    int64_t seconds = load<int64_t>(row, L::startSeconds);
    int32_t micros = load<int32_t>(row, L::startMicroseconds);
    out.startStamp = static_cast<uint64_t>(seconds) * 1'000'000 + static_cast<uint64_t>(micros);
    out.start = Date::fromUnixSeconds(double(seconds) + double(micros) / 1'000'000.0);
    out.isZombie = static_cast<char>(row[L::state]) == L::zombieState;
    out.pid = load<int32_t>(row, L::pid);
    out.uid = load<uint32_t>(row, L::effectiveUID);
    out.parentPID = load<int32_t>(row, L::parentPID);
    const char* command = reinterpret_cast<const char*>(row.data() + L::command);
    out.setCommandName({command, strnlen(command, L::commandSize)});
    return out;
}

size_t KinfoProcTable::read(const SysctlCall& sysctl) {
    constexpr size_t rowSize = KinfoProcLayout::rowSize;
    for (int growths = 0; growths < 3;) {
        if (!buffer_.empty()) {
            size_t size = buffer_.size();
            int error = sysctl(buffer_.data(), &size);
            if (error == 0) return size / rowSize;
            if (error != ENOMEM) return 0;
        }
        size_t needed = 0;
        if (sysctl(nullptr, &needed) != 0 || needed < 1) return 0;
        size_t rows = (needed + needed / 4) / rowSize + 16;
        buffer_.assign(rows * rowSize, 0);
        ++growths;
    }
    return 0;
}

}  // namespace orv
