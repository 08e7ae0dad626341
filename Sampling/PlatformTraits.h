#pragma once

#include <cstddef>
#include <sys/types.h>

#include "core/Duration.h"

namespace orv::PlatformTraits {

// Time since the machine booted, sleep included: CLOCK_BOOTTIME on Linux,
// the wall clock minus kern.boottime on macOS.
Duration uptime();

// Whether the kernel bills energy to each process. macOS does; Linux has no
// such counter, so a process's power there is unknown, not zero.
bool measuresProcessEnergy();

// send(2) on a stream socket without SIGPIPE when the peer has closed
// (EPIPE instead): MSG_NOSIGNAL on Linux, SO_NOSIGPIPE on macOS.
ssize_t sendWithoutSignal(int socket, const void* bytes, size_t size);

}  // namespace orv::PlatformTraits
