#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/GPUStats.h"
#include "core/PropertyValue.h"

namespace orv {

// GPU figures from an accelerator's registry dictionaries: its
// "PerformanceStatistics" and the property dictionaries of its user
// clients (on Linux, the same shapes built from sysfs, NVML and DRM fdinfo).
namespace GPUMath {

inline constexpr const char* utilizationKey = "Device Utilization %";
inline constexpr const char* memoryInUseKey = "In use system memory";
inline constexpr const char* creatorKey = "IOUserClientCreator";
inline constexpr const char* appUsageKey = "AppUsage";
inline constexpr const char* accumulatedTimeKey = "accumulatedGPUTime";

// Absent without "Device Utilization %".
std::optional<GPUStats> stats(const PropertyValue& performanceStatistics, std::string name);

// The pid of a creator string such as "pid 812, Safari".
std::optional<int32_t> pidFromCreator(std::string_view creator);

// The summed "accumulatedGPUTime" of an "AppUsage" list; absent when the
// value is not a list of dictionaries.
std::optional<uint64_t> appUsageTotal(const PropertyValue& appUsage);

// Accumulated GPU time per pid; a process with several clients gets their sum.
std::map<int32_t, uint64_t> processGPUTimes(std::span<const PropertyValue> userClients);

}  // namespace GPUMath

}  // namespace orv
