#pragma once

#include <cstdint>
#include <filesystem>
#include <map>

namespace orv {

// Per-process GPU time from the fdinfo of every DRM client descriptor below
// <root>/proc. Walking every process's descriptors is the dearest read of a
// pass, so descriptors are told apart by their link first (one readlink)
// and only those leading into /dev/dri are opened.
namespace DRMClientScan {

// True when <root>/sys/class/drm has a render node: without one no process
// can hold a DRM client worth walking for.
bool hasRenderDevice(const std::filesystem::path& root);

std::map<int32_t, uint64_t> processNanoseconds(const std::filesystem::path& root);

}  // namespace DRMClientScan

}  // namespace orv
