#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace orv {

// The GPU usage a DRM client file descriptor reports in its fdinfo, as the
// kernel's Documentation/gpu/drm-usage-stats.rst defines the keys.
struct DRMClientUsage {
    std::string driver;                   // "drm-driver"
    std::string device;                   // "drm-pdev", the PCI address
    std::optional<uint64_t> clientID;     // "drm-client-id"
    uint64_t engineNanoseconds = 0;       // "drm-engine-<name>" summed over engines

    // A descriptor's fdinfo text. Absent when it is not a DRM client's (no
    // "drm-driver"). "drm-engine-capacity-*" counts engines, not time, and
    // is not summed.
    static std::optional<DRMClientUsage> decode(std::string_view text);
};

// Per-process GPU time from the DRM clients seen in one walk. A client open
// in several descriptors or processes (dup, fork, SCM_RIGHTS) is counted
// once, for the first process it is seen in.
class DRMClientTally {
public:
    void add(int32_t pid, const DRMClientUsage& usage);
    const std::map<int32_t, uint64_t>& totals() const { return totals_; }

private:
    std::set<std::pair<std::string, uint64_t>> seen_;
    std::map<int32_t, uint64_t> totals_;
};

}  // namespace orv
