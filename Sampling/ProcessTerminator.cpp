#include "Sampling/ProcessTerminator.h"

#include <signal.h>

#include <algorithm>
#include <set>

namespace orv {

namespace {

std::string describe(const std::error_code& error) {
    if (error == std::errc::operation_not_permitted) return "permission denied";
    return error.message();
}

}  // namespace

ProcessTerminator::ProcessTerminator(std::unique_ptr<TerminationPort> port, int32_t ownPID, int32_t parentPID,
                                     std::unique_ptr<ContainerEngine> engine, TerminationTimeouts timeouts)
    : port_(std::move(port)), ownPID_(ownPID), parentPID_(parentPID), engine_(std::move(engine)), timeouts_(timeouts) {}

std::vector<ProcessInstance> ProcessTerminator::resolve(const TerminationTarget& target) {
    std::vector<ProcessInstance> out;
    auto add = [&](int32_t pid) {
        if (auto found = port_->instance(pid)) out.push_back(*found);
    };
    std::visit([&](const auto& c) {
        using Case = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<Case, termination::Process>) add(c._0);
        else if constexpr (std::is_same_v<Case, termination::ProcessGroup>) out = port_->groupMembers(c._0);
        else if constexpr (std::is_same_v<Case, termination::App>) for (int32_t pid : c.pids) add(pid);
    }, target);
    return out;
}

std::optional<std::string> ProcessTerminator::refusalReason(const ProcessInstance& instance) const {
    const std::string named = instance.name.empty() ? "" : " (" + instance.name + ")";
    if (instance.pid <= 0) return "pid " + std::to_string(instance.pid) + ", which is not a process";
    if (instance.pid == 1) return "pid 1, the system's init process";
    if (instance.isKernelThread) return "pid " + std::to_string(instance.pid) + named + ", a kernel thread";
    if (instance.pid == ownPID_) return "pid " + std::to_string(instance.pid) + ", orvantine itself";
    if (instance.pid == parentPID_) return "pid " + std::to_string(instance.pid) + named + ", the parent of orvantine";
    return std::nullopt;
}

std::optional<std::string> ProcessTerminator::refusalFor(const ProcessInstance& instance) const {
    if (auto reason = refusalReason(instance)) return "Refusing to stop " + *reason;
    return std::nullopt;
}

TerminationReport ProcessTerminator::carryOut(const ConfirmedTermination& termination,
                                              std::span<const ProcessInstance> confirmed) {
    TerminationReport report;
    if (const auto* container = std::get_if<termination::Container>(&termination.target)) {
        if (!engine_) {
            report.containerMessage = "No container engine found (no Docker-compatible API socket)";
        } else if (auto failure = engine_->stop(container->id, termination.mode == TerminationMode::forceQuit)) {
            report.containerMessage = *failure;
        }
        return report;
    }

    const int signal = termination.mode == TerminationMode::forceQuit ? SIGKILL : SIGTERM;
    const auto timeout = termination.mode == TerminationMode::forceQuit ? timeouts_.forceQuit : timeouts_.quit;
    std::set<int32_t> terminated, survivors;
    std::vector<std::unique_ptr<ProcessHandle>> held;

    auto refuse = [&](int32_t pid, std::string message) {
        report.refusals.push_back({pid, std::move(message)});
        survivors.insert(pid);
    };

    // Opens each confirmed process and proves it is still that instance;
    // the handles of those that are stay held.
    std::vector<ProcessHandle*> verified;
    for (const auto& instance : confirmed) {
        if (auto message = refusalFor(instance)) {
            refuse(instance.pid, *message);
            continue;
        }
        std::error_code error;
        auto handle = port_->open(instance.pid, error);
        if (!handle) {
            if (error == std::errc::no_such_process) terminated.insert(instance.pid);
            else refuse(instance.pid, "Cannot open pid " + std::to_string(instance.pid) + ": " + describe(error));
            continue;
        }
        auto now = port_->instance(instance.pid);
        if (!now || now->startStamp != instance.startStamp || !handle->isRunning()) {
            // The confirmed process is gone; whatever holds its pid now was
            // never confirmed.
            terminated.insert(instance.pid);
            if (now && now->startStamp != instance.startStamp) {
                report.refusals.push_back({instance.pid, "Not signalling pid " + std::to_string(instance.pid) +
                                                             ": it is no longer the process that was confirmed"});
            }
            continue;
        }
        verified.push_back(handle.get());
        held.push_back(std::move(handle));
    }

    std::vector<ProcessHandle*> waiting;
    if (const auto* group = std::get_if<termination::ProcessGroup>(&termination.target)) {
        if (!verified.empty()) {
            // Whoever joined the group since confirmation goes with it:
            // killpg reaches them too, so they are waited for as well.
            std::set<int32_t> known;
            for (auto* h : verified) known.insert(h->pid());
            // killpg reaches every member: a group holding a process that
            // must not be stopped (this program, its parent, init) is not
            // signalled at all.
            std::optional<std::string> groupRefusal;
            const auto members = port_->groupMembers(group->_0);
            for (const auto& member : members) {
                if (auto reason = refusalReason(member)) groupRefusal = *reason;
            }
            for (const auto& instance : confirmed) {
                if (auto reason = refusalReason(instance)) groupRefusal = *reason;
            }
            if (groupRefusal) {
                for (auto* h : verified) {
                    refuse(h->pid(), "Refusing to signal group " + std::to_string(group->_0) + ": it holds " +
                                         *groupRefusal);
                }
                verified.clear();
            }
            for (const auto& member : verified.empty() ? std::vector<ProcessInstance>{} : members) {
                if (known.contains(member.pid)) continue;
                std::error_code error;
                if (auto handle = port_->open(member.pid, error)) {
                    verified.push_back(handle.get());
                    held.push_back(std::move(handle));
                }
            }
            if (verified.empty()) {
                // Refused above.
            } else if (auto error = port_->signalGroup(group->_0, signal)) {
                for (auto* h : verified) {
                    refuse(h->pid(), "Cannot signal group " + std::to_string(group->_0) + ": " + describe(error));
                }
            } else {
                waiting = verified;
            }
        }
    } else {
        for (auto* handle : verified) {
            if (auto error = handle->signal(signal)) {
                if (error == std::errc::no_such_process) terminated.insert(handle->pid());
                else refuse(handle->pid(), "Cannot signal pid " + std::to_string(handle->pid()) + ": " + describe(error));
            } else {
                waiting.push_back(handle);
            }
        }
    }

    const auto exited = port_->waitForExit(waiting, timeout);
    for (size_t i = 0; i < waiting.size(); ++i) (exited[i] ? terminated : survivors).insert(waiting[i]->pid());
    report.result.terminated.assign(terminated.begin(), terminated.end());
    for (int32_t pid : survivors) {
        if (!terminated.contains(pid)) report.result.survivors.push_back(pid);
    }
    return report;
}

}  // namespace orv
