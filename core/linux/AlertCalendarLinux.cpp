#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include "core/AlertCalendar.h"
#include "core/FileReading.h"
#include "core/TimeZoneRules.h"

namespace orv {

namespace {

// Where compiled zone files are, as the C library looks for them.
std::string zoneDirectory() {
    const char* directory = std::getenv("TZDIR");
    return directory && *directory ? directory : "/usr/share/zoneinfo";
}

// The zone a file below the zone directory names ("…/zoneinfo/Europe/Berlin"
// -> "Europe/Berlin"); empty when the path is not below one.
std::string zoneOfPath(const std::string& path) {
    auto at = path.rfind("zoneinfo/");
    if (at == std::string::npos) return {};
    std::string zone = path.substr(at + 9);
    // posix/ and right/ hold the same zones.
    for (const char* prefix : {"posix/", "right/"}) {
        if (zone.rfind(prefix, 0) == 0) zone.erase(0, std::string_view(prefix).size());
    }
    return zone;
}

// A zone's rules: from its compiled file when the identifier names one,
// else read as a POSIX TZ rule (TZ="CET-1CEST,M3.5.0,M10.5.0/3"), else GMT.
// Identifiers are kept below the zone directory.
TimeZoneRules loadRules(const std::string& identifier) {
    bool safe = !identifier.empty() && identifier.front() != '/' && identifier.find("..") == std::string::npos;
    if (safe) {
        if (auto bytes = FileReading::readSmallFile(zoneDirectory() + "/" + identifier, 1 << 20)) {
            auto data = std::span(reinterpret_cast<const uint8_t*>(bytes->data()), bytes->size());
            if (auto rules = TimeZoneRules::decode(data)) return *rules;
        }
    }
    if (auto rules = TimeZoneRules::fromPosix(identifier)) return *rules;
    return TimeZoneRules::utc();
}

// Each zone's rules, read once per process; a view asks every second.
const TimeZoneRules& rulesOf(const std::string& identifier) {
    static std::mutex mutex;
    static std::map<std::string, std::unique_ptr<TimeZoneRules>, std::less<>> cache;
    std::lock_guard lock(mutex);
    auto& slot = cache[identifier];
    if (!slot) slot = std::make_unique<TimeZoneRules>(loadRules(identifier));
    return *slot;
}

}  // namespace

AlertCalendar AlertCalendar::current() {
    // As localtime(3) chooses: TZ (":Europe/Berlin", a path to a zone
    // file, or a POSIX rule), else the zone /etc/localtime links to, else
    // the one /etc/timezone names; UTC when none says.
    if (const char* tz = std::getenv("TZ"); tz && *tz) {
        std::string zone = *tz == ':' ? tz + 1 : tz;
        if (!zone.empty() && zone.front() == '/') zone = zoneOfPath(zone);
        if (!zone.empty()) return AlertCalendar{zone};
    }
    char target[4096];
    ssize_t length = readlink("/etc/localtime", target, sizeof target - 1);
    if (length > 0) {
        std::string zone = zoneOfPath(std::string(target, size_t(length)));
        if (!zone.empty()) return AlertCalendar{zone};
    }
    if (auto named = FileReading::readSmallFile("/etc/timezone", 4096)) {
        std::string zone = *named;
        while (!zone.empty() && (zone.back() == '\n' || zone.back() == ' ')) zone.pop_back();
        if (!zone.empty()) return AlertCalendar{zone};
    }
    return AlertCalendar{"UTC"};
}

std::optional<AlertCalendar::HourMinute> AlertCalendar::hourAndMinute(Date date) const {
    double seconds = std::floor(date.unixSeconds());
    if (!std::isfinite(seconds) || std::fabs(seconds) > 1e15) return std::nullopt;
    auto unix = int64_t(seconds);
    int64_t local = unix + rulesOf(timeZoneID).offsetAt(unix);
    int64_t ofDay = ((local % 86400) + 86400) % 86400;
    return HourMinute{int(ofDay / 3600), int(ofDay % 3600 / 60)};
}

}  // namespace orv
