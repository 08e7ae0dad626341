#include <sys/socket.h>
#include <time.h>

#include "Sampling/PlatformTraits.h"

namespace orv::PlatformTraits {

Duration uptime() {
    timespec now{};
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) return Duration::zero();
    return Duration::seconds(now.tv_sec) + Duration::nanoseconds(now.tv_nsec);
}

bool measuresProcessEnergy() { return false; }

ssize_t sendWithoutSignal(int socket, const void* bytes, size_t size) {
    return ::send(socket, bytes, size, MSG_NOSIGNAL);
}

}  // namespace orv::PlatformTraits
