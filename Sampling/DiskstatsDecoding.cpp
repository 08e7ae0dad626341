#include "Sampling/DiskstatsDecoding.h"

#include <array>

#include "core/TextDecoding.h"

namespace orv {

namespace {

// The columns of Documentation/admin-guide/iostats.rst, as far as we read.
enum Column : size_t { kMajor, kMinor, kName, kReadsCompleted, kReadsMerged, kSectorsRead, kTimeReading,
                       kWritesCompleted, kWritesMerged, kSectorsWritten, kColumnsRead };

template <class T>
bool number(std::string_view column, T& out) {
    auto value = TextDecoding::parseNumber<T>(column);
    if (value) out = *value;
    return value.has_value();
}

}  // namespace

void DiskstatsEntry::decodeAll(std::string_view text, std::vector<DiskstatsEntry>& out) {
    out.clear();
    for (std::string_view line : TextDecoding::Lines(text)) {
        std::array<std::string_view, kColumnsRead> columns;
        if (TextDecoding::splitFields(line, columns) < kColumnsRead) continue;
        DiskstatsEntry entry;
        entry.name = columns[kName];
        if (!number(columns[kMajor], entry.major) || !number(columns[kMinor], entry.minor) ||
            !number(columns[kSectorsRead], entry.sectorsRead) ||
            !number(columns[kSectorsWritten], entry.sectorsWritten)) {
            continue;
        }
        out.push_back(entry);
    }
}

}  // namespace orv
