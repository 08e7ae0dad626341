#include <gtest/gtest.h>

#include <thread>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Sampling/DiskMath.h"
#include "Sampling/DiskSampler.h"
#include "Sampling/VolumeNameOrder.h"
#include "core/JsonCoding.h"
#include "core/SamplingError.h"

namespace orv {
namespace {

constexpr uint64_t GB = 1'000'000'000;

TEST(DiskMath, CheapFreeMovesTheImportantFigureByTheSameAmount) {
    EXPECT_EQ(DiskMath::freeSpace(50 * GB, 40 * GB, 38 * GB, 500 * GB), 48 * GB);
}

TEST(DiskMath, AdjustedSumOfZeroOrLessIsZero) {
    EXPECT_EQ(DiskMath::freeSpace(5 * GB, 40 * GB, 35 * GB, 500 * GB), 0u);
    EXPECT_EQ(DiskMath::freeSpace(5 * GB, 40 * GB, 1 * GB, 500 * GB), 0u);
}

TEST(DiskMath, AdjustedSumAboveTheTotalIsTheTotal) {
    EXPECT_EQ(DiskMath::freeSpace(90 * GB, 40 * GB, 60 * GB, 100 * GB), 100 * GB);
}

TEST(DiskMath, WithoutImportantFigureTheCheapCountDecides) {
    EXPECT_EQ(DiskMath::freeSpace(std::nullopt, 40 * GB, 38 * GB, 500 * GB), 38 * GB);
    EXPECT_EQ(DiskMath::freeSpace(std::nullopt, 40 * GB, std::nullopt, 500 * GB), 40 * GB);
    EXPECT_EQ(DiskMath::freeSpace(std::nullopt, std::nullopt, std::nullopt, 500 * GB), 0u);
    EXPECT_EQ(DiskMath::freeSpace(std::nullopt, 40 * GB, 900 * GB, 500 * GB), 500 * GB);
}

TEST(DiskMath, ImportantFigureAloneIsCappedAtTheTotal) {
    EXPECT_EQ(DiskMath::freeSpace(50 * GB, std::nullopt, 38 * GB, 500 * GB), 50 * GB);
    EXPECT_EQ(DiskMath::freeSpace(600 * GB, 40 * GB, std::nullopt, 500 * GB), 500 * GB);
}

TEST(DiskMath, HugeInputsAreCappedNotOverflowed) {
    EXPECT_EQ(DiskMath::freeSpace(UINT64_MAX, 0, UINT64_MAX, UINT64_MAX), uint64_t(INT64_MAX) * 2);
}

TEST(VolumeNameOrder, CaseInsensitiveWithNumbersByValue) {
    EXPECT_TRUE(VolumeNameOrder::less("Disk 2", "disk 10"));
    EXPECT_FALSE(VolumeNameOrder::less("disk 10", "Disk 2"));
    EXPECT_TRUE(VolumeNameOrder::less("alpha", "Beta"));
    EXPECT_FALSE(VolumeNameOrder::less("Data", "data"));
}

TEST(VolumeNameOrder, DigitRunsByValueAndLeadingZerosIgnored) {
    EXPECT_FALSE(VolumeNameOrder::less("Disk 02", "Disk 2"));
    EXPECT_FALSE(VolumeNameOrder::less("Disk 2", "Disk 02"));
    EXPECT_TRUE(VolumeNameOrder::less("Disk 9 part 10", "Disk 9 part 11"));
    EXPECT_TRUE(VolumeNameOrder::less("2024", "10000"));
    EXPECT_TRUE(VolumeNameOrder::less("Backup", "backup 2"));
    EXPECT_FALSE(VolumeNameOrder::less("backup 2", "Backup"));
}

TEST(VolumeNameOrder, CaseFoldsBeyondASCII) {
    EXPECT_FALSE(VolumeNameOrder::less("\u00C4PFEL", "\u00E4pfel"));
    EXPECT_FALSE(VolumeNameOrder::less("\u00E4pfel", "\u00C4PFEL"));
}

TEST(VolumeNameOrder, SortsAListAsAFileBrowserDoes) {
    std::vector<std::string> names{"disk 10", "Disk 2", "alpha", "Beta", "Disk 1"};
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) { return VolumeNameOrder::less(a, b); });
    EXPECT_EQ(names, (std::vector<std::string>{"alpha", "Beta", "Disk 1", "Disk 2", "disk 10"}));
}

TEST(VolumeNameOrder, BrokenUTF8IsOrderedNotFatal) {
    std::string broken = "USB \xff\xfe 3";
    std::string cut = "USB \xe2\x82";
    EXPECT_FALSE(VolumeNameOrder::less(broken, broken));
    EXPECT_FALSE(VolumeNameOrder::less(broken, cut) && VolumeNameOrder::less(cut, broken));
    EXPECT_TRUE(VolumeNameOrder::less("USB", broken));
}

