// Stopping processes on Linux through pidfds: the signal goes to the
// process the descriptor was opened on, never to a later one that reuses
// its pid, and poll(2) on the descriptors wakes when each exits.
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "Sampling/ProcFiles.h"
#include "Sampling/TerminationPort.h"
#include "core/FileDescriptor.h"
#include "core/FileReading.h"
#include "core/Result.h"
#include "core/TextDecoding.h"

namespace orv {

namespace {

int pidfdOpen(pid_t pid) { return int(::syscall(SYS_pidfd_open, pid, 0)); }
int pidfdSendSignal(int pidfd, int signal) { return int(::syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0)); }

class PidfdHandle final : public ProcessHandle {
public:
    PidfdHandle(int32_t pid, FileDescriptor fd) : pid_(pid), fd_(std::move(fd)) {}
    int32_t pid() const override { return pid_; }
    bool isRunning() override {
        pollfd p{fd_.get(), POLLIN, 0};
        return ::poll(&p, 1, 0) == 0;
    }
    std::error_code signal(int signal) override {
        if (pidfdSendSignal(fd_.get(), signal) != 0) return lastError();
        return {};
    }
    int descriptor() const { return fd_.get(); }

private:
    int32_t pid_;
    FileDescriptor fd_;
};

class LinuxTerminationPort final : public TerminationPort {
public:
    explicit LinuxTerminationPort(std::filesystem::path root) : proc_(std::move(root) / "proc") {}

    std::optional<ProcessInstance> instance(int32_t pid) override {
        auto text = FileReading::readSmallFile(proc_ / std::to_string(pid) / "stat", 4096);
        if (!text) return std::nullopt;
        auto stat = ProcStat::decode(*text);
        // A zombie has exited; only its parent's wait is left.
        if (!stat || stat->isZombie()) return std::nullopt;
        return ProcessInstance{pid, stat->startTicks, stat->processGroup, stat->isKernelThread(),
                               std::string(stat->command)};
    }

    std::vector<ProcessInstance> groupMembers(int32_t processGroup) override {
        std::vector<ProcessInstance> members;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(proc_, error)) {
            auto pid = TextDecoding::parseNumber<int32_t>(entry.path().filename().native());
            if (!pid || *pid <= 0) continue;
            if (auto found = instance(*pid); found && found->processGroup == processGroup) members.push_back(*found);
        }
        std::sort(members.begin(), members.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
        return members;
    }

    std::unique_ptr<ProcessHandle> open(int32_t pid, std::error_code& error) override {
        FileDescriptor fd(pidfdOpen(pid));
        if (!fd.valid()) {
            error = lastError();
            return nullptr;
        }
        error.clear();
        return std::make_unique<PidfdHandle>(pid, std::move(fd));
    }

    std::error_code signalGroup(int32_t processGroup, int signal) override {
        if (::killpg(processGroup, signal) != 0) return lastError();
        return {};
    }

    std::vector<bool> waitForExit(std::span<ProcessHandle* const> handles, std::chrono::milliseconds timeout) override {
        std::vector<bool> exited(handles.size(), false);
        std::vector<pollfd> fds;
        for (auto* handle : handles) fds.push_back({static_cast<PidfdHandle*>(handle)->descriptor(), POLLIN, 0});
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        for (;;) {
            size_t waiting = 0;
            for (size_t i = 0; i < fds.size(); ++i) {
                if (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) exited[i] = true;
                // An exited process's descriptor stays readable: leave it out.
                if (exited[i]) fds[i].fd = -1;
                else ++waiting;
                fds[i].revents = 0;
            }
            if (waiting == 0) break;
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                                    std::chrono::steady_clock::now());
            if (left.count() <= 0) break;
            const int ready = ::poll(fds.data(), fds.size(), int(left.count()));
            if (ready < 0 && errno != EINTR) break;
            if (ready == 0) break;
        }
        return exited;
    }

private:
    std::filesystem::path proc_;
};

}  // namespace

std::unique_ptr<TerminationPort> makeTerminationPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxTerminationPort>(root);
}

}  // namespace orv
