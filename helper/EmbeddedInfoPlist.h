#pragma once

#include <cstdint>
#include <span>

namespace orv {

// The Info.plist bytes linked into the helper program. Each helper program
// links its own generated definition (the test-only helper's lacks the
// team identifier), so only program code may call this.
std::span<const uint8_t> embeddedInfoPlist();

}  // namespace orv
