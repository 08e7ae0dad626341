#pragma once

#include <string_view>

namespace orv::cli {

// The release this command belongs to, as `orvantine --version` prints it:
// the project's version, which the build passes in.
inline constexpr std::string_view version = ORVANTINE_VERSION;

}  // namespace orv::cli
