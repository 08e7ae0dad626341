#pragma once

#include <string_view>

namespace orv::cli {

// The release this command belongs to, as `orvantine --version` prints it.
// It is the project's version in the top CMakeLists.txt; a test keeps the
// two equal.
inline constexpr std::string_view version = "0.9.0";

}  // namespace orv::cli
