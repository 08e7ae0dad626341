#pragma once

#include <cstdint>
#include <string>

namespace orv::cli {

// Human-readable figures for the command's tables.
std::string formatBytes(uint64_t bytes);          // "512 B", "3.4 MiB"
std::string formatRate(double bytesPerSecond);    // "1.2 MiB/s"
std::string formatCPUTime(double seconds);        // "1:02:03.45" / "2:03.45" / "3.45"
std::string formatPercent(double percent);        // "12.3"
// The user's login name, or the number when the uid has none; cached.
std::string userName(uint32_t uid);
// Cuts `text` to `width` display columns (counting UTF-8 code points).
std::string fitWidth(const std::string& text, size_t width);

}  // namespace orv::cli
