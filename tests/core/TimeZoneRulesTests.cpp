// Wall-clock offsets from compiled zone files and POSIX TZ rules.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "core/FileReading.h"
#include "core/TimeZoneRules.h"

namespace orv {
namespace {

std::span<const uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

void putBig(std::string& out, uint64_t value, int width) {
    for (int i = width - 1; i >= 0; --i) out.push_back(char((value >> (8 * i)) & 0xFF));
}

struct ZoneType {
    int32_t offset;
    bool daylight;
};

// A TZif image: a version-1 block whose times are `width` bytes wide
// (version 2 writes a 4-byte block with no transitions, then the 8-byte
// one and the footer).
std::string tzif(char version, const std::vector<int64_t>& times, const std::vector<uint8_t>& typeIndices,
                 const std::vector<ZoneType>& types, const std::string& footer) {
    auto block = [&](std::string& out, int width, bool withData) {
        out += "TZif";
        out.push_back(version);
        out.append(15, '\0');
        size_t count = withData ? times.size() : 0;
        for (uint32_t value : {0u, 0u, 0u, uint32_t(count), uint32_t(types.size()), 4u}) putBig(out, value, 4);
        for (size_t i = 0; i < count; ++i) putBig(out, uint64_t(times[i]), width);
        for (size_t i = 0; i < count; ++i) out.push_back(char(typeIndices[i]));
        for (const auto& type : types) {
            putBig(out, uint32_t(type.offset), 4);
            out.push_back(char(type.daylight));
            out.push_back('\0');
        }
        out.append("ZZZ\0", 4);
    };
    std::string out;
    if (version == '\0') {
        block(out, 4, true);
        return out;
    }
    block(out, 4, false);
    block(out, 8, true);
    out += "\n" + footer + "\n";
    return out;
}

TEST(TimeZoneRules, AVersionOneFileUsesItsTransitions) {
    auto bytes = tzif('\0', {1000, 2000}, {1, 0}, {{3600, false}, {7200, true}}, "");
    auto rules = TimeZoneRules::decode(bytesOf(bytes));
    ASSERT_TRUE(rules);
    EXPECT_EQ(rules->offsetAt(999), 3600);  // type 0 before the first transition
    EXPECT_EQ(rules->offsetAt(1000), 7200);
    EXPECT_EQ(rules->offsetAt(1999), 7200);
    EXPECT_EQ(rules->offsetAt(2000), 3600);
    EXPECT_EQ(rules->offsetAt(4'000'000'000), 3600);  // the last type holds without a footer
}

TEST(TimeZoneRules, AVersionTwoFileHandsOverToItsFooter) {
    // One old transition, then Berlin's rule from its footer.
    auto bytes = tzif('2', {-2'000'000'000, 1'000'000'000}, {1, 0}, {{3600, false}, {7200, true}},
                      "CET-1CEST,M3.5.0,M10.5.0/3");
    auto rules = TimeZoneRules::decode(bytesOf(bytes));
    ASSERT_TRUE(rules);
    EXPECT_EQ(rules->offsetAt(-2'000'000'001), 3600);
    EXPECT_EQ(rules->offsetAt(-1'000'000'000), 7200);
    // 2100-07-01 and 2100-01-01, under the footer's rule.
    EXPECT_EQ(rules->offsetAt(4'118'054'400), 7200);
    EXPECT_EQ(rules->offsetAt(4'102'444'800), 3600);
}

TEST(TimeZoneRules, BrokenFilesAreRefused) {
    auto good = tzif('2', {1000}, {0}, {{0, false}}, "UTC0");
    EXPECT_TRUE(TimeZoneRules::decode(bytesOf(good)));
    for (size_t length : {size_t(0), size_t(10), size_t(44), good.size() / 2, good.size() - 1}) {
        EXPECT_FALSE(TimeZoneRules::decode(bytesOf(good.substr(0, length)))) << length;
    }
    std::string magic = good;
    magic[0] = 'X';
    EXPECT_FALSE(TimeZoneRules::decode(bytesOf(magic)));
    EXPECT_FALSE(TimeZoneRules::decode(bytesOf(tzif('2', {1000}, {3}, {{0, false}}, "UTC0"))));  // no type 3
    EXPECT_FALSE(TimeZoneRules::decode(bytesOf(tzif('2', {2000, 1000}, {0, 0}, {{0, false}}, "UTC0"))));
    EXPECT_FALSE(TimeZoneRules::decode(bytesOf(tzif('2', {1000}, {0}, {}, "UTC0"))));  // no types at all
    EXPECT_FALSE(TimeZoneRules::decode(bytesOf(tzif('2', {1000}, {0}, {{0, false}}, "CET-1CEST,M13.1.0,M1.1.0"))));
}

TEST(TimeZoneRules, PosixRulesNorthAndSouth) {
    auto berlin = TimeZoneRules::fromPosix("CET-1CEST,M3.5.0,M10.5.0/3");
    ASSERT_TRUE(berlin);
    // 2023-03-26 02:00 CET is 01:00 UTC; 2023-10-29 03:00 CEST is 01:00 UTC.
    EXPECT_EQ(berlin->offsetAt(1'679'792'400 - 1), 3600);
    EXPECT_EQ(berlin->offsetAt(1'679'792'400), 7200);
    EXPECT_EQ(berlin->offsetAt(1'698'541'200 - 1), 7200);
    EXPECT_EQ(berlin->offsetAt(1'698'541'200), 3600);

    auto auckland = TimeZoneRules::fromPosix("NZST-12NZDT,M9.5.0,M4.1.0/3");
    ASSERT_TRUE(auckland);
    EXPECT_EQ(auckland->offsetAt(1'673'000'000), 13 * 3600);  // January
    EXPECT_EQ(auckland->offsetAt(1'688'000'000), 12 * 3600);  // June
}

TEST(TimeZoneRules, PosixFixedOffsetsAndQuotedNames) {
    EXPECT_EQ(TimeZoneRules::fromPosix("<+0530>-5:30")->offsetAt(0), 19800);
    EXPECT_EQ(TimeZoneRules::fromPosix("EST5")->offsetAt(1'700'000'000), -5 * 3600);
    EXPECT_EQ(TimeZoneRules::fromPosix("<-03>3")->offsetAt(0), -3 * 3600);
    EXPECT_EQ(TimeZoneRules::utc().offsetAt(1'700'000'000), 0);
}

TEST(TimeZoneRules, JulianDaysSkipOrCountTheLeapDay) {
    // J60 is 1 March in every year; day 59 counted from 0 is 29 February in
    // a leap year. 2024-03-01T00:00Z is 1709251200.
    auto skipping = TimeZoneRules::fromPosix("STD0DST,J60/0,J300/0");
    ASSERT_TRUE(skipping);
    EXPECT_EQ(skipping->offsetAt(1'709'251'200 - 1), 0);
    EXPECT_EQ(skipping->offsetAt(1'709'251'200), 3600);
    auto counting = TimeZoneRules::fromPosix("STD0DST,59/0,300/0");
    ASSERT_TRUE(counting);
    EXPECT_EQ(counting->offsetAt(1'709'251'200 - 86400 - 1), 0);
    EXPECT_EQ(counting->offsetAt(1'709'251'200 - 86400), 3600);
}

TEST(TimeZoneRules, DaylightWithoutDatesFollowsTheUnitedStatesRule) {
    auto eastern = TimeZoneRules::fromPosix("EST5EDT");
    ASSERT_TRUE(eastern);
    EXPECT_EQ(eastern->offsetAt(1'688'000'000), -4 * 3600);  // June 2023
    EXPECT_EQ(eastern->offsetAt(1'673'000'000), -5 * 3600);  // January 2023
}

TEST(TimeZoneRules, MalformedPosixRulesAreRefused) {
    for (const char* rule : {"", "AB1", "CET", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0", "CET-1CEST,M3.6.0,M10.5.0",
                             "CET-1CEST,M3.5.7,M10.5.0", "<+03", "CET-25", "CET-1CEST,J0,J10", "Nowhere/Atlantis",
                             "CET-1CEST,M3.5.0,M10.5.0/3x"}) {
        EXPECT_FALSE(TimeZoneRules::fromPosix(rule)) << rule;
    }
}

// The system's zone files read as the C library reads them, hour by hour
// around every change, over 1900–2100.
TEST(TimeZoneRulesLive, AgreesWithTheCLibraryOnTheSystemsZones) {
    const char* saved = std::getenv("TZ");
    std::string savedTZ = saved ? saved : "";
    for (const char* zone : {"Europe/Berlin", "America/New_York", "Australia/Sydney", "Asia/Kolkata",
                             "America/Santiago", "Pacific/Auckland", "Africa/Casablanca"}) {
        auto bytes = FileReading::readSmallFile(std::string("/usr/share/zoneinfo/") + zone);
        ASSERT_TRUE(bytes) << zone << ": Debian's tzdata package holds the zone files";
        auto rules = TimeZoneRules::decode(bytesOf(*bytes));
        ASSERT_TRUE(rules) << zone;
        setenv("TZ", zone, 1);
        tzset();
        int disagreements = 0;
        for (int64_t t = -2'208'988'800; t < 4'102'444'800 && disagreements < 5; t += 86400 * 3 + 3607) {
            time_t when = time_t(t);
            tm local{};
            ASSERT_TRUE(localtime_r(&when, &local));
            if (rules->offsetAt(t) != local.tm_gmtoff) {
                ++disagreements;
                ADD_FAILURE() << zone << " at " << t << ": " << rules->offsetAt(t) << " against " << local.tm_gmtoff;
            }
        }
    }
    if (saved) setenv("TZ", savedTZ.c_str(), 1);
    else unsetenv("TZ");
    tzset();
}

}  // namespace
}  // namespace orv
