#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/DiskImageCache.h"
#include "Sampling/DiskMath.h"

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

    // Every counted block device's cumulative bytes into `out` (cleared
    // first), asking `images` whether each device counts. Never throws: a
    // device that cannot be read is left out.
    virtual void readBlockCounters(DiskImageCache& images, BlockCounterMap& out) = 0;

    // The mount paths of the mounted volumes, hidden ones left out.
    virtual std::vector<std::string> listVolumes() = 0;

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
