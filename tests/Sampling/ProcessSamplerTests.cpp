#include <gtest/gtest.h>

#include "Sampling/FakeProcessTablePort.h"
#include "Sampling/ProcessSampler.h"

namespace orv {
namespace {

using test::FakeProcessTablePort;

struct Harness {
    FakeProcessTablePort* port;
    ProcessSampler sampler;

    Harness() : Harness(std::make_unique<FakeProcessTablePort>()) {}
    explicit Harness(std::unique_ptr<FakeProcessTablePort> p) : port(p.get()), sampler(std::move(p)) {}
};

const ProcessReading* find(const std::vector<ProcessReading>& readings, int32_t pid) {
    for (const auto& r : readings) if (r.pid == pid) return &r;
    return nullptr;
}

TEST(ProcessSampler, CompleteReadingCarriesEveryUsageFigure) {
    Harness h;
    auto p = FakeProcessTablePort::process(10, 1000, "launchd");
    p.path = "/sbin/launchd";
    h.port->processes = {p};
    auto readings = h.sampler.sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    const auto& r = readings[0];
    EXPECT_EQ(r.pid, 10);
    EXPECT_EQ(r.parentPID, 1);
    EXPECT_EQ(r.uid, 501u);
    EXPECT_EQ(r.name, "launchd");
    EXPECT_EQ(r.executablePath, "/sbin/launchd");
    EXPECT_EQ(r.startTime, Date{1000});
    EXPECT_EQ(r.cpuTime, Duration::milliseconds(10));
    EXPECT_EQ(r.footprintBytes, 4096u);
    EXPECT_EQ(r.diskReadBytes, 1u);
    EXPECT_EQ(r.diskWriteBytes, 2u);
    EXPECT_EQ(r.energyNJ, 3u);
    EXPECT_EQ(r.wakeups, 4u);
    EXPECT_TRUE(r.isComplete);
}

TEST(ProcessSampler, ReadingsKeepKernelTableOrder) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(30, 1, "c"), FakeProcessTablePort::process(10, 1, "a"),
                         FakeProcessTablePort::process(20, 1, "b")};
    auto readings = h.sampler.sampleNow();
    ASSERT_EQ(readings.size(), 3u);
    EXPECT_EQ(readings[0].pid, 30);
    EXPECT_EQ(readings[1].pid, 10);
    EXPECT_EQ(readings[2].pid, 20);
}

TEST(ProcessSampler, EachPassTellsThePortItsRowsAreDoneWithAfterTheLastRead) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(30, 1, "c"), FakeProcessTablePort::process(10, 1, "a")};
    h.sampler.sampleNow();
    EXPECT_EQ(h.port->passesFinished, 1u);
    EXPECT_EQ(h.port->usageCallsWhenFinished, 2u);
    // The readings outlive the rows they came from.
    auto readings = h.sampler.sampleNow();
    EXPECT_EQ(h.port->passesFinished, 2u);
    EXPECT_EQ(h.port->usageCallsWhenFinished, 4u);
    ASSERT_EQ(readings.size(), 2u);
    EXPECT_EQ(readings[1].name, "a");
}

TEST(ProcessSampler, ZombiesAndNegativePidsAreSkipped) {
    Harness h;
    auto zombie = FakeProcessTablePort::process(11, 1, "defunct");
    zombie.row.isZombie = true;
    auto negative = FakeProcessTablePort::process(-1, 1, "odd");
    h.port->processes = {zombie, negative, FakeProcessTablePort::process(12, 1, "alive")};
    auto readings = h.sampler.sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].pid, 12);
}

TEST(ProcessSampler, ProcessThatVanishedIsSkipped) {
    Harness h;
    auto gone = FakeProcessTablePort::process(11, 1, "brief");
    gone.answer = ProcessOutcome::gone;
    h.port->processes = {gone, FakeProcessTablePort::process(12, 1, "alive")};
    auto readings = h.sampler.sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].pid, 12);
}

TEST(ProcessSampler, NamesAndPathsAreResolvedOncePerInstance) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(10, 1, "a")};
    h.sampler.sampleNow();
    h.sampler.sampleNow();
    h.sampler.sampleNow();
    EXPECT_EQ(h.port->pathLookups, std::vector<int32_t>{10});
}