struct FakeDriver {
    uint64_t id;
    bool isImage = false;
    std::optional<BlockCounters> counters;  // absent: the statistics cannot be read
};

struct FakeDiskState {
    std::vector<FakeDriver> drivers;
    int imageProbes = 0;
    std::vector<std::string> volumes;
    std::map<std::string, std::optional<VolumeResourceValues>> values;
    std::map<std::string, std::optional<uint64_t>> free;
    int listings = 0;
    std::map<std::string, int> expensiveReads;
    int64_t nowSeconds = 0;
    std::optional<SamplingError> countersFail;  // the next counter read throws this
    std::optional<int> listingFails;            // the listing fails with this errno
};

class FakeDiskPort : public DiskPort {
public:
    explicit FakeDiskPort(std::shared_ptr<FakeDiskState> s) : s_(std::move(s)) {}
    BlockCounterMap readBlockCounters(CountedDeviceCache<uint64_t>& counted) override {
        if (s_->countersFail) {
            auto error = *s_->countersFail;
            s_->countersFail.reset();
            throw error;
        }
        BlockCounterMap out;
        for (const auto& driver : s_->drivers) {
            bool counts = counted.counts(driver.id, [&] {
                ++s_->imageProbes;
                return !driver.isImage;
            });
            if (!counts || !driver.counters) continue;
            out[driver.id] = *driver.counters;
        }
        return out;
    }
    Result<std::vector<std::string>> listVolumes() override {
        ++s_->listings;
        if (s_->listingFails) return errorFrom(*s_->listingFails);
        return s_->volumes;
    }
    std::optional<VolumeResourceValues> resourceValues(const std::string& path) override {
        ++s_->expensiveReads[path];
        auto found = s_->values.find(path);
        return found == s_->values.end() ? std::nullopt : found->second;
    }
    std::optional<uint64_t> freeBytes(const std::string& path) override {
        auto found = s_->free.find(path);
        return found == s_->free.end() ? std::nullopt : found->second;
    }

private:
    std::shared_ptr<FakeDiskState> s_;
};

std::pair<std::shared_ptr<FakeDiskState>, std::unique_ptr<DiskSampler>> makeSampler() {
    auto state = std::make_shared<FakeDiskState>();
    auto sampler = std::make_unique<DiskSampler>(std::make_unique<FakeDiskPort>(state), SamplingExecutor::shared(),
                                                 [state] { return ContinuousClock::Instant{state->nowSeconds * 1'000'000'000}; });
    return {state, std::move(sampler)};
}

VolumeResourceValues local(std::string name, std::optional<std::string> uuid, int64_t total,
                           std::optional<int64_t> important, int64_t available) {
    return VolumeResourceValues{true, std::move(name), std::move(uuid), total, important, available};
}

TEST(DiskSampler, RefusesToRunOffItsThread) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{1000, 2000}}};
    sampler->sampleNow();  // this thread owns it now
    std::exception_ptr thrown;
    std::thread other([&] {
        try {
            sampler->sampleNow();
        } catch (...) {
            thrown = std::current_exception();
        }
    });
    other.join();
    EXPECT_THROW(std::rethrow_exception(thrown), std::logic_error);
}

TEST(DiskSampler, FirstSampleHasZeroRatesThenMeasures) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{1000, 2000}}};
    auto first = sampler->sampleNow();
    EXPECT_EQ(first.readBPS, 0);
    EXPECT_EQ(first.writeBPS, 0);
    state->drivers = {{1, false, BlockCounters{5000, 2500}}};
    state->nowSeconds = 2;
    auto second = sampler->sampleNow();
    EXPECT_DOUBLE_EQ(second.readBPS, 2000);
    EXPECT_DOUBLE_EQ(second.writeBPS, 250);
}

TEST(DiskSampler, DiskImageContributesNothingAndItsAnswerIsCached) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{0, 0}}, {2, true, BlockCounters{0, 0}}};
    sampler->sampleNow();
    state->drivers = {{1, false, BlockCounters{100, 0}}, {2, true, BlockCounters{1'000'000, 0}}};
    state->nowSeconds = 1;
    EXPECT_DOUBLE_EQ(sampler->sampleNow().readBPS, 100);
    EXPECT_EQ(state->imageProbes, 2);  // once per driver, not per sample
    EXPECT_TRUE(sampler->countedDevices().contains(2));
}

