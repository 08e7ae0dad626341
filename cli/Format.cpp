#include "cli/Format.h"

#include <pwd.h>
#include <unistd.h>

#include <cmath>
#include <fmt/format.h>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace orv::cli {

std::string formatBytes(uint64_t bytes) {
    static const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
    double value = double(bytes);
    int unit = 0;
    while (value >= 1024 && unit < 5) {
        value /= 1024;
        ++unit;
    }
    return unit == 0 ? fmt::format("{} B", bytes) : fmt::format("{:.1f} {}", value, units[unit]);
}

std::string formatRate(double bytesPerSecond) {
    if (!std::isfinite(bytesPerSecond) || bytesPerSecond < 0) bytesPerSecond = 0;
    return formatBytes(uint64_t(std::llround(bytesPerSecond))) + "/s";
}

std::string formatCPUTime(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0) seconds = 0;
    auto whole = uint64_t(seconds);
    double fraction = seconds - double(whole);
    uint64_t h = whole / 3600, m = whole / 60 % 60;
    double s = double(whole % 60) + fraction;
    if (h > 0) return fmt::format("{}:{:02}:{:05.2f}", h, m, s);
    if (m > 0) return fmt::format("{}:{:05.2f}", m, s);
    return fmt::format("{:.2f}", s);
}

std::string formatPercent(double percent) { return fmt::format("{:.1f}", percent); }

std::string userName(uint32_t uid) {
    static std::mutex mutex;
    static std::unordered_map<uint32_t, std::string> names;
    std::lock_guard lock(mutex);
    if (auto it = names.find(uid); it != names.end()) return it->second;
    passwd entry{};
    passwd* result = nullptr;
    std::vector<char> buffer(16384);
    std::string name = getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &result) == 0 && result
                           ? std::string(result->pw_name)
                           : std::to_string(uid);
    names.emplace(uid, name);
    return name;
}

std::string fitWidth(const std::string& text, size_t width) {
    size_t columns = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;  // continuation byte
        if (++columns > width) return text.substr(0, i);
    }
    return text;
}

}  // namespace orv::cli
