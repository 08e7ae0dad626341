#include "Sampling/ProcStatDecoding.h"

#include <array>

#include "core/TextDecoding.h"

namespace orv {

namespace {

// The fields of a `cpuN` line: its name, then the columns of proc(5).
enum Field : size_t { kName, kUser, kNice, kSystem, kIdle, kIowait, kIrq, kSoftirq, kSteal, kGuest, kGuestNice, kFieldCount };
// Kernels before 2.6 print user, nice, system and idle only.
constexpr size_t kMinimumFields = kIdle + 1;

}  // namespace

std::optional<std::vector<ProcStatCore>> ProcStatCore::decodeAll(std::string_view text) {
    using TextDecoding::parseNumber;
    std::vector<ProcStatCore> cores;
    for (std::string_view line : TextDecoding::Lines(text)) {
        if (line.size() < 4 || !line.starts_with("cpu") || !TextDecoding::isDigit(line[3])) continue;

        std::array<std::string_view, kFieldCount> fields;
        const size_t count = TextDecoding::splitFields(line, fields);
        ProcStatCore core;
        auto number = parseNumber<int64_t>(fields[kName].substr(3));
        if (!number || count < kMinimumFields) return std::nullopt;
        core.number = *number;

        std::array<uint64_t, kFieldCount> values{};
        for (size_t field = kUser; field < count; ++field) {
            auto value = parseNumber<uint64_t>(fields[field]);
            if (!value) return std::nullopt;
            values[field] = *value;
        }
        core.ticks.user = values[kUser];
        core.ticks.nice = values[kNice];
        core.ticks.system = values[kSystem] + values[kIrq] + values[kSoftirq];
        core.ticks.idle = values[kIdle] + values[kIowait] + values[kSteal];
        cores.push_back(core);
    }
    if (cores.empty()) return std::nullopt;
    return cores;
}

}  // namespace orv
