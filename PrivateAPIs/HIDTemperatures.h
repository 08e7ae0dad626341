#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// Temperature sensors by name: the HID event system's sensors on macOS,
// reached through client functions looked up at run time; hwmon chips on
// Linux. Reads share no state and may run on any thread.
namespace HIDTemperatures {

using Readings = std::map<std::string, double, std::less<>>;

// macOS: the six event-system functions were found. Linux: the kernel
// has a hwmon class.
bool isAvailable();

// Sensors whose name begins with `prefix`, at most `limit` of them, the
// first sensor of a name winning; absent when the facility is unavailable.
std::optional<Readings> read(std::string_view prefix, int64_t limit);

// The selection rule both platforms share, over sensors listed in the
// platform's order. `nameAt` gives a sensor's name (absent: skipped);
// `valueAt` is asked only for sensors that are kept, since reading a value
// is the dear part (absent: skipped).
Readings select(size_t count, const std::function<std::optional<std::string>(size_t)>& nameAt,
                const std::function<std::optional<double>(size_t)>& valueAt, std::string_view prefix, int64_t limit);

}  // namespace HIDTemperatures

}  // namespace orv
