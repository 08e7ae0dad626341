// The helper under a steady crowd: N clients (200 by default) for S
// seconds, each asking for a sample or the version about once a second and
// now and then reconnecting. Prints the helper's resident memory and open
// descriptors at the start, every ten seconds and at the end: both should
// stay flat. For comparison, `ps -o rss` and `ls /proc/PID/fd | wc -l`
// measure the same two figures of any daemon.
//
//   HelperSoakBench [--clients N] [--seconds S] [--helper PATH]
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "HelperProtocol/HelperFrame.h"

extern char** environ;

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

long residentKB(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    }
    return -1;
}

long descriptors(pid_t pid) {
    std::error_code ec;
    long n = 0;
    for (auto it = std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", ec);
         !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
        ++n;
    }
    return ec ? -1 : n;
}

int connectTo(const std::string& path) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof address.sun_path - 1));
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool readExactly(int fd, char* into, size_t count) {
    while (count > 0) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 10'000) <= 0) return false;
        ssize_t n = ::recv(fd, into, count, 0);
        if (n <= 0) return false;
        into += n;
        count -= size_t(n);
    }
    return true;
}

// One request and its whole reply; false when the connection failed.
bool exchange(int fd, const std::string& selector) {
    const std::string frame = orv::HelperFrame::frame(selector);
    if (::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) != ssize_t(frame.size())) return false;
    char header[orv::HelperFrame::headerSize];
    if (!readExactly(fd, header, sizeof header)) return false;
    const uint32_t length = orv::HelperFrame::announcedLength({header, sizeof header});
    if (length > orv::HelperFrame::maxReplyBytes) return false;
    std::string payload(length, '\0');
    return readExactly(fd, payload.data(), payload.size());
}

}  // namespace

int main(int argc, char** argv) {
    int clients = 200, seconds = 60;
    std::string helperPath =
        (std::filesystem::path(argv[0]).parent_path() / "../helper/OrvantineHelperTestTeam").string();
    for (int i = 1; i + 1 < argc; ++i) {
        if (!std::strcmp(argv[i], "--clients")) clients = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--seconds")) seconds = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--helper")) helperPath = argv[++i];
    }
    if (::access(helperPath.c_str(), X_OK) != 0) {
        std::fprintf(stderr, "HelperSoakBench: no helper at %s (build OrvantineHelperTestTeam)\n", helperPath.c_str());
        return 1;
    }
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);

    char dirTemplate[] = "/tmp/orvantine-soak-XXXXXX";
    const std::string dir = ::mkdtemp(dirTemplate);
    const std::string socket = dir + "/helper.sock";
    std::vector<std::string> args{helperPath, "--socket", socket, "--startup-seconds", "600", "--idle-seconds", "600"};
    std::vector<char*> argv2;
    for (auto& a : args) argv2.push_back(a.data());
    argv2.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, (dir + "/helper.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t helper = -1;
    ::posix_spawn(&helper, argv2[0], &actions, nullptr, argv2.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    for (int i = 0; i < 200 && ::access(socket.c_str(), F_OK) != 0; ++i) ::usleep(10'000);

    // The clients run 25 to a child process (within the helper's cap per
    // client process), so that the helper sees many peers, as in life.
    constexpr int perProcess = 25;
    const int processes = (clients + perProcess - 1) / perProcess;
    std::vector<pid_t> crowd;
    int counts[2];
    if (::pipe(counts) != 0) return 1;
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    for (int p = 0; p < processes; ++p) {
        const int mine = std::min(perProcess, clients - p * perProcess);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(counts[0]);
            std::mt19937 random(unsigned(p) * 7919u + 1u);
            std::vector<int> fds(size_t(mine), -1);
            std::vector<Clock::time_point> due(size_t(mine), Clock::now());
            long answered = 0, failed = 0;
            while (Clock::now() < end) {
                for (int c = 0; c < mine; ++c) {
                    if (Clock::now() < due[size_t(c)]) continue;
                    int& fd = fds[size_t(c)];
                    if (fd < 0) fd = connectTo(socket);
                    const bool sample = random() % 4 == 0;
                    if (fd >= 0 && exchange(fd, sample ? "sampleWithReply:" : "versionWithReply:")) {
                        ++answered;
                    } else {
                        ++failed;
                        if (fd >= 0) ::close(fd);
                        fd = -1;
                    }
                    // Now and then a client leaves and comes back.
                    if (fd >= 0 && random() % 50 == 0) {
                        ::close(fd);
                        fd = -1;
                    }
                    due[size_t(c)] = Clock::now() + std::chrono::milliseconds(500 + random() % 1000);
                }
                std::this_thread::sleep_for(10ms);
            }
            long result[2] = {answered, failed};
            (void)!::write(counts[1], result, sizeof result);
            ::_exit(0);
        }
        crowd.push_back(child);
    }
    ::close(counts[1]);

    std::this_thread::sleep_for(3s);
    const long startRSS = residentKB(helper), startFDs = descriptors(helper);
    std::printf("helper pid %d, %d clients in %d processes, %d s\n", helper, clients, processes, seconds);
    std::printf("%8s %12s %12s\n", "seconds", "RSS (KB)", "descriptors");
    std::printf("%8s %12ld %12ld\n", "start", startRSS, startFDs);
    const auto began = Clock::now();
    while (Clock::now() + 10s < end) {
        std::this_thread::sleep_for(10s);
        std::printf("%8.0f %12ld %12ld\n", std::chrono::duration<double>(Clock::now() - began).count(),
                    residentKB(helper), descriptors(helper));
        std::fflush(stdout);
    }
    std::this_thread::sleep_until(end);
    const long endRSS = residentKB(helper), endFDs = descriptors(helper);
    long answered = 0, failed = 0, result[2];
    while (::read(counts[0], result, sizeof result) == sizeof result) {
        answered += result[0];
        failed += result[1];
    }
    for (pid_t c : crowd) ::waitpid(c, nullptr, 0);
    std::printf("%8s %12ld %12ld\n", "end", endRSS, endFDs);
    std::printf("requests answered %ld, failed %ld\n", answered, failed);
    std::printf("RSS change %+ld KB, descriptor change %+ld\n", endRSS - startRSS, endFDs - startFDs);
    ::kill(helper, SIGKILL);
    ::waitpid(helper, nullptr, 0);
    std::filesystem::remove_all(dir);
    return 0;
}
