// Stopping processes on macOS: kill and killpg, with the start time read
// through proc_pidinfo just before each signal (macOS has no pidfd, so a
// pid could in principle be reused between that check and the signal), and
// kqueue's EVFILT_PROC NOTE_EXIT to wait for exits without polling.
#include <errno.h>
#include <libproc.h>
#include <signal.h>
#include <sys/event.h>
#include <sys/proc.h>
#include <sys/proc_info.h>
#include <unistd.h>

#include <chrono>
#include <vector>

#include "Sampling/TerminationPort.h"
#include "core/FileDescriptor.h"
#include "core/Result.h"

namespace orv {

namespace {

std::optional<ProcessInstance> readInstance(int32_t pid) {
    proc_bsdinfo info{};
    if (proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof info) != int(sizeof info)) return std::nullopt;
    if (info.pbi_status == SZOMB) return std::nullopt;
    ProcessInstance instance;
    instance.pid = pid;
    instance.startStamp = uint64_t(info.pbi_start_tvsec) * 1'000'000 + uint64_t(info.pbi_start_tvusec);
    instance.processGroup = int32_t(info.pbi_pgid);
    instance.isKernelThread = pid == 0;  // kernel_task; macOS has no other kernel processes
    instance.name = info.pbi_comm;
    return instance;
}

class PidHandle final : public ProcessHandle {
public:
    PidHandle(int32_t pid, uint64_t stamp) : pid_(pid), stamp_(stamp) {}
    int32_t pid() const override { return pid_; }
    bool isRunning() override {
        auto now = readInstance(pid_);
        return now && now->startStamp == stamp_;
    }
    std::error_code signal(int signal) override {
        if (!isRunning()) return std::make_error_code(std::errc::no_such_process);
        if (::kill(pid_, signal) != 0) return lastError();
        return {};
    }

private:
    int32_t pid_;
    uint64_t stamp_;
};

class DarwinTerminationPort final : public TerminationPort {
public:
    std::optional<ProcessInstance> instance(int32_t pid) override { return readInstance(pid); }

    std::vector<ProcessInstance> groupMembers(int32_t processGroup) override {
        std::vector<ProcessInstance> out;
        const int bytes = proc_listpids(PROC_PGRP_ONLY, uint32_t(processGroup), nullptr, 0);
        if (bytes <= 0) return out;
        std::vector<pid_t> pids(size_t(bytes) / sizeof(pid_t) + 16);
        const int filled = proc_listpids(PROC_PGRP_ONLY, uint32_t(processGroup), pids.data(),
                                         int(pids.size() * sizeof(pid_t)));
        if (filled <= 0) return out;
        pids.resize(size_t(filled) / sizeof(pid_t));
        for (pid_t pid : pids) {
            if (auto found = readInstance(pid)) out.push_back(*found);
        }
        return out;
    }

    std::unique_ptr<ProcessHandle> open(int32_t pid, std::error_code& error) override {
        auto found = readInstance(pid);
        if (!found) {
            error = std::make_error_code(std::errc::no_such_process);
            return nullptr;
        }
        error.clear();
        return std::make_unique<PidHandle>(pid, found->startStamp);
    }

    std::error_code signalGroup(int32_t processGroup, int signal) override {
        if (::killpg(processGroup, signal) != 0) return lastError();
        return {};
    }

    std::vector<bool> waitForExit(std::span<ProcessHandle* const> handles, std::chrono::milliseconds timeout) override {
        std::vector<bool> exited(handles.size(), false);
        FileDescriptor queue(::kqueue());
        size_t waiting = 0;
        for (size_t i = 0; i < handles.size(); ++i) {
            struct kevent change;
            EV_SET(&change, uintptr_t(handles[i]->pid()), EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0,
                   reinterpret_cast<void*>(i));
            // ESRCH: it exited before it could be watched.
            if (!queue.valid() || ::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) != 0 ||
                !handles[i]->isRunning()) {
                exited[i] = !handles[i]->isRunning();
                continue;
            }
            ++waiting;
        }
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (waiting > 0) {
            const auto left = deadline - std::chrono::steady_clock::now();
            if (left <= std::chrono::steady_clock::duration::zero()) break;
            const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            timespec wait{time_t(ns / 1'000'000'000), long(ns % 1'000'000'000)};
            struct kevent event;
            const int n = ::kevent(queue.get(), nullptr, 0, &event, 1, &wait);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            const size_t i = reinterpret_cast<size_t>(event.udata);
            if (i < exited.size() && !exited[i]) {
                exited[i] = true;
                --waiting;
            }
        }
        return exited;
    }
};

}  // namespace

std::unique_ptr<TerminationPort> makeTerminationPort(const std::filesystem::path&) {
    return std::make_unique<DarwinTerminationPort>();
}

}  // namespace orv
