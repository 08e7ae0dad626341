#include <gtest/gtest.h>

#include <map>

#include "PrivateAPIs/BlueZDevices.h"
#include "PrivateAPIs/BluetoothFramework.h"

namespace orv {
namespace {

using Reading = BluetoothBatteries::Reading;

struct FakeDevice : PairedDevice {
    bool connected = true;
    std::map<std::string, std::optional<int64_t>, std::less<>> levels;  // keys it answers to
    std::optional<std::string> address = "aa-bb-cc-dd-ee-ff";
    std::optional<std::string> name = "Keyboard";
    int* touches = nullptr;

    bool isConnected() const override { return touch(), connected; }
    bool respondsTo(std::string_view key) const override { return touch(), levels.contains(key); }
    std::optional<int64_t> integerValue(std::string_view key) const override {
        touch();
        auto it = levels.find(key);
        return it == levels.end() ? std::nullopt : it->second;
    }
    std::optional<std::string> addressString() const override { return address; }
    std::optional<std::string> nameOrAddress() const override { return name; }
    std::optional<uint32_t> classOfDevice() const override { return 0x002540; }
    void touch() const {
        if (touches != nullptr) ++*touches;
    }
};

struct FakeFramework : BluetoothFramework {
    bool usage = true;
    int64_t auth = allowedAlways;
    std::vector<FakeDevice> devices;
    int listed = 0;
    int touches = 0;
    bool declaresBluetoothUsage() override { return usage; }
    int64_t authorization() override { return auth; }
    std::optional<std::vector<std::unique_ptr<PairedDevice>>> pairedDevices() override {
        ++listed;
        std::vector<std::unique_ptr<PairedDevice>> out;
        for (auto d : devices) {
            d.touches = &touches;
            out.push_back(std::make_unique<FakeDevice>(d));
        }
        return out;
    }
};

FakeDevice keyboard(int64_t level) {
    FakeDevice d;
    d.levels = {{"batteryPercentSingle", level}};
    return d;
}

TEST(BluetoothBatteries, WithoutTheUsageDescriptionNothingIsTouched) {
    FakeFramework f;
    f.usage = false;
    f.devices = {keyboard(50)};
    EXPECT_TRUE(BluetoothBatteries::readings(f).empty());
    EXPECT_EQ(f.listed, 0);
    EXPECT_EQ(f.touches, 0);
}

TEST(BluetoothBatteries, WithoutAllowedAlwaysNothingIsTouched) {
    for (int64_t auth : {0, 1, 2}) {
        FakeFramework f;
        f.auth = auth;
        f.devices = {keyboard(50)};
        EXPECT_TRUE(BluetoothBatteries::readings(f).empty());
        EXPECT_EQ(f.listed, 0);
        EXPECT_EQ(f.touches, 0);
    }
}

TEST(BluetoothBatteries, ADisconnectedDeviceWithAStoredLevelYieldsNothing) {
    FakeFramework f;
    f.devices = {keyboard(50)};
    f.devices[0].connected = false;
    EXPECT_TRUE(BluetoothBatteries::readings(f).empty());
}

TEST(BluetoothBatteries, AHeadsetWithLeft80Right0Case101HasOnlyLeft) {
    FakeFramework f;
    FakeDevice headset;
    headset.name = "Buds";
    headset.levels = {{"batteryPercentLeft", 80}, {"batteryPercentRight", 0}, {"batteryPercentCase", 101}};
    f.devices = {headset};
    auto readings = BluetoothBatteries::readings(f);
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].left, 80);
    EXPECT_FALSE(readings[0].right);
    EXPECT_FALSE(readings[0].caseLevel);
    EXPECT_FALSE(readings[0].single);
}

TEST(BluetoothBatteries, ADeviceWithoutANameReadsBluetoothDevice) {
    auto r = BluetoothBatteries::reading("11-22-33-44-55-66", std::nullopt, {40, {}, {}, {}});
    ASSERT_TRUE(r);
    EXPECT_EQ(r->name, "Bluetooth device");
    EXPECT_EQ(r->address, "11-22-33-44-55-66");
}

TEST(BluetoothBatteries, AddressFallsBackToTheNameThenToAQuestionMark) {
    EXPECT_EQ(BluetoothBatteries::reading(std::nullopt, "Mouse", {40, {}, {}, {}})->address, "Mouse");
    EXPECT_EQ(BluetoothBatteries::reading(std::nullopt, std::nullopt, {40, {}, {}, {}})->address, "?");
}

TEST(BluetoothBatteries, NoLevelInRangeIsNoReading) {
    EXPECT_FALSE(BluetoothBatteries::reading("a", "b", {0, -3, 101, {}}));
    EXPECT_TRUE(BluetoothBatteries::reading("a", "b", {1, {}, {}, {}}));
    EXPECT_TRUE(BluetoothBatteries::reading("a", "b", {100, {}, {}, {}}));
}

TEST(BluetoothBatteries, KeysTheDeviceDoesNotAnswerAreNotRead) {
    FakeFramework f;
    FakeDevice d;
    d.levels = {{"batteryPercentSingle", std::nullopt}};
    f.devices = {d, keyboard(64)};
    auto readings = BluetoothBatteries::readings(f);
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].single, 64);
    EXPECT_EQ(readings[0].classOfDevice, 0x002540u);
}

