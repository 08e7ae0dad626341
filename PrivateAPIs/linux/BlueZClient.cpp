#include "PrivateAPIs/linux/BlueZClient.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "PrivateAPIs/linux/PowerSupplyClass.h"
#include "core/linux/SystemdLibrary.h"

namespace orv::BlueZClient {

namespace {

// Set whenever a bus is open: devices() loads it before connecting.
const SystemdLibrary& systemd() { return *SystemdLibrary::shared(); }

// Whether a system bus can be there at all, before libsystemd is loaded
// to reach it: its address given, or its socket in place.
bool systemBusMayListen() {
    if (const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS"); address && *address) return true;
    struct stat st{};
    return ::stat("/run/dbus/system_bus_socket", &st) == 0 && S_ISSOCK(st.st_mode);
}

struct BusUnref {
    void operator()(sd_bus* bus) const { systemd().sd_bus_flush_close_unref(bus); }
};
struct MessageUnref {
    void operator()(sd_bus_message* m) const { systemd().sd_bus_message_unref(m); }
};
using Bus = std::unique_ptr<sd_bus, BusUnref>;
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

Bus connect(const std::string& address) {
    sd_bus* bus = nullptr;
    if (address.empty()) {
        if (systemd().sd_bus_open_system(&bus) < 0) return nullptr;
        return Bus(bus);
    }
    if (systemd().sd_bus_new(&bus) < 0) return nullptr;
    Bus owned(bus);
    if (systemd().sd_bus_set_address(bus, address.c_str()) < 0 || systemd().sd_bus_set_bus_client(bus, 1) < 0 || systemd().sd_bus_start(bus) < 0) {
        return nullptr;
    }
    return owned;
}

// Reads one "{sv}" entry's variant into the device when the key is one we
// want and the type is the one BlueZ documents (doc/org.bluez.Device.rst,
// doc/org.bluez.Battery.rst); everything else is skipped.
int readProperty(sd_bus_message* m, std::string_view interface, BlueZDevice& device) {
    const char* key = nullptr;
    int r = systemd().sd_bus_message_read_basic(m, 's', &key);
    if (r < 0) return r;
    char type = 0;
    const char* contents = nullptr;
    r = systemd().sd_bus_message_peek_type(m, &type, &contents);
    if (r < 0) return r;
    std::string_view k = key;
    std::string_view c = contents == nullptr ? "" : contents;

    auto readString = [&](std::optional<std::string>& slot) -> int {
        const char* s = nullptr;
        int rr = systemd().sd_bus_message_read(m, "v", "s", &s);
        if (rr >= 0) slot = s;
        return rr;
    };
    if (interface == "org.bluez.Device1" && k == "Address" && c == "s") return readString(device.address);
    if (interface == "org.bluez.Device1" && k == "Alias" && c == "s") return readString(device.alias);
    if (interface == "org.bluez.Device1" && k == "Icon" && c == "s") return readString(device.icon);
    if (interface == "org.bluez.Device1" && k == "Class" && c == "u") {
        uint32_t value = 0;
        r = systemd().sd_bus_message_read(m, "v", "u", &value);
        if (r >= 0) device.classOfDevice = value;
        return r;
    }
    if (interface == "org.bluez.Device1" && k == "Connected" && c == "b") {
        int value = 0;
        r = systemd().sd_bus_message_read(m, "v", "b", &value);
        if (r >= 0) device.connected = value != 0;
        return r;
    }
    if (interface == "org.bluez.Battery1" && k == "Percentage" && c == "y") {
        uint8_t value = 0;
        r = systemd().sd_bus_message_read(m, "v", "y", &value);
        if (r >= 0) device.percentage = value;
        return r;
    }
    return systemd().sd_bus_message_skip(m, "v");
}

// One "oa{sa{sv}}" entry: an object and its interfaces.
int readObject(sd_bus_message* m, std::vector<BlueZDevice>& out) {
    const char* path = nullptr;
    int r = systemd().sd_bus_message_read_basic(m, 'o', &path);
    if (r < 0) return r;
    BlueZDevice device;
    device.objectPath = path;
    bool isDevice = false;
    if ((r = systemd().sd_bus_message_enter_container(m, 'a', "{sa{sv}}")) < 0) return r;
    while ((r = systemd().sd_bus_message_enter_container(m, 'e', "sa{sv}")) > 0) {
        const char* interface = nullptr;
        if ((r = systemd().sd_bus_message_read_basic(m, 's', &interface)) < 0) return r;
        std::string_view name = interface;
        if (name == "org.bluez.Device1") isDevice = true;
        if ((r = systemd().sd_bus_message_enter_container(m, 'a', "{sv}")) < 0) return r;
        while ((r = systemd().sd_bus_message_enter_container(m, 'e', "sv")) > 0) {
            if ((r = readProperty(m, name, device)) < 0) return r;
            if ((r = systemd().sd_bus_message_exit_container(m)) < 0) return r;
        }
        if (r < 0) return r;
        if ((r = systemd().sd_bus_message_exit_container(m)) < 0) return r;  // a{sv}
        if ((r = systemd().sd_bus_message_exit_container(m)) < 0) return r;  // e
    }
    if (r < 0) return r;
    if ((r = systemd().sd_bus_message_exit_container(m)) < 0) return r;
    if (isDevice) out.push_back(std::move(device));
    return 1;
}

}  // namespace

std::optional<std::vector<BlueZDevice>> devices(const BlueZOptions& options) {
    if (options.busAddress.empty() && !systemBusMayListen()) return std::nullopt;
    if (!SystemdLibrary::shared()) return std::nullopt;
    Bus bus = connect(options.busAddress);
    if (!bus) return std::nullopt;

    sd_bus_message* call = nullptr;
    if (systemd().sd_bus_message_new_method_call(bus.get(), &call, "org.bluez", "/", "org.freedesktop.DBus.ObjectManager",
                                       "GetManagedObjects") < 0) {
        return std::nullopt;
    }
    Message request(call);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    int r = systemd().sd_bus_call(bus.get(), request.get(), options.timeoutMicroseconds, &error, &reply);
    systemd().sd_bus_error_free(&error);
    if (r < 0) return std::nullopt;  // no BlueZ on this bus, or it did not answer
    Message owned(reply);

    std::vector<BlueZDevice> out;
    if (systemd().sd_bus_message_enter_container(reply, 'a', "{oa{sa{sv}}}") < 0) return std::nullopt;
    while ((r = systemd().sd_bus_message_enter_container(reply, 'e', "oa{sa{sv}}")) > 0) {
        if (readObject(reply, out) < 0 || systemd().sd_bus_message_exit_container(reply) < 0) return std::nullopt;
    }
    if (r < 0) return std::nullopt;
    // The bus lists objects in no particular order; readings follow the paths.
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.objectPath < b.objectPath; });
    return out;
}

std::vector<BluetoothBatteries::Reading> readings(const BlueZOptions& options) {
    auto found = devices(options).value_or(std::vector<BlueZDevice>{});
    auto supplies = readPowerSupplies(options.root);
    return BlueZDevices::readings(found, supplies);
}

}  // namespace orv::BlueZClient

namespace orv::BluetoothBatteries {

std::vector<Reading> readings() { return BlueZClient::readings(BlueZOptions{}); }

}  // namespace orv::BluetoothBatteries
