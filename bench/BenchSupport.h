#pragma once

// Small pieces the benchmark programs share.

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace orv::bench {

// Starts `count` children that sleep until killed, to measure a pass at the
// scale of a busy machine; stops early if fork fails. With `threads` above
// one each child sleeps in that many threads, as most desktop programs do.
inline std::vector<pid_t> startIdleChildren(size_t count, size_t threads = 1) {
    std::vector<pid_t> children;
    for (size_t i = 0; i < count; ++i) {
        pid_t child = fork();
        if (child == 0) {
            for (size_t t = 1; t < threads; ++t) {
                pthread_t thread;
                pthread_attr_t small;
                pthread_attr_init(&small);
                pthread_attr_setstacksize(&small, 64 * 1024);
                pthread_create(&thread, &small, [](void*) -> void* { for (;;) pause(); }, nullptr);
            }
            for (;;) pause();
        }
        if (child < 0) break;
        children.push_back(child);
    }
    return children;
}

inline void stopChildren(std::vector<pid_t>& children) {
    for (pid_t child : children) kill(child, SIGKILL);
    for (pid_t child : children) waitpid(child, nullptr, 0);
    children.clear();
}

inline double median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace orv::bench
