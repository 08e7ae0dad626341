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
    // A busy counter that only means something against its own clock
    // (xe's "drm-cycles-<engine>" against "drm-total-cycles-<engine>").
    struct Cycles {
        uint64_t busy = 0;
        uint64_t total = 0;
        friend bool operator==(const Cycles&, const Cycles&) = default;
    };

    std::string driver;                   // "drm-driver"
    std::string device;                   // "drm-pdev", the PCI address
    std::optional<uint64_t> clientID;     // "drm-client-id"
    // "drm-engine-<name>" by engine name; "drm-engine-capacity-*" counts
    // engines, not time, and is not among them.
    std::map<std::string, uint64_t, std::less<>> engineNanoseconds;
    std::map<std::string, Cycles, std::less<>> engineCycles;

    // A descriptor's fdinfo text. Absent when it is not a DRM client's (no
    // "drm-driver").
    static std::optional<DRMClientUsage> decode(std::string_view text);

    // The engines that do a GPU's own work: 3D ("render" on i915, "rcs" on
    // xe, "gfx" on amdgpu) and compute ("compute", "ccs"). Copy, video and
    // display engines run beside them and would count the same wall time
    // twice.
    static bool isWorkEngine(std::string_view name);

    // The client's GPU time: its busiest work engine, so that busy time
    // never exceeds wall time. A driver that names no work engine (one
    // engine called "gpu", or a tiler and a fragment engine) gets its
    // busiest engine of any name.
    uint64_t busyNanoseconds() const;

    friend bool operator==(const DRMClientUsage&, const DRMClientUsage&) = default;
};

// Per-process GPU time from the DRM clients seen in one walk. A client open
// in several descriptors or processes (dup, fork, SCM_RIGHTS) is counted
// once, for the first process it is seen in. With a device given, clients
// of other GPUs (an integrated one beside the card whose load is reported)
// are left out.
class DRMClientTally {
public:
    explicit DRMClientTally(std::optional<std::string> device = std::nullopt) : device_(std::move(device)) {}

    // False when the client was left out (another device, or seen before).
    bool add(int32_t pid, const DRMClientUsage& usage);
    const std::map<int32_t, uint64_t>& totals() const { return totals_; }

private:
    std::optional<std::string> device_;
    std::set<std::pair<std::string, uint64_t>> seen_;
    std::map<int32_t, uint64_t> totals_;
};

}  // namespace orv
