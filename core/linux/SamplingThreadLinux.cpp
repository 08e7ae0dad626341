#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "core/SamplingExecutor.h"

namespace orv {

void configureSamplingThread(const char* name) {
    // pthread_setname_np refuses (ERANGE) names over 15 bytes and leaves the
    // old one, so give it the first 15: "app.orvantine.s".
    std::string shortName(name, strnlen(name, 15));
    pthread_setname_np(pthread_self(), shortName.c_str());
    // Linux nice values are per thread; 5 is below interactive work and
    // above batch jobs, the nearest match to macOS's utility QoS.
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 5);
}

}  // namespace orv
