#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <span>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/DRMFdinfo.h"

namespace orv {

// The DRM clients below <root>/proc, from the fdinfo of every descriptor
// that leads into /dev/dri. Walking every process's descriptors is the
// dearest read of a pass, so descriptors are told apart by their link
// first (one readlink) and only those leading into /dev/dri are opened.
namespace DRMClientScan {

struct Client {
    int32_t pid = 0;
    DRMClientUsage usage;
};

// True when <root>/sys/class/drm has a render node: without one no process
// can hold a DRM client worth walking for.
bool hasRenderDevice(const std::filesystem::path& root);

// Every client descriptor, in ascending pid order (a client shared by a
// parent and its children is met first in the parent).
std::vector<Client> clients(const std::filesystem::path& root);

// Per-process GPU time (DRMClientTally) of the clients of `device` (a
// "drm-pdev" address), or of every device when none is given.
std::map<int32_t, uint64_t> processNanoseconds(std::span<const Client> clients,
                                               const std::optional<std::string>& device);
std::map<int32_t, uint64_t> processNanoseconds(const std::filesystem::path& root,
                                               const std::optional<std::string>& device = std::nullopt);

}  // namespace DRMClientScan

}  // namespace orv
