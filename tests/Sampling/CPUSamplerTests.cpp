#include <gtest/gtest.h>

#include "Sampling/CPUSampler.h"
#include "core/SamplingError.h"

namespace orv {
namespace {

struct FakeCPUPortState {
    std::vector<std::vector<CPUTicks>> ticks;  // one element per read
    size_t reads = 0;
    std::optional<SamplingError> failNext;
    std::optional<LoadAverage> load;
    int topologyReads = 0;
};

class FakeCPUPort : public CPUPort {
public:
    explicit FakeCPUPort(std::shared_ptr<FakeCPUPortState> state) : state_(std::move(state)) {}
    std::vector<CPUTicks> readTicks() override {
        if (state_->failNext) {
            auto error = *state_->failNext;
            state_->failNext.reset();
            throw error;
        }
        return state_->ticks.at(state_->reads++);
    }
    CPUTopology readTopology() override {
        ++state_->topologyReads;
        return CPUTopology{{{"CPU", 0, {0, 1}}}};
    }
    std::optional<LoadAverage> readLoadAverage() override { return state_->load; }

private:
    std::shared_ptr<FakeCPUPortState> state_;
};

TEST(CPUSampler, WorksOutTheTopologyOnceAtConstruction) {
    auto state = std::make_shared<FakeCPUPortState>();
    CPUSampler sampler(std::make_unique<FakeCPUPort>(state));
    EXPECT_EQ(state->topologyReads, 1);
    EXPECT_EQ(sampler.topology().levels.size(), 1u);
}

TEST(CPUSampler, MeasuresFromThePreviousSample) {
    auto state = std::make_shared<FakeCPUPortState>();
    state->ticks = {{{100, 0, 100, 0}, {0, 0, 200, 0}}, {{150, 0, 150, 0}, {0, 100, 300, 0}}};
    CPUSampler sampler(std::make_unique<FakeCPUPort>(state));
    auto first = sampler.sampleNow();
    EXPECT_DOUBLE_EQ(first.perCorePercent[0], 50);  // since boot
    auto second = sampler.sampleNow();
    EXPECT_DOUBLE_EQ(second.perCorePercent[0], 50);
    EXPECT_DOUBLE_EQ(second.perCorePercent[1], 50);
    EXPECT_DOUBLE_EQ(second.systemPercent, 25);
    EXPECT_DOUBLE_EQ(second.clusters[0].percent, 50);
}

TEST(CPUSampler, FailedReadThrowsAndKeepsThePreviousTicks) {
    auto state = std::make_shared<FakeCPUPortState>();
    state->ticks = {{{100, 0, 100, 0}}, {{300, 0, 100, 0}}};
    CPUSampler sampler(std::make_unique<FakeCPUPort>(state));
    sampler.sampleNow();
    state->failNext = SamplingError::kernel(5);
    EXPECT_THROW(sampler.sampleNow(), SamplingError);
    // Measured from the last good sample: 200 user ticks, no idle.
    EXPECT_DOUBLE_EQ(sampler.sampleNow().perCorePercent[0], 100);
}

TEST(CPUSampler, UnavailableLoadAverageIsZero) {
    auto state = std::make_shared<FakeCPUPortState>();
    state->ticks = {{{1, 1, 1, 1}}};
    CPUSampler sampler(std::make_unique<FakeCPUPort>(state));
    EXPECT_EQ(sampler.sampleNow().loadAverage, LoadAverage::zero());
}

TEST(CPUSampler, SampleRunsOnTheExecutorAndCarriesErrors) {
    auto state = std::make_shared<FakeCPUPortState>();
    state->ticks = {{{1, 1, 1, 1}}};
    state->load = LoadAverage{0.5, 0.25, 0.125};
    CPUSampler sampler(std::make_unique<FakeCPUPort>(state));
    EXPECT_EQ(sampler.sample().get().loadAverage, (LoadAverage{0.5, 0.25, 0.125}));
    state->failNext = SamplingError::kernel(-1);
    EXPECT_THROW(sampler.sample().get(), SamplingError);
}

}  // namespace
}  // namespace orv
