#include "Sampling/MeminfoDecoding.h"

#include <algorithm>
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
        {"MemFree", &Meminfo::memFree},
        {"AnonPages", &Meminfo::anonPages},       {"Shmem", &Meminfo::shmem},
        {"Unevictable", &Meminfo::unevictable},   {"Mlocked", &Meminfo::mlocked},
        {"SReclaimable", &Meminfo::sReclaimable}, {"SUnreclaim", &Meminfo::sUnreclaim},
        {"KernelStack", &Meminfo::kernelStack},   {"PageTables", &Meminfo::pageTables},
        {"SecPageTables", &Meminfo::secPageTables},
        {"Zswap", &Meminfo::zswap},               {"Active(file)", &Meminfo::activeFile},
        {"Inactive(file)", &Meminfo::inactiveFile}, {"SwapTotal", &Meminfo::swapTotal},
        {"SwapFree", &Meminfo::swapFree},         {"Hugepagesize", &Meminfo::hugePageSize},
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
        } else if (key == "HugePages_Total") {
            // A count of pages, without a unit.
            auto count = TextDecoding::parseLeadingNumber<uint64_t>(value);
            if (!count) return std::nullopt;
            info.hugePagesTotal = *count;
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

uint64_t Meminfo::itemisedWired() const {
    const uint64_t unmlocked = unevictable > mlocked ? unevictable - mlocked : 0;
    const uint64_t hugetlb = hugePageSize != 0 && hugePagesTotal > UINT64_MAX / hugePageSize
                                 ? UINT64_MAX
                                 : hugePagesTotal * hugePageSize;
    return unmlocked + sUnreclaim + kernelStack + pageTables + secPageTables + hugetlb;
}

VMPageCounts Meminfo::pageCounts(uint64_t pageSize, uint64_t zramBytes) const {
    if (pageSize == 0) return {};
    const uint64_t anonymous = anonPages + shmem;
    const uint64_t compressor = zswap + zramBytes;
    const uint64_t fileBacked = activeFile + inactiveFile + sReclaimable;
    // What MemTotal leaves once the free and the itemised categories are
    // taken; the kernel's lines are read at slightly different instants, so
    // the accounted part can exceed the total by a little.
    const unsigned __int128 accounted = (unsigned __int128)memFree + anonymous + compressor + fileBacked;
    const uint64_t remainder = accounted < memTotal ? uint64_t(memTotal - accounted) : 0;
    const uint64_t wired = std::max(itemisedWired(), remainder);
    return VMPageCounts{
        .internalPages = anonymous / pageSize,
        .wiredPages = wired / pageSize,
        .compressorPages = compressor / pageSize,
        .externalPages = fileBacked / pageSize,
        .purgeablePages = 0,
    };
}

std::optional<ZramMmStat> ZramMmStat::decode(std::string_view text) {
    // orig_data_size compr_data_size mem_used_total mem_limit …
    std::array<std::string_view, 3> fields;
    if (TextDecoding::splitFields(TextDecoding::trim(text), fields) < fields.size()) return std::nullopt;
    auto used = TextDecoding::parseNumber<uint64_t>(fields[2]);
    if (!used) return std::nullopt;
    return ZramMmStat{*used};
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
