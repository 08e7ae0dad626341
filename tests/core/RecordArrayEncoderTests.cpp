#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "core/ProcessReading.h"
#include "support/FakeProcessSource.h"
#include "core/RecordArrayEncoder.h"

namespace orv {
namespace {

ProcessReading reading(int32_t pid, std::string name) { return test::readingWithUsage(pid, std::move(name)); }

TEST(RecordArrayEncoder, WritesWhatTheEncoderWritesAndReusesOnlyUnchangedRecords) {
    json::RecordArrayEncoder<ProcessReading> encoder;
    std::vector<ProcessReading> table{reading(1, "init"), reading(42, "sleeper"), reading(77, "busy")};
    EXPECT_EQ(encoder.encode(table), json::encode(table));
    EXPECT_EQ(encoder.cachedCount(), 3u);

    // A record that changed is written anew, under the same id.
    table[2].cpuTime = Duration::milliseconds(99'000);
    table[2].name = "busy \"quoted\"";
    EXPECT_EQ(encoder.encode(table), json::encode(table));
    // A process that exited is forgotten; a new one with a reused pid is a new record.
    table.erase(table.begin());
    table[0] = reading(42, "another program");
    EXPECT_EQ(encoder.encode(table), json::encode(table));
    EXPECT_EQ(encoder.cachedCount(), 2u);
    EXPECT_EQ(encoder.encode({}), "[]");
    EXPECT_EQ(encoder.cachedCount(), 0u);
}

TEST(RecordArrayEncoder, ManyPassesOfAChangingTableMatchTheEncoder) {
    std::mt19937 random(20261124);
    json::RecordArrayEncoder<ProcessReading> encoder;
    std::vector<ProcessReading> table;
    for (int32_t pid = 1; pid <= 300; ++pid) table.push_back(reading(pid, "p" + std::to_string(pid)));
    for (int pass = 0; pass < 50; ++pass) {
        for (auto& r : table) {
            switch (random() % 20) {
                case 0: r.cpuTime = r.cpuTime + Duration::milliseconds(int64_t(random() % 50)); break;
                case 1: r.footprintBytes += random() % 4096; break;
                case 2: r.name += "x"; break;
                case 3: r.executablePath = "/usr/bin/" + r.name; break;
                default: break;
            }
        }
        if (pass % 7 == 3) table.erase(table.begin() + long(random() % table.size()));
        if (pass % 5 == 1) table.push_back(reading(int32_t(1000 + pass), "new"));
        ASSERT_EQ(encoder.encode(table), json::encode(table)) << "pass " << pass;
    }
}

TEST(RecordArrayEncoder, ADoubleJsonCannotStateIsRefusedAndTheCacheKept) {
    json::RecordArrayEncoder<ProcessReading> encoder;
    std::vector<ProcessReading> table{reading(1, "a"), reading(2, "b")};
    (void)encoder.encode(table);
    auto bad = table;
    bad[1].startTime = Date{std::numeric_limits<double>::infinity()};
    EXPECT_THROW(encoder.encode(bad), std::invalid_argument);
    EXPECT_EQ(encoder.cachedCount(), 2u);
    EXPECT_EQ(encoder.encode(table), json::encode(table));
}

}  // namespace
}  // namespace orv
