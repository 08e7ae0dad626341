#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <future>
#include <thread>

#include "PrivateAPIs/linux/BlueZClient.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::PrivateBus;
using test::TempDir;

struct FakeDevice {
    const char* path;
    const char* address;
    const char* alias;
    const char* icon;
    uint32_t deviceClass;
    int connected;
    uint8_t percentage;
    bool hasBattery;
};

const sd_bus_vtable deviceVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Address", "s", nullptr, offsetof(FakeDevice, address), SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Alias", "s", nullptr, offsetof(FakeDevice, alias), SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Icon", "s", nullptr, offsetof(FakeDevice, icon), SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Class", "u", nullptr, offsetof(FakeDevice, deviceClass), SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Connected", "b", nullptr, offsetof(FakeDevice, connected), SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

const sd_bus_vtable batteryVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Percentage", "y", nullptr, offsetof(FakeDevice, percentage), SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

// BlueZ's object tree, served by sd-bus from a thread of its own until the
// end of the scope.
class FakeBlueZ {
public:
    FakeBlueZ(const std::string& address, std::vector<FakeDevice> devices) : devices_(std::move(devices)) {
        std::promise<bool> ready;
        auto started = ready.get_future();
        thread_ = std::thread([this, address, ready = std::move(ready)]() mutable { serve(address, ready); });
        ok_ = started.get();
    }
    ~FakeBlueZ() {
        stop_ = true;
        thread_.join();
    }
    bool ok() const { return ok_; }

private:
    void serve(const std::string& address, std::promise<bool>& ready) {
        sd_bus* bus = nullptr;
        bool ok = sd_bus_new(&bus) >= 0 && sd_bus_set_address(bus, address.c_str()) >= 0 &&
                  sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0 &&
                  sd_bus_add_object_manager(bus, nullptr, "/") >= 0;
        for (auto& device : devices_) {
            if (!ok) break;
            ok = sd_bus_add_object_vtable(bus, nullptr, device.path, "org.bluez.Device1", deviceVTable, &device) >= 0;
            if (ok && device.hasBattery) {
                ok = sd_bus_add_object_vtable(bus, nullptr, device.path, "org.bluez.Battery1", batteryVTable,
                                              &device) >= 0;
            }
        }
        ok = ok && sd_bus_request_name(bus, "org.bluez", 0) >= 0;
        ready.set_value(ok);
        while (ok && !stop_) {
            int r = sd_bus_process(bus, nullptr);
            if (r < 0) break;
            if (r == 0) sd_bus_wait(bus, 50'000);
        }
        if (bus != nullptr) sd_bus_flush_close_unref(bus);
    }

    std::vector<FakeDevice> devices_;
    std::atomic<bool> stop_{false};
    bool ok_ = false;
    std::thread thread_;
};

const FakeDevice mouse{"/org/bluez/hci0/dev_AA_BB_CC_DD_EE_01", "AA:BB:CC:DD:EE:01", "MX Master 3", "input-mouse",
                       0x002580, 1, 70, true};
const FakeDevice sleepingKeyboard{"/org/bluez/hci0/dev_AA_BB_CC_DD_EE_02", "AA:BB:CC:DD:EE:02", "K380",
                                  "input-keyboard", 0x002540, 0, 90, true};
const FakeDevice speaker{"/org/bluez/hci0/dev_AA_BB_CC_DD_EE_03", "AA:BB:CC:DD:EE:03", "Speaker", "audio-card",
                         0x240414, 1, 0, false};

TEST(BlueZClient, ConnectedDevicesWithABatteryComeFromTheBus) {
    TempDir dir;
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    FakeBlueZ bluez(bus.address(), {mouse, sleepingKeyboard, speaker});
    ASSERT_TRUE(bluez.ok());
    auto readings = BlueZClient::readings(BlueZOptions{bus.address(), dir.path()});
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0],
              (BluetoothBatteries::Reading{"AA:BB:CC:DD:EE:01", "MX Master 3", 70, {}, {}, {}, 0x002580u, "input-mouse"}));
}

TEST(BlueZClient, DevicesAreListedWithTheirProperties) {
    TempDir dir;
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    FakeBlueZ bluez(bus.address(), {mouse, speaker});
    ASSERT_TRUE(bluez.ok());
    auto devices = BlueZClient::devices(BlueZOptions{bus.address(), dir.path()});
    ASSERT_TRUE(devices);
    ASSERT_EQ(devices->size(), 2u);
    EXPECT_EQ((*devices)[1].alias, "Speaker");
    EXPECT_TRUE((*devices)[1].connected);
    EXPECT_FALSE((*devices)[1].percentage);
}

TEST(BlueZClient, KernelHIDBatteriesJoinTheBusReadings) {
    TempDir dir;
    dir.write("sys/class/power_supply/hid-aa:bb:cc:dd:ee:09-battery/type", "Battery\n");
    dir.write("sys/class/power_supply/hid-aa:bb:cc:dd:ee:09-battery/scope", "Device\n");
    dir.write("sys/class/power_supply/hid-aa:bb:cc:dd:ee:09-battery/capacity", "45\n");
    dir.write("sys/class/power_supply/hid-aa:bb:cc:dd:ee:09-battery/model_name", "Magic Trackpad\n");
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    FakeBlueZ bluez(bus.address(), {mouse});
    ASSERT_TRUE(bluez.ok());
    auto readings = BlueZClient::readings(BlueZOptions{bus.address(), dir.path()});
    ASSERT_EQ(readings.size(), 2u);
    EXPECT_EQ(readings[1].address, "AA:BB:CC:DD:EE:09");
    EXPECT_EQ(readings[1].name, "Magic Trackpad");
    EXPECT_EQ(readings[1].single, 45);
}

TEST(BlueZClient, ABusWithoutBlueZGivesAnEmptyList) {
    TempDir dir;
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    EXPECT_FALSE(BlueZClient::devices(BlueZOptions{bus.address(), dir.path()}));
    EXPECT_TRUE(BlueZClient::readings(BlueZOptions{bus.address(), dir.path()}).empty());
}

TEST(BlueZClient, NoBusGivesAnEmptyList) {
    TempDir dir;
    BlueZOptions options{"unix:path=" + (dir.path() / "nobody-listens").string(), dir.path()};
    EXPECT_FALSE(BlueZClient::devices(options));
    EXPECT_TRUE(BlueZClient::readings(options).empty());
}

}  // namespace
}  // namespace orv