TEST(ProcessSampler, ReusedPidGetsAFreshLookupAndIsNotRefused) {
    Harness h;
    auto old = FakeProcessTablePort::process(10, 1, "old");
    old.answer = ProcessOutcome::refused;
    h.port->processes = {old};
    auto first = h.sampler.sampleNow();
    EXPECT_FALSE(first[0].isComplete);
    EXPECT_EQ(h.sampler.refusedCount(), 1u);

    h.port->processes = {FakeProcessTablePort::process(10, 2, "new")};
    auto second = h.sampler.sampleNow();
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0].name, "new");
    EXPECT_TRUE(second[0].isComplete);
    EXPECT_EQ(h.port->pathLookups, (std::vector<int32_t>{10, 10}));
    EXPECT_EQ(h.port->usageCalls.back(), std::make_pair(10, false));
}

TEST(ProcessSampler, RefusedInstanceIsNeverAskedAgainWhileItLives) {
    Harness h;
    auto p = FakeProcessTablePort::process(10, 1, "root-daemon");
    p.answer = ProcessOutcome::refused;
    h.port->processes = {p};
    h.sampler.sampleNow();
    h.port->processes[0].answer = ProcessOutcome::complete;  // readable now, but stays refused
    auto readings = h.sampler.sampleNow();
    EXPECT_FALSE(readings[0].isComplete);
    EXPECT_EQ(readings[0].cpuTime, Duration::zero());
    EXPECT_EQ(h.port->usageCalls.back(), std::make_pair(10, true));
}

TEST(ProcessSampler, OtherUsageFailureIsIncompleteAndAskedAgain) {
    Harness h;
    auto p = FakeProcessTablePort::process(10, 1, "racy");
    p.answer = ProcessOutcome::malformed;
    h.port->processes = {p};
    auto first = h.sampler.sampleNow();
    EXPECT_FALSE(first[0].isComplete);
    EXPECT_EQ(first[0].footprintBytes, 0u);
    EXPECT_EQ(h.sampler.refusedCount(), 0u);
    h.port->processes[0].answer = ProcessOutcome::complete;
    EXPECT_TRUE(h.sampler.sampleNow()[0].isComplete);
}

TEST(ProcessSampler, SixteenByteCommandNameTakesThePathsLastComponent) {
    Harness h;
    auto p = FakeProcessTablePort::process(10, 1, "some-long-daemo");  // 15 bytes: not cut
    auto q = FakeProcessTablePort::process(11, 1, "some-long-daemon");  // exactly 16
    p.path = q.path = "/usr/libexec/some-long-daemon-name";
    h.port->processes = {p, q};
    auto readings = h.sampler.sampleNow();
    EXPECT_EQ(readings[0].name, "some-long-daemo");
    EXPECT_EQ(readings[1].name, "some-long-daemon-name");
}

TEST(ProcessSampler, LongCommandNameWithoutPathIsKept) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(10, 1, "some-long-daemon")};
    EXPECT_EQ(h.sampler.sampleNow()[0].name, "some-long-daemon");
}

TEST(ProcessSampler, RootPathLeavesTheCommandName) {
    Harness h;
    auto p = FakeProcessTablePort::process(10, 1, "some-long-daemon");
    p.path = "/";
    h.port->processes = {p};
    auto r = h.sampler.sampleNow()[0];
    EXPECT_EQ(r.name, "some-long-daemon");
    EXPECT_EQ(r.executablePath, "/");
}

TEST(ProcessSampler, LinuxCutsNamesAtFifteenBytes) {
    Harness h;
    h.port->nameLimit = 15;
    auto p = FakeProcessTablePort::process(10, 1, "gnome-shell-cal");
    p.path = "/usr/libexec/gnome-shell-calendar-server";
    h.port->processes = {p};
    EXPECT_EQ(h.sampler.sampleNow()[0].name, "gnome-shell-calendar-server");
}

TEST(ProcessSampler, PathThatIsNotUtf8IsAbsent) {
    Harness h;
    auto p = FakeProcessTablePort::process(10, 1, "some-long-daemon");
    p.path = std::string("/opt/\xff\xfe/bin");
    h.port->processes = {p};
    auto r = h.sampler.sampleNow()[0];
    EXPECT_EQ(r.executablePath, std::nullopt);
    EXPECT_EQ(r.name, "some-long-daemon");
}

TEST(ProcessSampler, InvalidUtf8InTheCommandNameBecomesReplacementCharacters) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(10, 1, std::string("ab\xff" "c"))};
    EXPECT_EQ(h.sampler.sampleNow()[0].name, "ab\xEF\xBF\xBD" "c");
}

