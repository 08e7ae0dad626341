#include <gtest/gtest.h>

#include "Sampling/SensorStatsMath.h"

namespace orv {
namespace {

using Kind = PeripheralBattery::Kind;

BluetoothBatteries::Reading headset() {
    BluetoothBatteries::Reading r;
    r.address = "AA:BB:CC:DD:EE:01";
    r.name = "Studio Buds";
    r.left = 80;
    r.right = 75;
    r.caseLevel = 40;
    return r;
}

TEST(SensorStatsMath, EachCellOfAHeadsetIsOnePeripheralWithASuffixedId) {
    auto cells = SensorStatsMath::peripherals(headset());
    ASSERT_EQ(cells.size(), 3u);
    EXPECT_EQ(cells[0], (PeripheralBattery{"AA:BB:CC:DD:EE:01-left", "Studio Buds (left)", Kind::airPods, 80}));
    EXPECT_EQ(cells[1].id, "AA:BB:CC:DD:EE:01-right");
    EXPECT_EQ(cells[2].id, "AA:BB:CC:DD:EE:01-case");
    EXPECT_EQ(cells[2].percent, 40);
}

TEST(SensorStatsMath, ASingleCellDeviceIsItsAddress) {
    BluetoothBatteries::Reading r{"AA:BB:CC:DD:EE:02", "MX Master", 55, {}, {}, {}, {}, "input-mouse"};
    auto cells = SensorStatsMath::peripherals(r);
    ASSERT_EQ(cells.size(), 1u);
    EXPECT_EQ(cells[0], (PeripheralBattery{"AA:BB:CC:DD:EE:02", "MX Master", Kind::mouse, 55}));
}

TEST(SensorStatsMath, KindFromIcon) {
    BluetoothBatteries::Reading r{"A", "Thing", 10, {}, {}, {}, {}, "input-keyboard"};
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::keyboard);
    r.icon = "input-tablet";
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::trackpad);
    r.icon = "audio-headset";
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::other);
}

TEST(SensorStatsMath, KindFromClassOfDevice) {
    BluetoothBatteries::Reading r{"A", "Thing", 10, {}, {}, {}, 0x002580, {}};  // peripheral, pointing
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::mouse);
    r.classOfDevice = 0x002540;  // peripheral, keyboard
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::keyboard);
    r.classOfDevice = 0x002594;  // peripheral, pointing, digitizer tablet
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::trackpad);
    r.classOfDevice = 0x240404;  // audio/video headset
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::other);
}

TEST(SensorStatsMath, KindFromNameAsALastResort) {
    BluetoothBatteries::Reading r{"A", "Magic Trackpad", 10, {}, {}, {}, {}, {}};
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::trackpad);
    r.name = "AirPods Max";
    EXPECT_EQ(SensorStatsMath::kind(r), Kind::airPods);
}

TEST(SensorStatsMath, TemperaturesUseTheSensorNameAsIdAndName) {
    HIDTemperatures::Readings map{{"coretemp Core 0", 45.5}, {"nvme Composite", 38.0}};
    auto t = SensorStatsMath::temperatures(map);
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0], (TemperatureReading{"coretemp Core 0", "coretemp Core 0", 45.5}));
}

TEST(SensorStatsMath, NothingAtAllIsNoRecord) {
    EXPECT_FALSE(SensorStatsMath::stats(std::nullopt, {}, {}));
    EXPECT_FALSE(SensorStatsMath::stats(HIDTemperatures::Readings{}, {}, {}));
}

TEST(SensorStatsMath, AnyOneListMakesARecord) {
    auto fansOnly = SensorStatsMath::stats(std::nullopt, {{0, 900, {}, {}}}, {});
    ASSERT_TRUE(fansOnly);
    EXPECT_EQ(fansOnly->fans.size(), 1u);
    std::vector<BluetoothBatteries::Reading> bt{headset()};
    auto peripheralsOnly = SensorStatsMath::stats(std::nullopt, {}, bt);
    ASSERT_TRUE(peripheralsOnly);
    EXPECT_EQ(peripheralsOnly->peripherals.size(), 3u);
}

}  // namespace
}  // namespace orv
