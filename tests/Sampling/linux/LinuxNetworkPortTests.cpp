#include <gtest/gtest.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <thread>
#include <sstream>

#include "Sampling/NetworkPort.h"
#include "Sampling/NetworkSampler.h"
#include "support/NetworkNamespace.h"
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

// The port's answer from inside a namespace: netlink sockets and interface
// names belong to the namespace of the thread that opens them.
std::optional<std::string> primaryInside(const std::string& ns) {
    std::optional<std::string> answer;
    std::string failure;
    std::thread inside([&] {
        const int fd = ::open(("/run/netns/" + ns).c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0 || ::setns(fd, CLONE_NEWNET) != 0) {
            failure = "cannot enter the namespace";
            if (fd >= 0) ::close(fd);
            return;
        }
        ::close(fd);
        test::TempDir root;
        answer = makeNetworkPort(root.path())->primaryInterface();
    });
    inside.join();
    EXPECT_EQ(failure, "");
    return answer;
}

bool ipIn(const std::string& ns, const std::string& command) {
    return std::system(("ip -n " + ns + " " + command + " >/dev/null 2>&1").c_str()) == 0;
}

// A tunnel device inside the namespace, up, with an address: a veth pair
// stands in for it, as this kernel may lack the dummy module.
bool addTunnel(const std::string& ns) {
    return ipIn(ns, "link add orvtun0 type veth peer name orvtun1") && ipIn(ns, "link set orvtun0 up") &&
           ipIn(ns, "link set orvtun1 up") && ipIn(ns, "addr add 10.214.0.1/24 dev orvtun0");
}

// A full-tunnel VPN as wg-quick sets it up: the main table's default route
// still leaves by the real interface, and a rule sends everything else to a
// table whose default goes into the tunnel.
TEST(LinuxNetworkPortLive, PolicyRoutingNamesTheTunnel) {
    std::string whyNot;
    auto ns = test::NetworkNamespace::make(whyNot);
    if (!ns) GTEST_SKIP() << whyNot;
    const std::string name = ns->name();
    ASSERT_TRUE(addTunnel(name) && ipIn(name, "route add default via " + ns->outsideAddress()));
    auto before = primaryInside(name);
    ASSERT_TRUE(before);
    EXPECT_NE(*before, "orvtun0");  // the veth end inside
    ASSERT_TRUE(ipIn(name, "route add default dev orvtun0 table 51820") &&
                ipIn(name, "rule add not fwmark 51820 table 51820"));
    EXPECT_EQ(primaryInside(name), "orvtun0");
}

TEST(LinuxNetworkPortLive, MultipathDefaultRouteNamesANexthop) {
    std::string whyNot;
    auto ns = test::NetworkNamespace::make(whyNot);
    if (!ns) GTEST_SKIP() << whyNot;
    const std::string name = ns->name();
    ASSERT_TRUE(addTunnel(name) &&
                ipIn(name, "route add default nexthop dev orvtun0 nexthop via " + ns->outsideAddress()));
    auto primary = primaryInside(name);
    ASSERT_TRUE(primary);
    EXPECT_NE(*primary, "lo");
}

}  // namespace
}  // namespace orv
