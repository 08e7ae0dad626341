#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <functional>

#include "core/JsonCoding.h"
#include "core/ProcessSample.h"

namespace orv {
namespace {

ProcessSample busy() {
    ProcessSample s;
    s.pid = 812;
    s.app = "com.apple.Safari";
    s.name = "Safari";
    s.cpuPercent = 12.5;
    s.footprintBytes = 300u << 20;
    s.diskReadBPS = 1024;
    s.diskWriteBPS = 2048;
    s.energyMW = 150.25;
    s.gpuPercent = 3.0;
    s.energyImpact = 14.5;
    return s;
}

TEST(ProcessSample, IdIsThePid) { EXPECT_EQ(busy().id(), 812); }

TEST(ProcessSample, WithNetworkReplacesOnlyTheNetworkRates) {
    auto original = busy();
    auto networked = original.withNetwork(100.0, 200.0);
    EXPECT_EQ(networked.netInBPS, 100.0);
    EXPECT_EQ(networked.netOutBPS, 200.0);
    auto back = networked;
    back.netInBPS.reset();
    back.netOutBPS.reset();
    EXPECT_EQ(back, original);
    EXPECT_EQ(original.netInBPS, std::nullopt) << "the original is not changed";
}

TEST(ProcessSample, WithNetworkCanClearTheRates) {
    auto networked = busy().withNetwork(1.0, 2.0).withNetwork(std::nullopt, std::nullopt);
    EXPECT_EQ(networked, busy());
}

TEST(ProcessSample, AbsentOptionalsAreLeftOutOfTheJson) {
    ProcessSample s;
    s.pid = 1;
    s.app = "other:launchd";
    s.name = "launchd";
    auto v = boost::json::parse(json::encode(s));
    EXPECT_EQ(v, boost::json::parse(R"({"pid":1,"app":"other:launchd","name":"launchd","cpuPercent":0.0,
                                        "footprintBytes":0,"diskReadBPS":0.0,"diskWriteBPS":0.0})"));
}

TEST(ProcessSample, EncodesEveryPresentFieldUnderItsName) {
    auto v = boost::json::parse(json::encode(busy().withNetwork(5.0, 6.0)));
    EXPECT_EQ(v, boost::json::parse(R"({"pid":812,"app":"com.apple.Safari","name":"Safari","cpuPercent":12.5,
        "footprintBytes":314572800,"diskReadBPS":1024.0,"diskWriteBPS":2048.0,"energyMW":150.25,
        "netInBPS":5.0,"netOutBPS":6.0,"gpuPercent":3.0,"energyImpact":14.5})"));
}

TEST(ProcessSample, RoundTripsThroughJson) {
    auto s = busy().withNetwork(0.1, 0.2);
    EXPECT_EQ(json::decode<ProcessSample>(json::encode(s)), s);
    std::vector<ProcessSample> list{s, busy()};
    EXPECT_EQ(json::decode<std::vector<ProcessSample>>(json::encode(list)), list);
}

TEST(ProcessSample, EqualityAndHashCoverTheOptionalRates) {
    auto a = busy();
    auto b = busy();
    EXPECT_EQ(std::hash<ProcessSample>{}(a), std::hash<ProcessSample>{}(b));
    b.energyImpact.reset();
    EXPECT_NE(a, b);
    EXPECT_NE(std::hash<ProcessSample>{}(a), std::hash<ProcessSample>{}(b));
}

}  // namespace
}  // namespace orv
