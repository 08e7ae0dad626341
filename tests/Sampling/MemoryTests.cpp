#include <gtest/gtest.h>

#include "Sampling/MemoryMath.h"
#include "Sampling/MemorySampler.h"
#include "core/CapturingLogSink.h"
#include "core/JsonCoding.h"
#include "core/SamplingError.h"
#include "support/TestExecutor.h"

namespace orv {
namespace {

TEST(MemoryMath, ComputesEachCategoryInPages) {
    VMPageCounts pages{100, 20, 10, 50, 5};
    auto stats = MemoryMath::stats(pages, 4096, 1 << 30, 7, MemoryPressure::normal, 80);
    EXPECT_EQ(stats.appBytes, 95u * 4096);
    EXPECT_EQ(stats.wiredBytes, 20u * 4096);
    EXPECT_EQ(stats.compressedBytes, 10u * 4096);
    EXPECT_EQ(stats.cachedFilesBytes, 55u * 4096);
    EXPECT_EQ(stats.usedBytes, 125u * 4096);
    EXPECT_EQ(stats.totalBytes, 1u << 30);
    EXPECT_EQ(stats.swapUsedBytes, 7u);
    EXPECT_EQ(stats.availableLevel, 80);
}

TEST(MemoryMath, PurgeableAboveInternalGivesNoAppBytesButStillCountsAsCached) {
    auto stats = MemoryMath::stats(VMPageCounts{10, 0, 0, 5, 30}, 16384, 0, 0, MemoryPressure::normal, 100);
    EXPECT_EQ(stats.appBytes, 0u);
    EXPECT_EQ(stats.cachedFilesBytes, 35u * 16384);
}

TEST(MemoryMath, UsedIsNotClampedToTheTotal) {
    auto stats = MemoryMath::stats(VMPageCounts{1000, 0, 0, 0, 0}, 4096, 4096, 0, MemoryPressure::normal, 0);
    EXPECT_GT(stats.usedBytes, stats.totalBytes);
}

TEST(MemoryMath, KernelPressureLevels) {
    EXPECT_EQ(MemoryMath::pressureFromKernelLevel(2), MemoryPressure::warning);
    EXPECT_EQ(MemoryMath::pressureFromKernelLevel(4), MemoryPressure::critical);
    for (int64_t level : {0, 1, 3, -1, 99}) EXPECT_EQ(MemoryMath::pressureFromKernelLevel(level), MemoryPressure::normal);
}

TEST(MemoryMath, AvailableLevelIsClamped) {
    EXPECT_EQ(MemoryMath::clampLevel(-5), 0);
    EXPECT_EQ(MemoryMath::clampLevel(250), 100);
    EXPECT_EQ(MemoryMath::clampLevel(42), 42);
}

TEST(MemoryMath, LinuxAvailableLevelFromMemAvailable) {
    EXPECT_EQ(MemoryMath::availableLevel(uint64_t(250), 1000), 25);
    EXPECT_EQ(MemoryMath::availableLevel(uint64_t(5000), 1000), 100);
    EXPECT_EQ(MemoryMath::availableLevel(std::nullopt, 1000), 100);
}

TEST(MemoryMath, StallPressureLevels) {
    const uint64_t total = 1000, plenty = 500;
    EXPECT_EQ(MemoryMath::pressureFromStall(MemoryStall{0, 0}, plenty, total), MemoryPressure::normal);
    EXPECT_EQ(MemoryMath::pressureFromStall(MemoryStall{10, 0}, plenty, total), MemoryPressure::warning);
    EXPECT_EQ(MemoryMath::pressureFromStall(MemoryStall{9.99, 1.99}, plenty, total), MemoryPressure::normal);
    EXPECT_EQ(MemoryMath::pressureFromStall(MemoryStall{3, 2}, plenty, total), MemoryPressure::warning);
    EXPECT_EQ(MemoryMath::pressureFromStall(MemoryStall{50, 10}, plenty, total), MemoryPressure::critical);
}

TEST(MemoryMath, WithoutStallFileAvailabilityAloneDecides) {
    EXPECT_EQ(MemoryMath::pressureFromStall(std::nullopt, uint64_t(150), 1000), MemoryPressure::normal);
    EXPECT_EQ(MemoryMath::pressureFromStall(std::nullopt, uint64_t(149), 1000), MemoryPressure::warning);
    EXPECT_EQ(MemoryMath::pressureFromStall(std::nullopt, uint64_t(50), 1000), MemoryPressure::warning);
    EXPECT_EQ(MemoryMath::pressureFromStall(std::nullopt, uint64_t(49), 1000), MemoryPressure::critical);
}

TEST(MemoryStats, EncodesPressureAsItsText) {
    MemoryStats stats;
    stats.pressure = MemoryPressure::critical;
    auto text = json::encode(stats);
    EXPECT_NE(text.find("\"pressure\":\"critical\""), std::string::npos);
    EXPECT_EQ(json::decode<MemoryStats>(text), stats);
}

struct FakeMemoryState {
    std::optional<SamplingError> physicalError;
    std::optional<SamplingError> pagesError;
    std::optional<SamplingError> swapError;
    VMPageCounts pages{10, 10, 10, 10, 0};
    int64_t level = 50;
    int pageReads = 0, swapReads = 0;
};

class FakeMemoryPort : public MemoryPort {
public:
    explicit FakeMemoryPort(std::shared_ptr<FakeMemoryState> s) : s_(std::move(s)) {}
    uint64_t pageSize() override { return 16384; }
    Result<uint64_t, SamplingError> physicalMemory() override {
        if (s_->physicalError) return *s_->physicalError;
        return 8ull << 30;
    }
    uint64_t fallbackPhysicalMemory() override { return 4ull << 30; }
    VMPageCounts readPageCounts() override {
        ++s_->pageReads;
        if (s_->pagesError) throw *s_->pagesError;
        return s_->pages;
    }
    Result<uint64_t, SamplingError> readSwapUsed() override {
        ++s_->swapReads;
        if (s_->swapError) return *s_->swapError;
        return 1234;
    }
    MemoryPressure readPressure() override { return MemoryPressure::warning; }
    int64_t readAvailableLevel() override { return s_->level; }

private:
    std::shared_ptr<FakeMemoryState> s_;
};

TEST(MemorySampler, FixesPageSizeAndTotalAtConstruction) {
    auto state = std::make_shared<FakeMemoryState>();
    MemorySampler sampler(std::make_unique<FakeMemoryPort>(state));
    EXPECT_EQ(sampler.pageSize(), 16384u);
    auto stats = sampler.sampleNow();
    EXPECT_EQ(stats.totalBytes, 8ull << 30);
    EXPECT_EQ(stats.usedBytes, 30u * 16384);
    EXPECT_EQ(stats.swapUsedBytes, 1234u);
    EXPECT_EQ(stats.pressure, MemoryPressure::warning);
}

TEST(MemorySampler, FourByteMemsizeFallsBackWithTheLogLine) {
    ScopedLogCapture capture;
    auto state = std::make_shared<FakeMemoryState>();
    state->physicalError = SamplingError::sysctl("hw.memsize", 22);
    MemorySampler sampler(std::make_unique<FakeMemoryPort>(state));
    EXPECT_EQ(sampler.totalBytes(), 4ull << 30);
    auto entries = capture.sink().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].message, "hw.memsize unavailable, using ProcessInfo: sysctl(name: \"hw.memsize\", errno: 22)");
    EXPECT_EQ(entries[0].level, LogLevel::error);
    EXPECT_EQ(entries[0].category, "sampling");
}

