#include <gtest/gtest.h>

#include <map>

#include "Sampling/DevServerScanner.h"
#include "core/SamplingError.h"
#include "support/TempDir.h"

namespace orv {
namespace {

class FakeDevServerPort : public DevServerPort {
public:
    std::vector<ListeningPort> ports;
    std::map<int32_t, DevProcessDetails> known;
    bool failing = false;

    std::vector<ListeningPort> listeningPorts() override {
        if (failing) throw SamplingError::netlink("sock_diag LISTEN dump", 1);
        return ports;
    }
    std::optional<DevProcessDetails> details(int32_t pid) override {
        auto found = known.find(pid);
        if (found == known.end()) return std::nullopt;
        return found->second;
    }
};

ProcessReading reading(int32_t pid, int32_t parent, uint32_t uid, std::string name, std::string exe, int64_t cpuMs) {
    ProcessReading r;
    r.pid = pid;
    r.parentPID = parent;
    r.uid = uid;
    r.name = std::move(name);
    r.executablePath = std::move(exe);
    r.startTime = Date{1000};
    r.cpuTime = Duration::milliseconds(cpuMs);
    r.footprintBytes = 1 << 20;
    r.isComplete = true;
    return r;
}

class DevServerScannerFixture : public ::testing::Test {
protected:
    void SetUp() override {
        root.write("home/u/shop/package.json", R"({"name": "shop"})");
        root.mkdir("home/u/api/.git");
        root.write("home/u/rs/Cargo.toml", "[package]\nname = \"rs\"\n");
        auto fake = std::make_unique<FakeDevServerPort>();
        port = fake.get();
        scanner = std::make_unique<DevServerScanner>(std::move(fake), ProjectLocator(root.path()), 1000, 99);
    }
    test::TempDir root;
    FakeDevServerPort* port = nullptr;
    std::unique_ptr<DevServerScanner> scanner;
};

TEST_F(DevServerScannerFixture, GroupsServersByProjectAndLeavesDaemonsOut) {
    using T = ListeningPort::Transport;
    port->ports = {
        {200, 5432, T::tcp4, "127.0.0.1", "/var/lib/postgresql"},   // postgres, another user
        {300, 3000, T::tcp6, "::", "/home/u/shop"},                 // node
        {300, 3000, T::tcp4, "0.0.0.0", "/home/u/shop"},
        {300, 9229, T::tcp4, "127.0.0.1", "/home/u/shop"},
        {310, 5173, T::tcp4, "127.0.0.1", "/home/u/shop/web"},      // a second server of the same project
        {400, 8000, T::tcp4, "127.0.0.1", "/home/u/api/cmd"},       // a Go binary
        {500, 631, T::tcp4, "127.0.0.1", "/"},                      // cupsd-like, the user's but no project
        {600, 7000, T::tcp4, "127.0.0.1", std::nullopt},            // directory unknown
        {700, 8080, T::tcp4, "127.0.0.1", "/home/u/rs"},            // cargo run
        {800, 1234, T::tcp4, "127.0.0.1", "/home/u/shop"},          // no reading: it exited
    };
    port->known[300] = {{"node", "server.js"}, 290, 100, std::nullopt};
    port->known[310] = {{"node", "/home/u/shop/node_modules/.bin/vite"}, 310, 100, std::nullopt};
    port->known[400] = {{"./api"}, 400, 100, std::string("go-id")};
    port->known[700] = {{"target/debug/rs"}, 700, 700, std::nullopt};
    std::vector<ProcessReading> readings{
        reading(100, 1, 1000, "bash", "/usr/bin/bash", 100),
        reading(200, 1, 112, "postgres", "/usr/lib/postgresql/15/bin/postgres", 90000),
        reading(290, 100, 1000, "npm", "/usr/bin/node", 500),
        reading(300, 290, 1000, "node", "/usr/bin/node", 4000),
        reading(310, 100, 1000, "node", "/usr/bin/node", 200),
        reading(400, 100, 1000, "api", "/home/u/api/api", 3000),
        reading(500, 1, 1000, "cupsd", "/usr/sbin/cupsd", 3000),
        reading(600, 1, 1000, "x", "/usr/bin/x", 3000),
        reading(700, 1, 1000, "rs", "/home/u/rs/target/debug/rs", 3000),
    };
    auto projects = scanner->scan(readings, Date{5000});
    ASSERT_EQ(projects.size(), 3u);
    std::map<std::string, Project> byId;
    for (const auto& p : projects) byId[p.id] = p;
    ASSERT_TRUE(byId.contains("/home/u/shop"));
    const auto& shop = byId["/home/u/shop"];
    EXPECT_EQ(shop.name, "shop");
    ASSERT_EQ(shop.servers.size(), 2u);
    EXPECT_EQ(shop.servers[0].pid, 300);
    EXPECT_EQ(shop.servers[0].ports, (std::vector<uint16_t>{3000, 9229}));
    EXPECT_EQ(shop.servers[0].runtime, DevRuntime::node);
    EXPECT_EQ(shop.servers[0].name, "server.js");
    EXPECT_EQ(shop.servers[0].command, "node server.js");
    EXPECT_EQ(shop.servers[0].stopTarget, TerminationTarget{termination::ProcessGroup{290}});
    EXPECT_EQ(shop.servers[1].name, "vite");
    EXPECT_EQ(shop.servers[1].stopTarget, TerminationTarget{termination::ProcessGroup{310}});
    // Seen once: not working, and idle for no time yet unless barely used.
    EXPECT_EQ(shop.servers[0].activity, ProjectActivity{activity::Idle{0}});
    EXPECT_EQ(shop.servers[1].activity, ProjectActivity{activity::BarelyUsed{}});
    EXPECT_EQ(shop.ports(), (std::vector<uint16_t>{3000, 5173, 9229}));

    const auto& api = byId["/home/u/api"];
    ASSERT_EQ(api.servers.size(), 1u);
    EXPECT_EQ(api.name, "api");
    EXPECT_EQ(api.servers[0].runtime, DevRuntime::go);
    const auto& rs = byId["/home/u/rs"];
    ASSERT_EQ(rs.servers.size(), 1u);
    EXPECT_EQ(rs.servers[0].runtime, DevRuntime::rust);
    // It leads its session (setsid): its group is its own.
    EXPECT_EQ(rs.servers[0].stopTarget, TerminationTarget{termination::ProcessGroup{700}});
    EXPECT_EQ(scanner->lastPorts().size(), port->ports.size());
}

TEST_F(DevServerScannerFixture, ActivityFollowsCPUGrowthAcrossScans) {
    port->ports = {{300, 3000, ListeningPort::Transport::tcp4, "127.0.0.1", "/home/u/shop"}};
    auto at = [&](double now, int64_t cpuMs) {
        std::vector<ProcessReading> readings{reading(300, 1, 1000, "node", "/usr/bin/node", cpuMs)};
        auto projects = scanner->scan(readings, Date{now});
        return projects.at(0).servers.at(0).activity;
    };
    EXPECT_EQ(at(0, 5000), ProjectActivity{activity::Idle{0}});
    EXPECT_EQ(at(30, 6000), ProjectActivity{activity::Working{}});
    EXPECT_EQ(at(60, 6000), ProjectActivity{activity::Working{}});  // the last minute still holds the work
    EXPECT_EQ(at(120, 6000), ProjectActivity{activity::Idle{1}});
    EXPECT_EQ(at(60 + 12 * 60, 6001), ProjectActivity{activity::Idle{12}});
}

TEST_F(DevServerScannerFixture, AReusedPidIsANewServer) {
    port->ports = {{300, 3000, ListeningPort::Transport::tcp4, "127.0.0.1", "/home/u/shop"}};
    std::vector<ProcessReading> readings{reading(300, 1, 1000, "node", "/usr/bin/node", 5000)};
    (void)scanner->scan(readings, Date{0});
    readings[0].cpuTime = Duration::milliseconds(9000);
    (void)scanner->scan(readings, Date{30});  // working
    readings[0].startTime = Date{2000};
    readings[0].cpuTime = Duration::milliseconds(1500);
    auto projects = scanner->scan(readings, Date{40});
    EXPECT_EQ(projects.at(0).servers.at(0).activity, ProjectActivity{activity::Idle{0}});
}

TEST_F(DevServerScannerFixture, AFailedSocketListingThrows) {
    port->failing = true;
    EXPECT_THROW(scanner->scan({}, Date{0}), SamplingError);
}

}  // namespace
}  // namespace orv
