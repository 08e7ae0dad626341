#include "Sampling/MeminfoDecoding.h"

#include <array>

#include "core/TextDecoding.h"

namespace orv {

namespace {

using TextDecoding::Lines;

// A meminfo value: a number, then " kB" for sizes (the HugePages_ lines
// are counts without a unit and are not read here).
std::optional<uint64_t> kilobytes(std::string_view value) {
    auto number = TextDecoding::parseLeadingNumber<uint64_t>(value);
    if (!number || *number > UINT64_MAX / 1024) return std::nullopt;
    return *number * 1024;
}

}  // namespace

std::optional<Meminfo> Meminfo::decode(std::string_view text) {
    Meminfo info;
    bool sawTotal = false;
    struct Field {
        std::string_view key;
        uint64_t Meminfo::*member;
    };
    static constexpr Field fields[] = {
        {"AnonPages", &Meminfo::anonPages},     {"Shmem", &Meminfo::shmem},
        {"Unevictable", &Meminfo::unevictable}, {"SUnreclaim", &Meminfo::sUnreclaim},
        {"KernelStack", &Meminfo::kernelStack}, {"PageTables", &Meminfo::pageTables},
        {"Zswap", &Meminfo::zswap},             {"Active(file)", &Meminfo::activeFile},
        {"Inactive(file)", &Meminfo::inactiveFile}, {"SwapTotal", &Meminfo::swapTotal},
        {"SwapFree", &Meminfo::swapFree},
    };
    for (std::string_view line : Lines(text)) {
        auto pair = TextDecoding::splitKeyValue(line);
        if (!pair) continue;
        auto [key, value] = *pair;
        if (key == "MemTotal") {
            auto bytes = kilobytes(value);
            if (!bytes) return std::nullopt;
            info.memTotal = *bytes;
            sawTotal = true;
        } else if (key == "MemAvailable") {
            auto bytes = kilobytes(value);
            if (!bytes) return std::nullopt;
            info.memAvailable = *bytes;
        } else {
            for (const auto& field : fields) {
                if (key != field.key) continue;
                auto bytes = kilobytes(value);
                if (!bytes) return std::nullopt;
                info.*field.member = *bytes;
                break;
            }
        }
    }
    if (!sawTotal) return std::nullopt;
    return info;
}

VMPageCounts Meminfo::pageCounts(uint64_t pageSize) const {
    if (pageSize == 0) return {};
    return VMPageCounts{
        .internalPages = (anonPages + shmem) / pageSize,
        .wiredPages = (unevictable + sUnreclaim + kernelStack + pageTables) / pageSize,
        .compressorPages = zswap / pageSize,
        .externalPages = (activeFile + inactiveFile) / pageSize,
        .purgeablePages = 0,
    };
}

std::optional<MemoryStall> MemoryStall::decode(std::string_view text) {
    std::optional<double> some;
    std::optional<double> full;
    // "some avg10=0.00 avg60=0.00 avg300=0.00 total=0", then "full …"
    // (Documentation/accounting/psi.rst).
    enum Field : size_t { kind, average10, fieldsRead };
    constexpr std::string_view avg10 = "avg10=";
    for (std::string_view line : Lines(text)) {
        std::array<std::string_view, fieldsRead> fields;
        if (TextDecoding::splitFields(line, fields) < fieldsRead || !fields[average10].starts_with(avg10)) continue;
        auto value = TextDecoding::parseNumber<double>(fields[average10].substr(avg10.size()));
        if (!value) return std::nullopt;
        if (fields[kind] == "some") some = value;
        else if (fields[kind] == "full") full = value;
    }
    if (!some || !full) return std::nullopt;
    return MemoryStall{*some, *full};
}

}  // namespace orv
