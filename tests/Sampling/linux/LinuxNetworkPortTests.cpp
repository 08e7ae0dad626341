#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Sampling/NetworkPort.h"
#include "Sampling/NetworkSampler.h"
#include "support/TempDir.h"

namespace orv {
namespace {

TEST(LinuxNetworkPort, PhysicalInterfacesCountAndVirtualOnesDoNot) {
    test::TempDir root;
    root.mkdir("sys/class/net/eth0/device");
    root.mkdir("sys/class/net/lo");
    root.mkdir("sys/class/net/docker0");
    auto port = makeNetworkPort(root.path());
    EXPECT_TRUE(port->counts("eth0"));
    EXPECT_FALSE(port->counts("lo"));
    EXPECT_FALSE(port->counts("docker0"));
    EXPECT_FALSE(port->counts("missing9"));
}

TEST(LinuxNetworkPort, LiveDumpHasTheLoopback) {
    auto port = makeNetworkPort("/");
    InterfaceCounterMap counters;
    port->readCounters(counters);
    EXPECT_TRUE(counters.count("lo"));
}

TEST(LinuxNetworkPort, CounterOnlyDumpsNameTheSameInterfacesAsTheLinkDump) {
    auto port = makeNetworkPort("/");
    InterfaceCounterMap first, second;
    port->readCounters(first);   // the link dump: names and counters
    port->readCounters(second);  // the counters alone, named by the first
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
