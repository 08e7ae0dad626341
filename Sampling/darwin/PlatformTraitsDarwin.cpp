#include <sys/socket.h>
#include <sys/sysctl.h>
#include <sys/time.h>

#include "Sampling/PlatformTraits.h"

namespace orv::PlatformTraits {

Duration uptime() {
    // kern.boottime is the wall-clock instant of boot, adjusted by the
    // kernel when the clock is set, so the difference stays the uptime.
    timeval boot{};
    size_t size = sizeof(boot);
    int name[2] = {CTL_KERN, KERN_BOOTTIME};
    if (sysctl(name, 2, &boot, &size, nullptr, 0) != 0 || size != sizeof(boot)) return Duration::zero();
    timeval now{};
    gettimeofday(&now, nullptr);
    int64_t micros = (int64_t(now.tv_sec) - boot.tv_sec) * 1'000'000 + (int64_t(now.tv_usec) - boot.tv_usec);
    return micros > 0 ? Duration::nanoseconds(micros * 1000) : Duration::zero();
}

bool measuresProcessEnergy() { return true; }

ssize_t sendWithoutSignal(int socket, const void* bytes, size_t size) {
    int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
    return ::send(socket, bytes, size, 0);
}

}  // namespace orv::PlatformTraits
