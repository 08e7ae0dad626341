// `orvantine stop TARGET`: shows what will be stopped, asks on a terminal,
// then quits (SIGTERM) or force quits (SIGKILL) it and says what happened.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <set>
#include <string>

#include "Sampling/AppClassifier.h"
#include "Sampling/DevServerScanner.h"
#include "Sampling/ProcessTerminator.h"
#include "cli/CommandRegistry.h"
#include "cli/DevServersView.h"
#include "cli/SamplingSession.h"
#include "cli/StopRequest.h"
#include "core/AppIdentity.h"

namespace orv::cli {

namespace {

struct StopOptions {
    std::string target;
    bool force = false;
    bool yes = false;
};

[[noreturn]] void fail(const std::string& message, int status) {
    std::fputs(("orvantine: " + message + "\n").c_str(), stderr);
    throw CLI::RuntimeError(status);
}

std::string describe(const TerminationTarget& target) {
    return std::visit([](const auto& c) -> std::string {
        using Case = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<Case, termination::Process>) return fmt::format("process {}", c._0);
        else if constexpr (std::is_same_v<Case, termination::ProcessGroup>) return fmt::format("process group {}", c._0);
        else if constexpr (std::is_same_v<Case, termination::App>) return fmt::format("app {}", c._0);
        else return fmt::format("container {} ({})", c.name, c.id);
    }, target);
}

// The targets the request names, read from one pass over the processes.
std::vector<TerminationTarget> targetsOf(const StopRequest& request, SamplingSession& session) {
    switch (request.kind) {
        case StopRequest::Kind::process: return {termination::Process{request.number}};
        case StopRequest::Kind::processGroup: return {termination::ProcessGroup{request.number}};
        case StopRequest::Kind::container: return {termination::Container{request.text, request.text}};
        case StopRequest::Kind::app: {
            auto readings = session.readProcesses().readings;
            auto owners = makeAppClassifier()->identify(readings);
            termination::App app{request.text, {}};
            for (const auto& r : readings) {
                auto owner = owners.find(r.pid);
                const std::string id = owner != owners.end() ? owner->second.id : AppIdentity::other(r.name).id;
                if (id == request.text) app.pids.push_back(r.pid);
            }
            if (app.pids.empty()) fail("no running app has the id \"" + request.text + "\"", 1);
            return {app};
        }
        case StopRequest::Kind::project: {
            DevServerScanner scanner(session.devServerPort(), ProjectLocator("/"), uint32_t(geteuid()), int32_t(getpgrp()));
            for (const auto& project : scanner.scan(session.readProcesses().readings, Date::now())) {
                if (project.id != request.text) continue;
                std::vector<TerminationTarget> targets;
                for (const auto& server : project.servers) {
                    if (std::find(targets.begin(), targets.end(), server.stopTarget) == targets.end()) {
                        targets.push_back(server.stopTarget);
                    }
                }
                return targets;
            }
            fail("no development server runs from " + request.text + " (see orvantine devservers)", 1);
        }
    }
    return {};
}

bool confirm(const std::string& question) {
    std::fputs(question.c_str(), stdout);
    std::fflush(stdout);
    std::string answer;
    if (!std::getline(std::cin, answer)) return false;
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
}

std::string pidList(const std::vector<int32_t>& pids) {
    std::string text;
    for (auto pid : pids) text += (text.empty() ? "" : ", ") + std::to_string(pid);
    return text;
}

void run(const StopOptions& options) {
    auto request = StopRequest::parse(options.target);
    if (!request) fail("not a target: \"" + options.target + "\" (a pid, group:PGID, an app id or a project folder)", 2);
    SamplingSession session;
    auto targets = targetsOf(*request, session);
    session.finish();

    ProcessTerminator terminator(makeTerminationPort(), int32_t(getpid()), int32_t(getppid()), ContainerEngine::find());
    const auto mode = options.force ? TerminationMode::forceQuit : TerminationMode::quit;
    const char* verb = options.force ? "Force quit (SIGKILL)" : "Quit (SIGTERM)";

    std::vector<std::pair<TerminationTarget, std::vector<ProcessInstance>>> plan;
    size_t processes = 0;
    for (const auto& target : targets) {
        auto instances = terminator.resolve(target);
        const bool container = std::holds_alternative<termination::Container>(target);
        if (instances.empty() && !container) {
            std::fputs(fmt::format("Nothing to stop: {} is not running.\n", describe(target)).c_str(), stdout);
            continue;
        }
        std::fputs(fmt::format("{} {}:\n", verb, describe(target)).c_str(), stdout);
        for (const auto& instance : instances) {
            std::string note;
            if (auto refusal = terminator.refusalFor(instance)) note = "  (will be refused: " + *refusal + ")";
            std::fputs(fmt::format("  {:>7}  {}{}\n", instance.pid, instance.name, note).c_str(), stdout);
        }
        processes += instances.size();
        plan.emplace_back(target, std::move(instances));
    }
    if (plan.empty()) throw CLI::RuntimeError(1);

    if (!options.yes) {
        if (!isatty(STDIN_FILENO)) fail("not asking without a terminal; pass --yes to stop without asking", 2);
        const std::string question = processes == 1 ? "Stop this process? [y/N] "
                                                    : fmt::format("Stop these {} processes? [y/N] ", processes);
        if (!confirm(question)) {
            std::fputs("Nothing was stopped.\n", stdout);
            throw CLI::RuntimeError(1);
        }
    }

    bool anySurvivor = false;
    for (const auto& [target, instances] : plan) {
        const ConfirmedTermination confirmed{target, mode, Date::now()};
        auto report = terminator.carryOut(confirmed, instances);
        for (const auto& refusal : report.refusals) std::fputs(("orvantine: " + refusal.message + "\n").c_str(), stderr);
        if (report.containerMessage) {
            std::fputs(("orvantine: " + *report.containerMessage + "\n").c_str(), stderr);
            anySurvivor = true;
        } else if (std::holds_alternative<termination::Container>(target)) {
            std::fputs(fmt::format("Stopped {}.\n", describe(target)).c_str(), stdout);
        }
        if (!report.result.terminated.empty()) {
            std::fputs(fmt::format("Terminated: {}\n", pidList(report.result.terminated)).c_str(), stdout);
        }
        if (!report.result.survivors.empty()) {
            anySurvivor = true;
            // Force helps only those that were signalled and held out.
            size_t heldOut = report.result.survivors.size();
            for (const auto& refusal : report.refusals) {
                if (std::find(report.result.survivors.begin(), report.result.survivors.end(), refusal.pid) !=
                    report.result.survivors.end()) {
                    --heldOut;
                }
            }
            std::fputs(fmt::format("Still running: {}{}\n", pidList(report.result.survivors),
                                   options.force || heldOut == 0 ? "" : " (orvantine stop --force ends them)")
                           .c_str(),
                       stdout);
        }
    }
    if (anySurvivor) throw CLI::RuntimeError(1);
}

CommandRegistration registration(41, [](CLI::App& app) {
    auto options = std::make_shared<StopOptions>();
    auto* command = app.add_subcommand("stop", "Quit a process, a process group, an app or a project's servers");
    command->add_option("target", options->target,
                        "A pid, group:PGID, an app id, or a project folder from `orvantine devservers`")
        ->required();
    command->add_flag("--force", options->force, "Force quit (SIGKILL) instead of asking to quit (SIGTERM)");
    command->add_flag("--yes", options->yes, "Do not ask for confirmation");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
