#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Sampling/CountedDeviceCache.h"
#include "Sampling/DiskPort.h"
#include "core/ContinuousClock.h"
#include "core/DiskSource.h"
#include "core/DiskStats.h"
#include "core/Duration.h"
#include "core/SamplingExecutor.h"
#include "core/ThreadConfinement.h"

namespace orv {

// Disk read and write throughput since the previous call, and every local
// volume's capacity. Listing the volumes and asking for their capacity are
// the expensive parts: the list is refreshed at most every 30 seconds and a
// volume's capacity figures at most every 30 minutes, with the cheap
// file-system free count carrying the free space in between. Confined to
// the sampling executor like the other samplers.
//
// The block counters are the primary read: when the port cannot read them
// the sample throws SamplingError and nothing changes, so the next sample
// measures from the last good one (a throughput of 0 would be a claim).
// The volume listing is not: a mount table that could not be read says
// nothing about which volumes went away, so the volumes last listed stay
// listed and the listing is tried again at the next sample.
class DiskSampler : public DiskSource {
public:
    using Clock = std::function<ContinuousClock::Instant()>;

    static constexpr Duration listingLifetime = Duration::seconds(30);
    static constexpr Duration baselineLifetime = Duration::seconds(1800);

    // The last expensive reading of one volume.
    struct VolumeBaseline {
        std::string id;
        std::string name;
        uint64_t totalBytes = 0;
        std::optional<uint64_t> importantFree;
        std::optional<uint64_t> availableFree;
        ContinuousClock::Instant readAt;
    };

    explicit DiskSampler(std::unique_ptr<DiskPort> port = makeDiskPort(),
                         SamplingExecutor& executor = SamplingExecutor::shared(),
                         Clock clock = &ContinuousClock::now);

    // Throws (through the future) SamplingError when the block counters
    // cannot be read.
    std::future<DiskStats> sample() override;

    // The sample itself; call only on the executor (or on a sampler no
    // other thread can reach, as tests do). A failure changes nothing; a
    // call from another thread than the first throws std::logic_error.
    DiskStats sampleNow();

    const std::unordered_map<std::string, VolumeBaseline>& baselines() const { return baselines_; }
    const CountedDeviceCache<uint64_t>& countedDevices() const { return counted_; }

private:
    std::vector<VolumeStats> volumes(ContinuousClock::Instant now);
    std::optional<VolumeStats> volume(const std::string& path, ContinuousClock::Instant now);

    std::unique_ptr<DiskPort> port_;
    SamplingExecutor& executor_;
    Clock clock_;
    std::vector<std::string> volumePaths_;
    std::optional<ContinuousClock::Instant> volumesListedAt_;
    std::unordered_map<std::string, VolumeBaseline> baselines_;
    BlockCounterMap previous_;
    std::optional<ContinuousClock::Instant> previousAt_;
    CountedDeviceCache<uint64_t> counted_;
    ThreadConfinement confinement_{"DiskSampler"};
};

}  // namespace orv
