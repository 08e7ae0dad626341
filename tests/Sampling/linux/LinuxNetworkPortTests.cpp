#include <gtest/gtest.h>
#include <net/if.h>

#include <fstream>
#include <sstream>

#include "Sampling/NetworkPort.h"
#include "Sampling/NetworkSampler.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// The machine's live dump, counted under a sysfs tree of our own: an
// interface counts when the tree shows it as a device.

// A tree that shows every interface of this machine as a physical device.
void markEveryInterfacePhysical(const test::TempDir& root) {
    struct if_nameindex* names = if_nameindex();
    ASSERT_NE(names, nullptr);
    for (struct if_nameindex* name = names; name->if_index != 0; ++name) {
        root.mkdir(std::string("sys/class/net/") + name->if_name + "/device");
    }
    if_freenameindex(names);
}

TEST(LinuxNetworkPort, OnlyInterfacesSysfsShowsAsDevicesCount) {
    test::TempDir physical;
    physical.mkdir("sys/class/net/lo/device");
    CountedDeviceCache<std::string> counted;
    EXPECT_TRUE(makeNetworkPort(physical.path())->readCounters(counted).count("lo"));

    test::TempDir virtualOnly;
    virtualOnly.mkdir("sys/class/net/lo");
    CountedDeviceCache<std::string> notCounted;
    EXPECT_FALSE(makeNetworkPort(virtualOnly.path())->readCounters(notCounted).count("lo"));
    EXPECT_TRUE(notCounted.contains("lo"));  // asked once, and remembered
}

TEST(LinuxNetworkPort, LiveDumpHasTheLoopback) {
    test::TempDir root;
    markEveryInterfacePhysical(root);
    CountedDeviceCache<std::string> counted;
    EXPECT_TRUE(makeNetworkPort(root.path())->readCounters(counted).count("lo"));
}

TEST(LinuxNetworkPort, CounterOnlyDumpsNameTheSameInterfacesAsTheLinkDump) {
    test::TempDir root;
    markEveryInterfacePhysical(root);
    auto port = makeNetworkPort(root.path());
    CountedDeviceCache<std::string> counted;
    auto first = port->readCounters(counted);   // the link dump: names and counters
    auto second = port->readCounters(counted);  // the counters alone, named by the first
    ASSERT_EQ(first.size(), second.size());
    for (const auto& [name, counters] : first) {
        ASSERT_TRUE(second.count(name)) << name;
        EXPECT_GE(second.at(name).bytesIn, counters.bytesIn) << name;
        EXPECT_GE(second.at(name).bytesOut, counters.bytesOut) << name;
    }
}

// The default route's interface by the kernel's own text table.
std::optional<std::string> defaultRouteFromProcNetRoute() {
    std::ifstream file("/proc/net/route");
    std::string line;
    std::getline(file, line);  // the column names
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string name, destination, gateway, flags, refs, use, metric, mask;
        fields >> name >> destination >> gateway >> flags >> refs >> use >> metric >> mask;
        if (destination == "00000000" && mask == "00000000") return name;
    }
    return std::nullopt;
}

TEST(LinuxNetworkPort, LiveDefaultRouteInterfaceIsPrimary) {
    auto expected = defaultRouteFromProcNetRoute();
    if (!expected) GTEST_SKIP() << "this machine has no IPv4 default route";
    NetworkSampler sampler(makeNetworkPort("/"));
    EXPECT_EQ(sampler.sampleNow().primaryInterface, expected);
}

}  // namespace
}  // namespace orv
