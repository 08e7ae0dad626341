// Rates of real processes on this machine, measured end to end: the local
// ProcessSampler over two passes, then ProcessMath.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Sampling/EnergyCoefficients.h"
#include "Sampling/ProcessMath.h"
#include "Sampling/ProcessSampler.h"
#include "core/ContinuousClock.h"

namespace orv {
namespace {

constexpr long tmpfsMagic = 0x01021994;  // linux/magic.h
constexpr long ramfsMagic = 0x858458f6;
constexpr size_t written = 64u << 20;

// A forked child, killed and reaped at the end of the scope.
class Child {
public:
    explicit Child(pid_t pid) : pid_(pid) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        int status = 0;
        waitpid(pid_, &status, 0);
    }
    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

struct Measured {
    ProcessSample sample;
    double seconds = 0;
};

// Pass one, `between` (which runs after it), then pass two once at least
// `interval` has gone by, then `after`; the child's sample of the second pass.
template <class Between, class After>
std::optional<Measured> measure(pid_t pid, std::chrono::milliseconds interval, Between between, After after) {
    ProcessSampler sampler;
    auto first = sampler.sample().get();
    auto firstAt = ContinuousClock::now();
    between();
    auto deadline = firstAt + Duration::milliseconds(interval.count());
    auto left = deadline - ContinuousClock::now();
    if (left > Duration::zero()) std::this_thread::sleep_for(std::chrono::nanoseconds(left.toNanoseconds()));
    auto second = sampler.sample().get();
    auto elapsed = ContinuousClock::now() - firstAt;
    after();

    ProcessMath::ReadingsByPID previous;
    for (const auto& r : first) previous.emplace(r.pid, r);
    int cores = int(std::thread::hardware_concurrency());
    auto samples = ProcessMath::samples(previous, second, {}, {}, {}, elapsed, Date::now(), cores,
                                        EnergyCoefficients::builtIn);
    for (const auto& s : samples) {
        if (s.pid == pid) return Measured{s, elapsed.toSeconds()};
    }
    return std::nullopt;
}

double cpuSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// A folder on a real disk, so that written bytes reach the block layer.
std::optional<std::filesystem::path> diskBackedDirectory() {
    for (std::filesystem::path candidate : {std::filesystem::path(ORVANTINE_BINARY_DIR), std::filesystem::current_path(),
                                            std::filesystem::path("/var/tmp")}) {
        struct statfs info {};
        if (statfs(candidate.c_str(), &info) != 0) continue;
        if (long(info.f_type) == tmpfsMagic || long(info.f_type) == ramfsMagic) continue;
        if (access(candidate.c_str(), W_OK) != 0) continue;
        return candidate;
    }
    return std::nullopt;
}

TEST(ProcessRatesLive, ChildBurningOneCoreReadsOneCoresShare) {
    int cores = int(std::thread::hardware_concurrency());
    ASSERT_GT(cores, 0);
    pid_t pid = fork();
    ASSERT_GE(pid, 0) << "fork failed";
    if (pid == 0) {
        // A session of its own is a scheduling group of its own where the
        // kernel groups by session, so a busy terminal's builds do not
        // share their group's slice with the burner.
        setsid();
        volatile uint64_t spin = 0;
        for (;;) spin = spin + 1;
    }
    Child child(pid);
    clockid_t childClock{};
    ASSERT_EQ(clock_getcpuclockid(pid, &childClock), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));

    double cpuAtFirst = 0, cpuAtSecond = 0;
    auto measured = measure(
        pid, std::chrono::seconds(1), [&] { cpuAtFirst = cpuSeconds(childClock); },
        [&] { cpuAtSecond = cpuSeconds(childClock); });
    ASSERT_TRUE(measured) << "the burning child is missing from the second pass";
    ASSERT_TRUE(measured->sample.energyImpact) << "a readable child of ours has a complete reading";
    EXPECT_GT(*measured->sample.energyImpact, 0.0);

    // What the kernel's own clock says the child got, independently of the
    // sampler: the two must agree whatever else the machine is doing.
    double coresReceived = (cpuAtSecond - cpuAtFirst) / measured->seconds;
    double observed = coresReceived * 100.0 / cores;
    EXPECT_NEAR(measured->sample.cpuPercent, observed, observed * 0.2)
        << "the child's CPU clock says it had " << coresReceived << " of a core";
    if (coresReceived < 0.9) {
        GTEST_SKIP() << "this machine is too busy to give the burner a whole core (it got " << coresReceived
                     << "); the share of one core cannot be checked";
    }
    double expected = 100.0 / cores;
    EXPECT_NEAR(measured->sample.cpuPercent, expected, expected * 0.2)
        << "over " << measured->seconds << " s on " << cores << " cores";
}

TEST(ProcessRatesLive, ChildWritingSixtyFourMebibytesShowsThatWriteRate) {
    auto directory = diskBackedDirectory();
    if (!directory) GTEST_SKIP() << "no writable disk-backed directory (only tmpfs) to write to";
    auto file = *directory / ("orvantine-rates-" + std::to_string(getpid()) + ".bin");

    int go[2], done[2];
    ASSERT_EQ(pipe(go), 0);
    ASSERT_EQ(pipe(done), 0);
    pid_t pid = fork();
    ASSERT_GE(pid, 0) << "fork failed";
    if (pid == 0) {
        char byte = 0;
        if (read(go[0], &byte, 1) != 1) _exit(1);
        int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd < 0) _exit(2);
        std::vector<char> chunk(1 << 20, 'x');
        for (size_t total = 0; total < written; total += chunk.size()) {
            if (write(fd, chunk.data(), chunk.size()) != ssize_t(chunk.size())) _exit(3);
        }
        if (fsync(fd) != 0) _exit(4);
        close(fd);
        if (write(done[1], "d", 1) != 1) _exit(5);
        for (;;) pause();
    }
    Child child(pid);
    close(go[0]);
    close(done[1]);

    bool finished = false;
    auto measured = measure(
        pid, std::chrono::seconds(1),
        [&] {
            ASSERT_EQ(write(go[1], "g", 1), 1);
            char byte = 0;
            finished = read(done[0], &byte, 1) == 1;
        },
        [] {});
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    close(go[1]);
    close(done[0]);
    ASSERT_TRUE(finished) << "the child could not write its file in " << directory->string();
    ASSERT_TRUE(measured) << "the writing child is missing from the second pass";
    double expected = double(written) / measured->seconds;
    EXPECT_NEAR(measured->sample.diskWriteBPS, expected, expected * 0.3)
        << "over " << measured->seconds << " s in " << directory->string();
}

}  // namespace
}  // namespace orv
