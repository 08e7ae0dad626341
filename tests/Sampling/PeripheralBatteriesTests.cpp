#include <gtest/gtest.h>

#include "Sampling/PeripheralBatteries.h"

namespace orv {
namespace {

struct Fixture {
    ContinuousClock::Instant now{1'000'000'000};
    int reads = 0;
    int64_t level = 80;
    PeripheralBatteries batteries{[this] {
                                      ++reads;
                                      BluetoothBatteries::Reading r;
                                      r.address = "AA:BB:CC:DD:EE:FF";
                                      r.name = "MX Keys";
                                      r.single = level;
                                      return std::vector<BluetoothBatteries::Reading>{r};
                                  },
                                  [this] { return now; }};
};

TEST(PeripheralBatteries, TheFirstAskReads) {
    Fixture f;
    auto readings = f.batteries.current();
    EXPECT_EQ(f.reads, 1);
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].single, 80);
}

TEST(PeripheralBatteries, WithinAMinuteTheLastReadingsAnswer) {
    Fixture f;
    f.batteries.current();
    f.level = 79;
    f.now = f.now + Duration::seconds(59);
    EXPECT_EQ(f.batteries.current()[0].single, 80);
    EXPECT_EQ(f.reads, 1);
}

TEST(PeripheralBatteries, AfterAMinuteNewLevelsAreRead) {
    Fixture f;
    f.batteries.current();
    f.level = 79;
    f.now = f.now + Duration::seconds(60);
    EXPECT_EQ(f.batteries.current()[0].single, 79);
    EXPECT_EQ(f.reads, 2);
    f.now = f.now + Duration::seconds(30);
    f.batteries.current();
    EXPECT_EQ(f.reads, 2);
}

}  // namespace
}  // namespace orv
