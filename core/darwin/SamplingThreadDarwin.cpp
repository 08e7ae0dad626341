#include <pthread.h>
#include <pthread/qos.h>

#include "core/SamplingExecutor.h"

namespace orv {

void configureSamplingThread(const char* name) {
    pthread_setname_np(name);  // macOS names only the calling thread
    pthread_set_qos_class_self_np(QOS_CLASS_UTILITY, 0);
}

}  // namespace orv