TEST(DiskSampler, DiskImageAnswerIsForgottenWhenTheDriverDisappears) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{}}, {2, true, BlockCounters{}}};
    sampler->sampleNow();
    state->drivers = {{1, false, BlockCounters{}}};
    sampler->sampleNow();
    EXPECT_FALSE(sampler->countedDevices().contains(2));
    EXPECT_EQ(sampler->countedDevices().size(), 1u);
}

TEST(DiskSampler, FailedCounterReadThrowsAndChangesNothing) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{1000, 0}}};
    sampler->sampleNow();
    state->countersFail = SamplingError::fileRead("/proc/diskstats", 5);
    state->nowSeconds = 1;
    EXPECT_THROW(sampler->sampleNow(), SamplingError);
    state->drivers = {{1, false, BlockCounters{1400, 0}}};
    state->nowSeconds = 2;
    EXPECT_DOUBLE_EQ(sampler->sampleNow().readBPS, 200);  // over both seconds since the last good sample
}

TEST(DiskSampler, FailedListingKeepsTheVolumesLastListedAndTriesAgainNextSample) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/"};
    state->values["/"] = local("root", "R", 10, std::nullopt, 1);
    sampler->sampleNow();
    state->listingFails = 5;
    state->nowSeconds = 30;
    EXPECT_EQ(sampler->sampleNow().volumes.size(), 1u);
    EXPECT_TRUE(sampler->baselines().count("/"));
    EXPECT_EQ(state->listings, 2);
    state->listingFails.reset();
    state->volumes = {};
    state->nowSeconds = 31;
    EXPECT_TRUE(sampler->sampleNow().volumes.empty());
    EXPECT_EQ(state->listings, 3);
}

TEST(DiskSampler, FailedFirstListingIsNoVolumesAndNoError) {
    auto [state, sampler] = makeSampler();
    state->listingFails = 2;
    state->drivers = {{1, false, BlockCounters{1, 1}}};
    EXPECT_TRUE(sampler->sampleNow().volumes.empty());
}

TEST(DiskMath, BaselineFreePrefersImportantThenAvailableAndIsNotClamped) {
    EXPECT_EQ(DiskMath::baselineFreeSpace(150, 40), 150u);
    EXPECT_EQ(DiskMath::baselineFreeSpace(std::nullopt, 40), 40u);
    EXPECT_EQ(DiskMath::baselineFreeSpace(std::nullopt, std::nullopt), 0u);
}

TEST(DiskSampler, DriverWithoutCountersContributesNothingNowOrNext) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{0, 0}}, {3, false, std::nullopt}};
    sampler->sampleNow();
    state->drivers = {{1, false, BlockCounters{0, 10}}, {3, false, BlockCounters{900, 900}}};
    state->nowSeconds = 1;
    EXPECT_DOUBLE_EQ(sampler->sampleNow().writeBPS, 10);
}

TEST(DiskSampler, RootVolumeComesFirstThenNames) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/Volumes/disk 10", "/Volumes/Disk 2", "/", "/Volumes/backup"};
    state->values["/"] = local("Macintosh HD", "ROOT-UUID", 1000, 500, 400);
    state->values["/Volumes/disk 10"] = local("disk 10", "A", 100, std::nullopt, 50);
    state->values["/Volumes/Disk 2"] = local("Disk 2", "B", 100, std::nullopt, 50);
    state->values["/Volumes/backup"] = local("backup", "C", 100, std::nullopt, 50);
    auto volumes = sampler->sampleNow().volumes;
    ASSERT_EQ(volumes.size(), 4u);
    EXPECT_EQ(volumes[0].name, "Macintosh HD");
    EXPECT_EQ(volumes[1].name, "backup");
    EXPECT_EQ(volumes[2].name, "Disk 2");
    EXPECT_EQ(volumes[3].name, "disk 10");
}

TEST(DiskSampler, WithoutARootVolumeOnlyNamesOrder) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/b", "/a"};
    state->values["/b"] = local("Zeta", std::nullopt, 10, std::nullopt, 1);
    state->values["/a"] = local("alpha", std::nullopt, 10, std::nullopt, 1);
    auto volumes = sampler->sampleNow().volumes;
    ASSERT_EQ(volumes.size(), 2u);
    EXPECT_EQ(volumes[0].name, "alpha");
    EXPECT_EQ(volumes[0].id, "/a");  // no UUID: the mount path
}

TEST(DiskSampler, NetworkVolumeIsNeverListed) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/", "/Volumes/share"};
    state->values["/"] = local("root", "R", 10, std::nullopt, 1);
    auto share = local("share", "S", 10, std::nullopt, 1);
    share.isLocal = false;
    state->values["/Volumes/share"] = share;
    auto volumes = sampler->sampleNow().volumes;
    ASSERT_EQ(volumes.size(), 1u);
    EXPECT_EQ(volumes[0].name, "root");
    EXPECT_FALSE(sampler->baselines().count("/Volumes/share"));
}

