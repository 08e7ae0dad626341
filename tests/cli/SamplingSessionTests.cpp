// The command's one composition root: every part a command asks for reads
// processes through the same source, local or the helper's client.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "Sampling/ProcessSampler.h"
#include "cli/SamplingSession.h"

namespace orv::cli {
namespace {

bool hasProcess(const std::vector<ProcessReading>& readings, int32_t pid) {
    return std::any_of(readings.begin(), readings.end(), [pid](const auto& r) { return r.pid == pid; });
}

TEST(SamplingSession, WithoutTheHelperAPassIsTheLocalOne) {
    SamplingSession session;
    auto pass = session.readProcesses();
    EXPECT_EQ(pass.origin, SamplingSession::Origin::local);
    EXPECT_TRUE(hasProcess(pass.readings, int32_t(getpid())));
}

TEST(SamplingSession, EveryPartSharesOneProcessSource) {
    SamplingSession session;
    auto source = session.processSource();
    EXPECT_EQ(session.processSource(), source);
    EXPECT_EQ(&session.processes(), source.get());
    EXPECT_EQ(session.machineParts().processes, source);
}

TEST(SamplingSession, WithTheHelperTheSourceIsTheHelpersClient) {
    SamplingSession local;
    SamplingSession helper({.helper = true});
    // The helper's client stands in front of a local sampler of its own.
    EXPECT_NE(dynamic_cast<ProcessSampler*>(local.processSource().get()), nullptr);
    EXPECT_EQ(dynamic_cast<ProcessSampler*>(helper.processSource().get()), nullptr);
    EXPECT_EQ(helper.machineParts().processes, helper.processSource());
}

TEST(SamplingSession, WithAHelperThatDoesNotAnswerAPassIsTheLocalOne) {
    if (std::filesystem::exists("/run/orvantine/helper.sock")) {
        GTEST_SKIP() << "a helper is installed here; this test needs one that does not answer";
    }
    SamplingSession session({.helper = true});
    auto pass = session.readProcesses();
    EXPECT_EQ(pass.origin, SamplingSession::Origin::local);
    EXPECT_TRUE(hasProcess(pass.readings, int32_t(getpid())));
}

TEST(SamplingSession, MachinePartsHaveEverySystemReader) {
    SamplingSession session;
    auto parts = session.machineParts();
    EXPECT_TRUE(parts.cpu);
    EXPECT_TRUE(parts.memory);
    EXPECT_TRUE(parts.disk);
    EXPECT_TRUE(parts.network);
    EXPECT_TRUE(parts.battery);
    EXPECT_TRUE(parts.thermal);
    EXPECT_TRUE(parts.sensors);
    EXPECT_TRUE(parts.uptime);
}

TEST(SamplingSession, BuildsSnapshotsOverItsParts) {
    SamplingSession session;
    auto builder = session.snapshotBuilder();
    auto snapshot = builder->build();
    EXPECT_TRUE(std::any_of(snapshot.processes.begin(), snapshot.processes.end(),
                            [](const auto& p) { return p.pid == int32_t(getpid()); }));
    EXPECT_GT(snapshot.system.uptime, Duration::zero());
}

}  // namespace
}  // namespace orv::cli
