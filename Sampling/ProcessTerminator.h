#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Sampling/ContainerEngine.h"
#include "Sampling/TerminationPort.h"
#include "core/ConfirmedTermination.h"
#include "core/TerminationResult.h"

namespace orv {

// Why a process was not signalled, or why signalling it failed.
struct TerminationRefusal {
    int32_t pid = 0;
    std::string message;
    friend bool operator==(const TerminationRefusal&, const TerminationRefusal&) = default;
};

// What an attempt achieved, with the reasons for every process that was
// not (or could not be) signalled, and the container engine's answer.
struct TerminationReport {
    TerminationResult result;
    std::vector<TerminationRefusal> refusals;
    std::optional<std::string> containerMessage;  // absent on success or for a non-container target
};

// How long a termination waits for its processes to exit.
struct TerminationTimeouts {
    std::chrono::milliseconds quit{5000};
    std::chrono::milliseconds forceQuit{1000};
};

// Carries out a confirmed termination: SIGTERM for quit, SIGKILL for force
// quit, to one process, a process group (killpg) or each process of an
// app, then waits for them to exit (quit up to 5 s, force quit up to 1 s).
//
// Safety:
// - a process is signalled only while it is the instance the user
//   confirmed: its handle is opened first, then its start stamp compared,
//   then the handle asked whether it still runs — with a pidfd the signal
//   can reach no other process; a pid now held by another process is left
//   alone (its confirmed process is gone: it counts as terminated);
// - a group is signalled only while one of its confirmed members is still
//   in it as confirmed (a group id is not reused while a member lives);
// - pid 1, kernel threads, this program and its parent are refused;
// - a refusal by the kernel (EPERM) is reported per pid.
class ProcessTerminator {
public:
    ProcessTerminator(std::unique_ptr<TerminationPort> port, int32_t ownPID, int32_t parentPID,
                      std::unique_ptr<ContainerEngine> engine = nullptr, TerminationTimeouts timeouts = {});

    // The instances a target covers now, to be confirmed by the user: the
    // process, the group's members, the app's pids. Gone pids are left out.
    std::vector<ProcessInstance> resolve(const TerminationTarget& target);

    // The message refusing `instance`, or absent when it may be signalled.
    // ("Refusing to stop pid 1, the system's init process").
    std::optional<std::string> refusalFor(const ProcessInstance& instance) const;

    TerminationReport carryOut(const ConfirmedTermination& termination, std::span<const ProcessInstance> confirmed);

private:
    // Why `instance` must not be signalled ("pid 1, the system's init
    // process"), or absent.
    std::optional<std::string> refusalReason(const ProcessInstance& instance) const;

    std::unique_ptr<TerminationPort> port_;
    int32_t ownPID_;
    int32_t parentPID_;
    std::unique_ptr<ContainerEngine> engine_;
    TerminationTimeouts timeouts_;
};

}  // namespace orv