TEST(DiskSampler, VolumeWithoutLocalityOrCapacityIsLeftOut) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/x", "/y", "/z"};
    auto unknownLocality = local("x", std::nullopt, 10, std::nullopt, 1);
    unknownLocality.isLocal.reset();
    state->values["/x"] = unknownLocality;
    auto noCapacity = local("y", std::nullopt, 10, std::nullopt, 1);
    noCapacity.totalCapacity.reset();
    state->values["/y"] = noCapacity;
    state->values["/z"] = std::nullopt;  // the request failed
    EXPECT_TRUE(sampler->sampleNow().volumes.empty());
}

TEST(DiskSampler, NamesFallBackToTheLastPathComponent) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/", "/mnt/data/"};
    auto root = local("", std::nullopt, 10, std::nullopt, 1);
    root.name.reset();
    auto data = root;
    state->values["/"] = root;
    state->values["/mnt/data/"] = data;
    auto volumes = sampler->sampleNow().volumes;
    ASSERT_EQ(volumes.size(), 2u);
    EXPECT_EQ(volumes[0].name, "/");
    EXPECT_EQ(volumes[1].name, "data");
}

TEST(DiskSampler, ExpensiveReadingPrefersImportantFreeAndIsNotClamped) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/"};
    state->values["/"] = local("root", "R", 100, 150, 40);
    state->free["/"] = 45;
    auto volume = sampler->sampleNow().volumes.at(0);
    EXPECT_EQ(volume.freeBytes, 150u);
    EXPECT_EQ(sampler->baselines().at("/").availableFree, 45u);  // statfs before the resource value
}

TEST(DiskSampler, NegativeCapacitiesCountAsZero) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/"};
    state->values["/"] = local("root", "R", -5, -1, -1);
    auto volume = sampler->sampleNow().volumes.at(0);
    EXPECT_EQ(volume.totalBytes, 0u);
    EXPECT_EQ(volume.freeBytes, 0u);
}

TEST(DiskSampler, WithinThirtyMinutesTheBaselineAndCheapCountServe) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/"};
    state->values["/"] = local("root", "R", 500 * GB, 50 * GB, 40 * GB);
    state->free["/"] = 40 * GB;
    sampler->sampleNow();
    state->free["/"] = 38 * GB;
    state->nowSeconds = 1799;
    EXPECT_EQ(sampler->sampleNow().volumes.at(0).freeBytes, 48 * GB);
    EXPECT_EQ(state->expensiveReads["/"], 1);
    state->nowSeconds = 1800;
    sampler->sampleNow();
    EXPECT_EQ(state->expensiveReads["/"], 2);
}

TEST(DiskSampler, ListingLivesThirtySeconds) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/"};
    state->values["/"] = local("root", "R", 10, std::nullopt, 1);
    sampler->sampleNow();
    state->nowSeconds = 29;
    sampler->sampleNow();
    EXPECT_EQ(state->listings, 1);
    state->nowSeconds = 30;
    sampler->sampleNow();
    EXPECT_EQ(state->listings, 2);
}

TEST(DiskSampler, BaselineOfAVolumeThatLeftTheListIsDropped) {
    auto [state, sampler] = makeSampler();
    state->volumes = {"/", "/mnt/usb"};
    state->values["/"] = local("root", "R", 10, std::nullopt, 1);
    state->values["/mnt/usb"] = local("usb", "U", 10, std::nullopt, 1);
    sampler->sampleNow();
    EXPECT_TRUE(sampler->baselines().count("/mnt/usb"));
    state->volumes = {"/"};
    state->nowSeconds = 30;
    EXPECT_EQ(sampler->sampleNow().volumes.size(), 1u);
    EXPECT_FALSE(sampler->baselines().count("/mnt/usb"));
}

TEST(DiskSampler, SampleRunsOnTheExecutor) {
    auto [state, sampler] = makeSampler();
    state->drivers = {{1, false, BlockCounters{1, 1}}};
    EXPECT_EQ(sampler->sample().get().readBPS, 0);
}

TEST(DiskStats, EncodesWithFieldNames) {
    DiskStats stats{{VolumeStats{"U", "root", 10, 5}}, 1.5, 2};
    auto text = json::encode(stats);
    EXPECT_NE(text.find("\"volumes\":[{\"id\":\"U\",\"name\":\"root\",\"totalBytes\":10,\"freeBytes\":5}]"),
              std::string::npos);
    EXPECT_EQ(json::decode<DiskStats>(text), stats);
}

}  // namespace
}  // namespace orv
