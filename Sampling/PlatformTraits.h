#pragma once

#include "core/Duration.h"

namespace orv::PlatformTraits {

// Time since the machine booted, sleep included: CLOCK_BOOTTIME on Linux,
// the wall clock minus kern.boottime on macOS.
Duration uptime();

// Whether the kernel bills energy to each process. macOS does; Linux has no
// such counter, so a process's power there is unknown, not zero.
bool measuresProcessEnergy();

}  // namespace orv::PlatformTraits