BlueZDevice mouse() {
    BlueZDevice d;
    d.objectPath = "/org/bluez/hci0/dev_AA_BB_CC_DD_EE_01";
    d.address = "AA:BB:CC:DD:EE:01";
    d.alias = "MX Master 3";
    d.icon = "input-mouse";
    d.connected = true;
    d.percentage = 70;
    return d;
}

TEST(BlueZDevices, ConnectedDevicesWithABatteryAreRead) {
    std::vector<BlueZDevice> devices{mouse()};
    auto readings = BlueZDevices::readings(devices, {});
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0], (Reading{"AA:BB:CC:DD:EE:01", "MX Master 3", 70, {}, {}, {}, {}, "input-mouse"}));
}

TEST(BlueZDevices, DisconnectedOrBatterylessDevicesAreNot) {
    auto off = mouse();
    off.connected = false;
    auto none = mouse();
    none.percentage.reset();
    auto empty = mouse();
    empty.percentage = 0;
    std::vector<BlueZDevice> devices{off, none, empty};
    EXPECT_TRUE(BlueZDevices::readings(devices, {}).empty());
}

TEST(BlueZDevices, KernelHIDBatteriesFillInAddressesBlueZDidNotReport) {
    std::vector<BlueZDevice> devices{mouse()};
    std::vector<PowerSupplyEntry> supplies{
        {"BAT0", {{"type", "Battery"}, {"scope", "System"}, {"capacity", "90"}}},
        {"hid-aa:bb:cc:dd:ee:01-battery", {{"type", "Battery"}, {"scope", "Device"}, {"capacity", "71"}}},
        {"hid-aa:bb:cc:dd:ee:02-battery",
         {{"type", "Battery"}, {"scope", "Device"}, {"capacity", "33"}, {"model_name", "Magic Keyboard"}}},
        {"hid-0003:046D:C52B.0003-battery", {{"type", "Battery"}, {"scope", "Device"}, {"capacity", "50"}}},
    };
    auto readings = BlueZDevices::readings(devices, supplies);
    ASSERT_EQ(readings.size(), 3u);
    EXPECT_EQ(readings[0].single, 70);  // BlueZ's, not the kernel's 71
    EXPECT_EQ(readings[1], (Reading{"AA:BB:CC:DD:EE:02", "Magic Keyboard", 33, {}, {}, {}, {}, {}}));
    // A USB receiver's device has no address: it is known by its entry's name.
    EXPECT_EQ(readings[2], (Reading{"hid-0003:046D:C52B.0003-battery", "hid-0003:046D:C52B.0003-battery", 50, {}, {},
                                    {}, {}, {}}));
}

TEST(BlueZDevices, ReceiverBatteriesWithoutAnAddressAreListedAsUpowerListsThem) {
    std::vector<PowerSupplyEntry> supplies{
        {"hidpp_battery_0",
         {{"type", "Battery"}, {"scope", "Device"}, {"model_name", "MX Master 3"},
          {"serial_number", "4082-3f-a1-b2-c3"}, {"capacity_level", "High"}, {"status", "Discharging"}}},
        {"hidpp_battery_1",
         {{"type", "Battery"}, {"scope", "Device"}, {"model_name", "Wireless Keyboard K270"}, {"capacity", "55"}}},
        {"hidpp_battery_2", {{"type", "Battery"}, {"scope", "Device"}, {"capacity_level", "Unknown"}}},
        {"hidpp_battery_3", {{"type", "Battery"}, {"scope", "Device"}, {"capacity_level", "Critical"}}},
    };
    auto readings = BlueZDevices::readings({}, supplies);
    ASSERT_EQ(readings.size(), 3u);
    // upower's levels for a battery that reports only a level: High 70, Critical 5.
    EXPECT_EQ(readings[0], (Reading{"4082-3f-a1-b2-c3", "MX Master 3", 70, {}, {}, {}, {}, {}}));
    EXPECT_EQ(readings[1], (Reading{"hidpp_battery_1", "Wireless Keyboard K270", 55, {}, {}, {}, {}, {}}));
    EXPECT_EQ(readings[2], (Reading{"hidpp_battery_3", "hidpp_battery_3", 5, {}, {}, {}, {}, {}}));
}

TEST(BlueZDevices, LevelsOfAReportedLevelFollowUpower) {
    EXPECT_EQ(BlueZDevices::percentOfLevel("Full"), 100);
    EXPECT_EQ(BlueZDevices::percentOfLevel("High"), 70);
    EXPECT_EQ(BlueZDevices::percentOfLevel("Normal"), 55);
    EXPECT_EQ(BlueZDevices::percentOfLevel("Low"), 10);
    EXPECT_EQ(BlueZDevices::percentOfLevel("Critical"), 5);
    EXPECT_EQ(BlueZDevices::percentOfLevel("Unknown"), std::nullopt);
    EXPECT_EQ(BlueZDevices::percentOfLevel(""), std::nullopt);
}

TEST(BlueZDevices, AddressInAPowerSupplyName) {
    EXPECT_EQ(BlueZDevices::addressInName("hid-aa:bb:cc:dd:ee:0f-battery"), "AA:BB:CC:DD:EE:0F");
    EXPECT_EQ(BlueZDevices::addressInName("hid-0003:046D:C52B.0003-battery"), std::nullopt);
    EXPECT_EQ(BlueZDevices::addressInName("hid-aa:bb"), std::nullopt);
}

}  // namespace
}  // namespace orv
