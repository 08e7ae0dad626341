#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/CountedDeviceCache.h"
#include "core/BlockCounters.h"
#include "core/Result.h"

namespace orv {

// The answers of the expensive per-volume query; each may be missing.
struct VolumeResourceValues {
    std::optional<bool> isLocal;
    std::optional<std::string> name;
    std::optional<std::string> uuid;
    std::optional<int64_t> totalCapacity;
    std::optional<int64_t> importantCapacity;  // macOS only: free capacity for important use
    std::optional<int64_t> availableCapacity;

    friend bool operator==(const VolumeResourceValues&, const VolumeResourceValues&) = default;
};

// The platform's reads for DiskSampler: IOKit, getfsstat and URL resource
// values on macOS; proc/diskstats, proc/self/mountinfo, statvfs and sysfs
// on Linux; fakes in tests.
class DiskPort {
public:
    virtual ~DiskPort() = default;

    // The cumulative bytes of every block device that counts, asking
    // `counted` about each device it reads (see CountedDeviceCache). The
    // sampler's primary read: throws SamplingError when the kernel's list
    // of devices cannot be had. A single device that cannot be read is
    // left out.
    virtual BlockCounterMap readBlockCounters(CountedDeviceCache<uint64_t>& counted) = 0;

    // The mount paths of the mounted volumes, hidden ones left out; the
    // error when the mount table cannot be read.
    virtual Result<std::vector<std::string>> listVolumes() = 0;

    // The expensive query, with any cached answers cleared first; absent
    // when the request fails.
    virtual std::optional<VolumeResourceValues> resourceValues(const std::string& path) = 0;

    // The cheap free count (blocks available to users × block size);
    // absent when the file system cannot be asked.
    virtual std::optional<uint64_t> freeBytes(const std::string& path) = 0;
};

// The platform's port. On Linux it reads below `root`; macOS ignores it.
std::unique_ptr<DiskPort> makeDiskPort(const std::filesystem::path& root = "/");

}  // namespace orv
