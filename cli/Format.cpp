#include "cli/Format.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <fmt/format.h>
#include <iterator>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "core/Formatters.h"

namespace orv::cli {

std::string formatBytes(uint64_t bytes, const NumberLocale& locale) {
    return Formatters::bytes(double(bytes), locale);
}

std::string formatRate(double bytesPerSecond, const NumberLocale& locale) {
    return Formatters::bytes(bytesPerSecond, locale) + "/s";
}

std::string formatRate(const std::optional<double>& bytesPerSecond, const NumberLocale& locale) {
    return bytesPerSecond ? formatRate(*bytesPerSecond, locale) : std::string("-");
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

std::string formatPercent(double percent, const NumberLocale& locale) {
    return Formatters::number(percent, 1, locale);
}

std::string formatPercentSign(double percent, const NumberLocale& locale) {
    return Formatters::number(percent, 1, locale) + " %";
}

std::string formatFigure(const std::optional<double>& value, const NumberLocale& locale) {
    return value ? Formatters::number(*value, 1, locale) : std::string("-");
}

std::string formatUptime(Duration uptime) {
    int64_t seconds = std::max<int64_t>(uptime.wholeSeconds(), 0);
    int64_t days = seconds / 86400;
    if (days == 0) return formatHoursMinutes(uptime);
    return fmt::format("{} d {}", days, formatHoursMinutes(Duration::seconds(seconds % 86400)));
}

std::string formatHoursMinutes(Duration duration) {
    int64_t minutes = std::max<int64_t>(duration.wholeSeconds(), 0) / 60;
    return fmt::format("{}:{:02}", minutes / 60, minutes % 60);
}

namespace {

// `at` in strftime's `pattern`, broken down by `breakDown` (localtime_r or
// gmtime_r).
template <size_t Size>
std::string formatInstant(Date at, const char* pattern, std::tm* (*breakDown)(const std::time_t*, std::tm*)) {
    const std::time_t seconds = std::time_t(at.unixSeconds());
    std::tm parts{};
    breakDown(&seconds, &parts);
    char text[Size];
    std::strftime(text, sizeof text, pattern, &parts);
    return text;
}

}  // namespace

std::string formatLocalClock(Date at) { return formatInstant<16>(at, "%H:%M:%S", localtime_r); }

std::string formatUTCDateTime(Date at) { return formatInstant<32>(at, "%Y-%m-%d %H:%M:%S UTC", gmtime_r); }

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