TEST(ProcessSampler, SkippedPidIsPresentIncompleteWithZerosAndNotRefused) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(10, 1, "a"), FakeProcessTablePort::process(11, 1, "b")};
    auto readings = h.sampler.sampleNow({10});
    ASSERT_EQ(readings.size(), 2u);
    const auto* skipped = find(readings, 10);
    ASSERT_NE(skipped, nullptr);
    EXPECT_FALSE(skipped->isComplete);
    EXPECT_EQ(skipped->cpuTime, Duration::zero());
    EXPECT_EQ(skipped->footprintBytes + skipped->diskReadBytes + skipped->diskWriteBytes + skipped->energyNJ +
                  skipped->wakeups, 0u);
    EXPECT_EQ(skipped->name, "a");
    EXPECT_TRUE(find(readings, 11)->isComplete);
    EXPECT_EQ(h.sampler.refusedCount(), 0u);
    ASSERT_EQ(h.port->usageCalls.size(), 1u);
    EXPECT_EQ(h.port->usageCalls[0].first, 11);
}

std::vector<FakeProcessTablePort::Process> population(int count, uint64_t start) {
    std::vector<FakeProcessTablePort::Process> out;
    for (int i = 0; i < count; ++i) out.push_back(FakeProcessTablePort::process(100 + i, start, "p"));
    return out;
}

TEST(ProcessSampler, NameCacheIsPrunedOnlyPastTwiceTheLivePopulation) {
    Harness h;
    // 2,100 instances seen once, then 1,000 of them still alive: pruned.
    h.port->processes = population(2100, 1);
    h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.cachedIdentityCount(), 2100u);
    h.port->processes.resize(1000);
    h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.cachedIdentityCount(), 1000u);
}

TEST(ProcessSampler, NameCacheUpToTwiceTheLivePopulationIsLeftAlone) {
    Harness h;
    h.port->processes = population(1900, 1);
    h.sampler.sampleNow();
    h.port->processes.resize(1000);
    h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.cachedIdentityCount(), 1900u);
}

TEST(ProcessSampler, RefusedSetIsPrunedOncePastTheLivePopulation) {
    Harness h;
    auto refusing = population(10, 1);
    for (auto& p : refusing) p.answer = ProcessOutcome::refused;
    h.port->processes = refusing;
    h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.refusedCount(), 10u);
    h.port->processes.resize(4);
    h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.refusedCount(), 4u);
}

TEST(ProcessSampler, EmptyTableIsAnEmptySample) {
    Harness h;
    EXPECT_TRUE(h.sampler.sampleNow().empty());
}

TEST(ProcessSampler, SampleRunsOnTheSamplingExecutor) {
    Harness h;
    h.port->processes = {FakeProcessTablePort::process(10, 1, "a")};
    auto readings = h.sampler.sample().get();
    EXPECT_EQ(readings.size(), 1u);
    auto skipped = h.sampler.sample({10}).get();
    EXPECT_FALSE(skipped[0].isComplete);
}


TEST(ProcessSampler, InstancesOfOneExecutableShareItsPath) {
    Harness h;
    auto workers = population(300, 1);
    for (size_t i = 0; i < workers.size(); ++i) {
        workers[i].path = i % 3 == 0 ? "/usr/sbin/nginx-with-a-long-enough-path" : "/usr/bin/php-fpm8.2-also-long";
    }
    workers.push_back(FakeProcessTablePort::process(9000, 1, "kworker"));  // no path
    h.port->processes = workers;
    auto readings = h.sampler.sampleNow();
    ASSERT_EQ(readings.size(), 301u);
    EXPECT_EQ(h.sampler.cachedIdentityCount(), 301u);
    EXPECT_EQ(h.sampler.sharedPathCount(), 2u);
    EXPECT_EQ(find(readings, 100)->executablePath, "/usr/sbin/nginx-with-a-long-enough-path");
    EXPECT_EQ(find(readings, 101)->executablePath, "/usr/bin/php-fpm8.2-also-long");
    EXPECT_EQ(find(readings, 9000)->executablePath, std::nullopt);
    // A second pass reads the same paths from the cache.
    EXPECT_EQ(h.sampler.sampleNow(), readings);
}

TEST(ProcessSampler, ASharedPathGoesWithTheLastInstanceHoldingIt) {
    Harness h;
    auto many = population(2100, 1);
    for (size_t i = 0; i < many.size(); ++i) many[i].path = i < 1000 ? "/usr/bin/kept" : "/usr/bin/departed";
    h.port->processes = many;
    h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.sharedPathCount(), 2u);
    h.port->processes.resize(1000);  // past twice the live population: pruned
    auto readings = h.sampler.sampleNow();
    EXPECT_EQ(h.sampler.cachedIdentityCount(), 1000u);
    EXPECT_EQ(h.sampler.sharedPathCount(), 1u);
    EXPECT_EQ(find(readings, 100)->executablePath, "/usr/bin/kept");
}

}  // namespace
}  // namespace orv