TEST(MemorySampler, UnreadableSwapIsZeroWithTheLogLineAndTheSampleSucceeds) {
    ScopedLogCapture capture;
    auto state = std::make_shared<FakeMemoryState>();
    state->swapError = SamplingError::sysctl("vm.swapusage", 1);
    MemorySampler sampler(std::make_unique<FakeMemoryPort>(state));
    auto stats = sampler.sampleNow();
    EXPECT_EQ(stats.swapUsedBytes, 0u);
    EXPECT_EQ(stats.usedBytes, 30u * 16384);
    EXPECT_EQ(capture.messages(),
              std::vector<std::string>{"vm.swapusage unavailable: sysctl(name: \"vm.swapusage\", errno: 1)"});
}

TEST(MemorySampler, PageCountFailureThrowsAndReadsNothingElse) {
    auto state = std::make_shared<FakeMemoryState>();
    state->pagesError = SamplingError::kernel(5);
    MemorySampler sampler(std::make_unique<FakeMemoryPort>(state));
    EXPECT_THROW(sampler.sample().get(), SamplingError);
    EXPECT_EQ(state->swapReads, 0);
}

TEST(MemorySampler, RefusesToRunOffItsThread) {
    auto state = std::make_shared<FakeMemoryState>();
    MemorySampler sampler(std::make_unique<FakeMemoryPort>(state), test::testExecutor());
    sampler.sample().get();  // on the executor: it owns the sampler now
    EXPECT_THROW(sampler.sampleNow(), std::logic_error);
    EXPECT_NO_THROW(sampler.sample().get());
}

TEST(MemorySampler, ClampsTheAvailableLevel) {
    auto state = std::make_shared<FakeMemoryState>();
    state->level = -5;
    MemorySampler sampler(std::make_unique<FakeMemoryPort>(state));
    EXPECT_EQ(sampler.sampleNow().availableLevel, 0);
    state->level = 250;
    EXPECT_EQ(sampler.sampleNow().availableLevel, 100);
}

}  // namespace
}  // namespace orv
