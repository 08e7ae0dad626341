#include "Sampling/KinfoProcTable.h"

#include <algorithm>
#include <cerrno>

#include "core/ByteDecoding.h"

namespace orv {

std::optional<ProcessTableRow> KinfoProc::decode(std::span<const uint8_t> row) {
    using ByteDecoding::loadNative;
    if (row.size() < rowSize) return std::nullopt;
    // Every field lies inside the row size checked above, so no load fails.
    ProcessTableRow out;
    const int64_t seconds = *loadNative<int64_t>(row, startSeconds);
    const int32_t micros = *loadNative<int32_t>(row, startMicroseconds);
    out.startStamp = static_cast<uint64_t>(seconds) * 1'000'000 + static_cast<uint64_t>(micros);
    out.start = Date::fromUnixSeconds(double(seconds) + double(micros) / 1'000'000.0);
    out.isZombie = *loadNative<char>(row, state) == zombieState;
    out.pid = *loadNative<int32_t>(row, pid);
    out.uid = *loadNative<uint32_t>(row, effectiveUID);
    out.parentPID = *loadNative<int32_t>(row, parentPID);
    const auto commandBytes = row.subspan(command, commandSize);
    const auto terminator = std::find(commandBytes.begin(), commandBytes.end(), uint8_t{0});
    out.setCommandName({reinterpret_cast<const char*>(commandBytes.data()), size_t(terminator - commandBytes.begin())});
    return out;
}

size_t KinfoProcTable::read(const SysctlCall& sysctl) {
    constexpr size_t rowSize = KinfoProc::rowSize;
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
