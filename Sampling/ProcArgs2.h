#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv {

// macOS's sysctl KERN_PROCARGS2 buffer: argc (a native int), the executable
// path, NUL padding, then argc NUL-ended arguments (the environment after
// them is not read).
struct ProcArgs2 {
    // The arguments; absent when the buffer is shorter than argc says.
    static std::optional<std::vector<std::string>> decode(std::span<const uint8_t> bytes);
};

}  // namespace orv
