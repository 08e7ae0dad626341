#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <chrono>
#include <cmath>
#include <future>
#include <limits>

#include "core/JsonCoding.h"
#include "helper/HelperService.h"
#include "support/FakeProcessNetwork.h"
#include "support/FakeProcessSource.h"
#include "support/TestExecutor.h"

namespace orv {
namespace {

using namespace std::chrono_literals;

class HelperServiceTest : public ::testing::Test {
protected:
    std::optional<std::string> sampleReply(HelperService& service) {
        std::promise<std::optional<std::string>> promise;
        auto future = promise.get_future();
        std::thread::id replyThread;
        service.sampleWithReply([&](std::optional<std::string> data) {
            replyThread = std::this_thread::get_id();
            promise.set_value(std::move(data));
        });
        EXPECT_EQ(future.wait_for(5s), std::future_status::ready);
        auto data = future.get();
        EXPECT_NE(replyThread, std::this_thread::get_id());
        return data;
    }

    static PropertyValue info(PropertyValue::Dictionary entries) { return PropertyValue(std::move(entries)); }

    SamplingExecutor& executor = test::testExecutor();
    std::shared_ptr<test::FakeProcessSource> sampler = std::make_shared<test::FakeProcessSource>();
};

TEST_F(HelperServiceTest, SampleRepliesWithTheJsonOfTheReadings) {
    auto reading = test::readingNamed(42, "kernel_task");
    reading.executablePath = "/usr/libexec/kernel_task";
    reading.cpuTime = Duration::milliseconds(2500);
    sampler->setReadings({reading});
    HelperService service(sampler, std::nullopt, executor);
    auto data = sampleReply(service);
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(json::decode<std::vector<ProcessReading>>(*data), std::vector<ProcessReading>{reading});
    auto object = boost::json::parse(*data).as_array().at(0).as_object();
    EXPECT_EQ(object.size(), 13u);
    EXPECT_FALSE(object.contains("id"));
    EXPECT_EQ(object.at("cpuTime"), boost::json::parse("[0, 2500000000000000000]"));
}

using test::FakeProcessNetwork;

std::optional<std::string> networkReply(HelperService& service) {
    std::promise<std::optional<std::string>> promise;
    auto future = promise.get_future();
    service.networkBytesWithReply([&](std::optional<std::string> data) { promise.set_value(std::move(data)); });
    EXPECT_EQ(future.wait_for(5s), std::future_status::ready);
    return future.get();
}

TEST_F(HelperServiceTest, NetworkBytesAreAFlatArrayOfPidAndCounts) {
    auto network = std::make_shared<FakeProcessNetwork>();
    network->bytes = NetworkBytesByPID{{42, {1000, 20}}};
    HelperService service(sampler, std::nullopt, executor, HelperService::defaultEncoder(), network);
    EXPECT_EQ(networkReply(service), std::optional<std::string>(R"([42,{"rx":1000,"tx":20}])"));
}

TEST_F(HelperServiceTest, NetworkBytesWithoutAccountingReplyNothing) {
    HelperService without(sampler, std::nullopt, executor);
    EXPECT_EQ(networkReply(without), std::nullopt);
    auto unavailable = std::make_shared<FakeProcessNetwork>();
    HelperService withUnavailable(sampler, std::nullopt, executor, HelperService::defaultEncoder(), unavailable);
    EXPECT_EQ(networkReply(withUnavailable), std::nullopt);
}

TEST_F(HelperServiceTest, EachSampleShowsItsReadingsToTheAccounting) {
    auto network = std::make_shared<FakeProcessNetwork>();
    sampler->setReadings({test::readingNamed(1, "a"), test::readingNamed(2, "b")});
    HelperService service(sampler, std::nullopt, executor, HelperService::defaultEncoder(), network);
    sampleReply(service);
    // The reply goes first; the accounting sees the readings right after,
    // in the same job on the sampling thread.
    executor.run([] {}).get();
    EXPECT_EQ(network->observed.load(), 2u);
}

TEST_F(HelperServiceTest, TheReplyDoesNotWaitForTheAccounting) {
    auto network = std::make_shared<FakeProcessNetwork>();
    sampler->setReadings({test::readingNamed(1, "a")});
    HelperService service(sampler, std::nullopt, executor, HelperService::defaultEncoder(), network);
    std::promise<size_t> observedAtReply;
    service.sampleWithReply([&](std::optional<std::string>) { observedAtReply.set_value(network->observed.load()); });
    EXPECT_EQ(observedAtReply.get_future().get(), 0u);
}

TEST_F(HelperServiceTest, SampleRunsTheSamplerOnTheSamplingThread) {
    HelperService service(sampler, std::nullopt, executor);
    std::promise<bool> onExecutor;
    service.sampleWithReply([&](std::optional<std::string>) { onExecutor.set_value(executor.isCurrent()); });
    EXPECT_TRUE(onExecutor.get_future().get());
}

TEST_F(HelperServiceTest, UnreadableTableRepliesEmptyList) {
    sampler->setReadings({});
    HelperService service(sampler, std::nullopt, executor);
    EXPECT_EQ(sampleReply(service), std::optional<std::string>("[]"));
}

TEST_F(HelperServiceTest, SamplerFailureRepliesEmptyList) {
    sampler->setThrows(true);
    HelperService service(sampler, std::nullopt, executor);
    EXPECT_EQ(sampleReply(service), std::optional<std::string>("[]"));
}

TEST_F(HelperServiceTest, EncodingFailureRepliesNothing) {
    HelperService service(sampler, std::nullopt, executor,
                          [](const std::vector<ProcessReading>&) -> std::optional<std::string> { return std::nullopt; });
    EXPECT_EQ(sampleReply(service), std::nullopt);
}

TEST_F(HelperServiceTest, DateWithoutJsonFormFailsTheDefaultEncoder) {
    auto reading = test::readingNamed(3, "odd");
    reading.startTime = Date{std::numeric_limits<double>::quiet_NaN()};
    sampler->setReadings({reading});
    HelperService service(sampler, std::nullopt, executor);
    EXPECT_EQ(sampleReply(service), std::nullopt);
}

TEST_F(HelperServiceTest, IncompleteReadingHasZerosAndFalse) {
    ProcessReading r = test::readingNamed(99, "secretd");
    r.isComplete = false;
    sampler->setReadings({r});
    HelperService service(sampler, std::nullopt, executor);
    auto object = boost::json::parse(*sampleReply(service)).as_array().at(0).as_object();
    EXPECT_EQ(object.at("isComplete"), false);
    EXPECT_EQ(object.at("cpuTime"), boost::json::parse("[0, 0]"));
    for (auto key : {"footprintBytes", "diskReadBytes", "diskWriteBytes", "energyNJ", "wakeups"}) {
        EXPECT_EQ(object.at(key), 0) << key;
    }
}

TEST_F(HelperServiceTest, ReadingWithoutPathHasNoPathKey) {
    sampler->setReadings({test::readingNamed(5, "nopath")});
    HelperService service(sampler, std::nullopt, executor);
    auto object = boost::json::parse(*sampleReply(service)).as_array().at(0).as_object();
    EXPECT_FALSE(object.contains("executablePath"));
}

TEST_F(HelperServiceTest, CpuTimeBeyondTwoToTheSixtyFourAttosecondsSetsHigh) {
    auto r = test::readingNamed(6, "busy");
    r.cpuTime = Duration::seconds(20);
    sampler->setReadings({r});
    HelperService service(sampler, std::nullopt, executor);
    auto object = boost::json::parse(*sampleReply(service)).as_array().at(0).as_object();
    EXPECT_EQ(object.at("cpuTime"), boost::json::parse("[1, 1553255926290448384]"));
}

TEST_F(HelperServiceTest, StartTimeIsSecondsSinceTwoThousandOne) {
    auto r = test::readingNamed(6, "t");
    r.startTime = Date::fromUnixSeconds(1'700'000'000);
    sampler->setReadings({r});
    HelperService service(sampler, std::nullopt, executor);
    auto object = boost::json::parse(*sampleReply(service)).as_array().at(0).as_object();
    EXPECT_EQ(object.at("startTime").to_number<double>(), 721692800.0);
}

TEST_F(HelperServiceTest, RequestsOfSeveralConnectionsAreServedOneAfterAnother) {
    HelperService service(sampler, std::nullopt, executor);
    std::atomic<int> replies{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; ++i) {
        callers.emplace_back([&] { service.sampleWithReply([&](std::optional<std::string>) { ++replies; }); });
    }
    for (auto& t : callers) t.join();
    executor.run([] {}).get();
    EXPECT_EQ(replies, 8);
    EXPECT_EQ(sampler->calls(), 8);
}

TEST_F(HelperServiceTest, ListeningPortsReplyWithTheirJsonOnTheSamplingThread) {
    HelperService service(sampler, std::nullopt, executor);
    auto portsReply = [&] {
        std::promise<std::pair<std::optional<std::string>, bool>> promise;
        service.listeningPortsWithReply(
            [&](std::optional<std::string> data) { promise.set_value({std::move(data), executor.isCurrent()}); });
        return promise.get_future().get();
    };
    EXPECT_EQ(portsReply().first, std::optional<std::string>("[]"));  // no reader
    const ListeningPort port{77, 3000, ListeningPort::Transport::tcp4, "127.0.0.1", "/home/u/shop"};
    service.setPortsReader([&] { return std::vector<ListeningPort>{port}; });
    auto [data, onExecutor] = portsReply();
    ASSERT_TRUE(data);
    EXPECT_TRUE(onExecutor);
    EXPECT_EQ(json::decode<std::vector<ListeningPort>>(*data), std::vector<ListeningPort>{port});
    service.setPortsReader([]() -> std::vector<ListeningPort> { throw std::runtime_error("no sock_diag"); });
    EXPECT_EQ(portsReply().first, std::optional<std::string>("[]"));
}

TEST_F(HelperServiceTest, VersionIsTheBundleVersion) {
    HelperService service(sampler, info({{"CFBundleVersion", "1"}, {"CFBundleShortVersionString", "0.9.0"}}), executor);
    std::string version;
    service.versionWithReply([&](std::string v) { version = std::move(v); });
    EXPECT_EQ(version, "1");
}

TEST_F(HelperServiceTest, VersionIsZeroWithoutTheKey) {
    HelperService service(sampler, info({{"CFBundleShortVersionString", "0.9.0"}}), executor);
    std::string version;
    service.versionWithReply([&](std::string v) { version = std::move(v); });
    EXPECT_EQ(version, "0");
}

TEST_F(HelperServiceTest, VersionIsZeroWhenNotAString) {
    HelperService service(sampler, info({{"CFBundleVersion", 1}}), executor);
    std::string version;
    service.versionWithReply([&](std::string v) { version = std::move(v); });
    EXPECT_EQ(version, "0");
}

}  // namespace
}  // namespace orv
