#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "core/SamplingExecutor.h"

namespace orv {
namespace {

SamplingExecutor& executor() {
    static auto* e = new SamplingExecutor();
    return *e;
}

TEST(SamplingThreadLinux, NameIsTheFirstFifteenBytesAsTheKernelReportsIt) {
    // Linux keeps 15 bytes of a thread name; the executor sets exactly those.
    auto name = executor().run([] {
        char buffer[32] = {};
        pthread_getname_np(pthread_self(), buffer, sizeof buffer);
        return std::string(buffer);
    }).get();
    EXPECT_EQ(name, "app.orvantine.s");
}

TEST(SamplingThreadLinux, RunsAtALowerPriority) {
    int nice = executor().run([] { return getpriority(PRIO_PROCESS, id_t(syscall(SYS_gettid))); }).get();
    EXPECT_EQ(nice, 5);
}

TEST(SamplingThreadLinux, IdleThreadSleepsWithoutUsingTheProcessor) {
    clockid_t clock{};
    pthread_t thread = executor().run([] { return pthread_self(); }).get();
    ASSERT_EQ(pthread_getcpuclockid(thread, &clock), 0);
    auto cpu = [clock] {
        timespec ts{};
        clock_gettime(clock, &ts);
        return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
    };
    double before = cpu();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(cpu() - before, 0.005);
}

}  // namespace
}  // namespace orv
