#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

namespace orv {

// One process instance as the kernel tells it apart from a later process
// that reuses its pid: the pid and its start stamp (clock ticks after boot
// on Linux, the start time in microseconds on macOS).
struct ProcessInstance {
    int32_t pid = 0;
    uint64_t startStamp = 0;
    int32_t processGroup = 0;
    bool isKernelThread = false;
    std::string name;
    friend bool operator==(const ProcessInstance&, const ProcessInstance&) = default;
};

// A process held so that a signal reaches it and no other: a pidfd on
// Linux; on macOS the pid, re-checked just before the signal.
class ProcessHandle {
public:
    virtual ~ProcessHandle() = default;
    virtual int32_t pid() const = 0;
    // Whether the process has not exited yet (a zombie has exited).
    virtual bool isRunning() = 0;
    // Sends `signal`; the error is the kernel's (EPERM, ESRCH).
    virtual std::error_code signal(int signal) = 0;
};

// The platform's process calls for stopping processes.
class TerminationPort {
public:
    virtual ~TerminationPort() = default;

    // The process now holding `pid`; absent when there is none or it has
    // exited (a zombie).
    virtual std::optional<ProcessInstance> instance(int32_t pid) = 0;
    // The processes now in group `processGroup`.
    virtual std::vector<ProcessInstance> groupMembers(int32_t processGroup) = 0;
    // A handle on the process now holding `pid`; ESRCH when none does.
    virtual std::unique_ptr<ProcessHandle> open(int32_t pid, std::error_code& error) = 0;
    // killpg.
    virtual std::error_code signalGroup(int32_t processGroup, int signal) = 0;
    // Waits until every process of `handles` has exited or `timeout` has
    // passed, without polling: pidfds in poll(2) on Linux, EVFILT_PROC on
    // macOS. Returns, per handle, whether it exited.
    virtual std::vector<bool> waitForExit(std::span<ProcessHandle* const> handles,
                                          std::chrono::milliseconds timeout) = 0;
};

std::unique_ptr<TerminationPort> makeTerminationPort(const std::filesystem::path& root = "/");

}  // namespace orv
