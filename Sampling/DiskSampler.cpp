#include "Sampling/DiskSampler.h"

#include <algorithm>
#include <unordered_set>

#include "Sampling/DiskMath.h"
#include "Sampling/VolumeNameOrder.h"

namespace orv {

namespace {

// A URL's last path component: "/" for the root, and a trailing slash
// does not make an empty name.
std::string lastPathComponent(const std::string& path) {
    std::string_view view = path;
    while (view.size() > 1 && view.back() == '/') view.remove_suffix(1);
    if (view == "/") return "/";
    auto slash = view.rfind('/');
    return std::string(slash == std::string_view::npos ? view : view.substr(slash + 1));
}

uint64_t nonNegative(int64_t value) { return value < 0 ? 0 : uint64_t(value); }

}  // namespace

DiskSampler::DiskSampler(std::unique_ptr<DiskPort> port, SamplingExecutor& executor, Clock clock)
    : port_(std::move(port)), executor_(executor), clock_(std::move(clock)) {}

std::future<DiskStats> DiskSampler::sample() {
    return executor_.run([this] { return sampleNow(); });
}

DiskStats DiskSampler::sampleNow() {
    confinement_.check();
    const auto now = clock_();
    counted_.beginPass();
    BlockCounterMap current = port_->readBlockCounters(counted_);
    counted_.endPass();

    const double seconds = previousAt_ ? (now - *previousAt_).toSeconds() : 0;
    auto [read, write] = DiskMath::rates(previousAt_ ? &previous_ : nullptr, current, seconds);
    previous_ = std::move(current);
    previousAt_ = now;

    return DiskStats{volumes(now), read, write};
}

std::vector<VolumeStats> DiskSampler::volumes(ContinuousClock::Instant now) {
    if (!volumesListedAt_ || now - *volumesListedAt_ >= listingLifetime) {
        // A failed listing keeps the last one and is tried again next time.
        if (auto listed = port_->listVolumes()) {
            volumePaths_ = std::move(*listed);
            volumesListedAt_ = now;
            std::unordered_set<std::string> paths(volumePaths_.begin(), volumePaths_.end());
            std::erase_if(baselines_, [&](const auto& entry) { return !paths.count(entry.first); });
        }
    }

    std::vector<VolumeStats> volumes;
    std::optional<std::string> rootID;
    for (const auto& path : volumePaths_) {
        auto stats = volume(path, now);
        if (!stats) continue;
        if (path == "/") rootID = stats->id;
        volumes.push_back(std::move(*stats));
    }
    std::stable_sort(volumes.begin(), volumes.end(), [&](const VolumeStats& a, const VolumeStats& b) {
        const bool aIsRoot = rootID && a.id == *rootID;
        const bool bIsRoot = rootID && b.id == *rootID;
        if (aIsRoot != bIsRoot) return aIsRoot;
        return VolumeNameOrder::less(a.name, b.name);
    });
    return volumes;
}

std::optional<VolumeStats> DiskSampler::volume(const std::string& path, ContinuousClock::Instant now) {
    confinement_.check();
    if (auto found = baselines_.find(path); found != baselines_.end() && now - found->second.readAt < baselineLifetime) {
        const VolumeBaseline& baseline = found->second;
        const uint64_t free = DiskMath::freeSpace(baseline.importantFree, baseline.availableFree,
                                                  port_->freeBytes(path), baseline.totalBytes);
        return VolumeStats{baseline.id, baseline.name, baseline.totalBytes, free};
    }

    auto values = port_->resourceValues(path);
    if (!values || !values->isLocal.value_or(false) || !values->totalCapacity) {
        baselines_.erase(path);
        return std::nullopt;
    }
    VolumeBaseline baseline;
    baseline.id = values->uuid.value_or(path);
    baseline.name = values->name.value_or(lastPathComponent(path));
    baseline.totalBytes = nonNegative(*values->totalCapacity);
    if (values->importantCapacity) baseline.importantFree = nonNegative(*values->importantCapacity);
    if (auto free = port_->freeBytes(path)) baseline.availableFree = *free;
    else if (values->availableCapacity) baseline.availableFree = nonNegative(*values->availableCapacity);
    baseline.readAt = now;

    const uint64_t free = DiskMath::baselineFreeSpace(baseline.importantFree, baseline.availableFree);
    VolumeStats stats{baseline.id, baseline.name, baseline.totalBytes, free};
    baselines_.insert_or_assign(path, std::move(baseline));
    return stats;
}

}  // namespace orv
