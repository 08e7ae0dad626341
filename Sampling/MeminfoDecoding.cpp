#include "Sampling/MeminfoDecoding.h"

#include <charconv>
#include <cstdlib>
#include <string>

namespace orv {

namespace {

// A meminfo value: a number, then " kB" for sizes (the HugePages_ lines
// are counts without a unit and are not read here).
std::optional<uint64_t> kilobytes(std::string_view value) {
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    uint64_t number = 0;
    auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc()) return std::nullopt;
    if (number > UINT64_MAX / 1024) return std::nullopt;
    return number * 1024;
}

std::optional<double> parseDouble(std::string_view text) {
    // strtod needs a terminated string; the value is a few characters.
    std::string copy(text);
    char* end = nullptr;
    double value = std::strtod(copy.c_str(), &end);
    if (end == copy.c_str() || *end != '\0') return std::nullopt;
    return value;
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
    while (!text.empty()) {
        auto newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        auto key = line.substr(0, colon);
        auto value = line.substr(colon + 1);
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
    while (!text.empty()) {
        auto newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);
        auto space = line.find(' ');
        if (space == std::string_view::npos) continue;
        auto kind = line.substr(0, space);
        auto rest = line.substr(space + 1);
        constexpr std::string_view avg10 = "avg10=";
        if (rest.substr(0, avg10.size()) != avg10) continue;
        rest.remove_prefix(avg10.size());
        auto value = parseDouble(rest.substr(0, rest.find(' ')));
        if (!value) return std::nullopt;
        if (kind == "some") some = value;
        else if (kind == "full") full = value;
    }
    if (!some || !full) return std::nullopt;
    return MemoryStall{*some, *full};
}

}  // namespace orv
