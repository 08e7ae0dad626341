#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace orv {

// One line of Linux's proc/diskstats.
struct DiskstatsEntry {
    uint32_t major = 0;
    uint32_t minor = 0;
    std::string_view name;  // points into the decoded text
    uint64_t sectorsRead = 0;
    uint64_t sectorsWritten = 0;

    // The device number as one key: major in the upper half.
    uint64_t deviceID() const { return (uint64_t(major) << 32) | minor; }
    // The kernel counts these sectors in 512-byte units whatever the
    // device's own sector size (Documentation/admin-guide/iostats.rst).
    uint64_t bytesRead() const { return sectorsRead * 512; }
    uint64_t bytesWritten() const { return sectorsWritten * 512; }

    // Every line of the file into `out`, cleared first and kept between
    // samples so that steady reads do not allocate. Columns, per
    // iostats.rst: major minor name, then reads completed, reads merged,
    // sectors read, time reading, writes completed, writes merged, sectors
    // written, and more. A line with fewer columns, or with garbage in
    // these, is skipped.
    static void decodeAll(std::string_view text, std::vector<DiskstatsEntry>& out);

    friend bool operator==(const DiskstatsEntry&, const DiskstatsEntry&) = default;
};

}  // namespace orv
