#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "Sampling/ProcessTerminator.h"
#include "support/ChildProcesses.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using namespace std::chrono_literals;

ProcessTerminator terminator(TerminationTimeouts timeouts = {1000ms, 1000ms}) {
    return ProcessTerminator(makeTerminationPort(), getpid(), getppid(), nullptr, timeouts);
}

ConfirmedTermination confirmed(TerminationTarget target, TerminationMode mode) {
    return ConfirmedTermination{std::move(target), mode, Date::now()};
}

std::vector<int32_t> sorted(std::vector<int32_t> pids) {
    std::sort(pids.begin(), pids.end());
    return pids;
}

TEST(ProcessTerminatorLive, QuittingAGroupEndsTheServerAndItsChild) {
    test::ChildProcesses children;
    pid_t grandchild = -1;
    const pid_t leader = children.start({.withGrandchild = true}, &grandchild);
    ASSERT_GT(leader, 0);
    ASSERT_GT(grandchild, 0);
    auto t = terminator();
    const TerminationTarget target = termination::ProcessGroup{leader};
    auto instances = t.resolve(target);
    ASSERT_EQ(instances.size(), 2u);
    auto report = t.carryOut(confirmed(target, TerminationMode::quit), instances);
    EXPECT_EQ(sorted(report.result.terminated), sorted({leader, grandchild}));
    EXPECT_TRUE(report.result.survivors.empty());
    EXPECT_TRUE(report.refusals.empty());
    EXPECT_FALSE(test::ChildProcesses::running(leader));
    EXPECT_FALSE(test::ChildProcesses::running(grandchild));
}

TEST(ProcessTerminatorLive, AChildIgnoringQuitSurvivesItAndForceQuitEndsIt) {
    test::ChildProcesses children;
    pid_t grandchild = -1;
    const pid_t leader = children.start({.withGrandchild = true, .grandchildIgnoresTerm = true}, &grandchild);
    ASSERT_GT(grandchild, 0);
    auto t = terminator({300ms, 1000ms});
    const TerminationTarget target = termination::ProcessGroup{leader};
    auto report = t.carryOut(confirmed(target, TerminationMode::quit), t.resolve(target));
    EXPECT_EQ(report.result.terminated, std::vector<int32_t>{leader});
    EXPECT_EQ(report.result.survivors, std::vector<int32_t>{grandchild});
    EXPECT_TRUE(test::ChildProcesses::running(grandchild));

    report = t.carryOut(confirmed(target, TerminationMode::forceQuit), t.resolve(target));
    EXPECT_EQ(report.result.terminated, std::vector<int32_t>{grandchild});
    EXPECT_TRUE(report.result.survivors.empty());
    EXPECT_FALSE(test::ChildProcesses::running(grandchild));
}

TEST(ProcessTerminatorLive, AProcessIgnoringQuitIsASurvivorUntilForceQuit) {
    test::ChildProcesses children;
    const pid_t pid = children.start({.ignoreTerm = true});
    auto t = terminator({300ms, 1000ms});
    const TerminationTarget target = termination::Process{pid};
    auto report = t.carryOut(confirmed(target, TerminationMode::quit), t.resolve(target));
    EXPECT_EQ(report.result.survivors, std::vector<int32_t>{pid});
    EXPECT_TRUE(report.result.terminated.empty());
    report = t.carryOut(confirmed(target, TerminationMode::forceQuit), t.resolve(target));
    EXPECT_EQ(report.result.terminated, std::vector<int32_t>{pid});
    EXPECT_FALSE(test::ChildProcesses::running(pid));
}

TEST(ProcessTerminatorLive, APidReusedSinceConfirmationIsNotSignalled) {
    test::ChildProcesses children;
    const pid_t pid = children.start({});
    auto t = terminator();
    const TerminationTarget target = termination::Process{pid};
    auto instances = t.resolve(target);
    ASSERT_EQ(instances.size(), 1u);
    instances[0].startStamp += 1;  // the process confirmed started at another moment
    auto report = t.carryOut(confirmed(target, TerminationMode::forceQuit), instances);
    EXPECT_TRUE(test::ChildProcesses::running(pid));
    ASSERT_EQ(report.refusals.size(), 1u);
    EXPECT_NE(report.refusals[0].message.find("no longer the process that was confirmed"), std::string::npos);
    EXPECT_TRUE(report.result.survivors.empty());

    // The same for a group whose confirmed members all changed.
    const pid_t leader = children.start({});
    const TerminationTarget group = termination::ProcessGroup{leader};
    auto members = t.resolve(group);
    ASSERT_EQ(members.size(), 1u);
    members[0].startStamp += 1;
    (void)t.carryOut(confirmed(group, TerminationMode::forceQuit), members);
    EXPECT_TRUE(test::ChildProcesses::running(leader));
}

TEST(ProcessTerminatorLive, EveryPidOfAnAppIsSignalled) {
    test::ChildProcesses children;
    const pid_t a = children.start({});
    const pid_t b = children.start({});
    auto t = terminator();
    const TerminationTarget target = termination::App{"other:test", {a, b}};
    auto report = t.carryOut(confirmed(target, TerminationMode::quit), t.resolve(target));
    EXPECT_EQ(sorted(report.result.terminated), sorted({a, b}));
    EXPECT_FALSE(test::ChildProcesses::running(a));
    EXPECT_FALSE(test::ChildProcesses::running(b));
}

TEST(ProcessTerminatorLive, AGonePidCountsAsTerminated) {
    pid_t pid = fork();
    if (pid == 0) _exit(0);
    ASSERT_GT(pid, 0);
    int status = 0;
    waitpid(pid, &status, 0);
    auto t = terminator();
    ProcessInstance gone{pid, 1, pid, false, "gone"};
    auto report = t.carryOut(confirmed(termination::Process{pid}, TerminationMode::quit), std::span(&gone, 1));
    EXPECT_EQ(report.result.terminated, std::vector<int32_t>{pid});
}

TEST(ProcessTerminatorLive, InitKernelThreadsOurselvesAndOurParentAreRefused) {
    auto t = terminator();
    std::vector<ProcessInstance> instances{{1, 1, 1, false, "init"},
                                           {2, 1, 0, true, "kthreadd"},
                                           {getpid(), 1, getpgrp(), false, "SamplingTests"},
                                           {getppid(), 1, 0, false, "shell"}};
    for (auto& i : instances) {
        if (auto real = makeTerminationPort()->instance(i.pid); real && !i.isKernelThread) i.startStamp = real->startStamp;
    }
    auto report = t.carryOut(confirmed(termination::App{"x", {1, 2, getpid(), getppid()}}, TerminationMode::forceQuit),
                             instances);
    ASSERT_EQ(report.refusals.size(), 4u);
    EXPECT_EQ(report.refusals[0].message, "Refusing to stop pid 1, the system's init process");
    EXPECT_NE(report.refusals[1].message.find("kernel thread"), std::string::npos);
    EXPECT_NE(report.refusals[2].message.find("orvantine itself"), std::string::npos);
    EXPECT_NE(report.refusals[3].message.find("parent"), std::string::npos);
    EXPECT_EQ(report.result.survivors.size(), 4u);
    EXPECT_TRUE(report.result.terminated.empty());
}

// A port whose every signal the kernel refuses, as for another user's process.
class RefusingPort : public TerminationPort {
public:
    class Handle : public ProcessHandle {
    public:
        explicit Handle(int32_t pid) : pid_(pid) {}
        int32_t pid() const override { return pid_; }
        bool isRunning() override { return true; }
        std::error_code signal(int) override { return std::make_error_code(std::errc::operation_not_permitted); }
        int32_t pid_;
    };
    std::optional<ProcessInstance> instance(int32_t pid) override { return ProcessInstance{pid, 7, pid, false, "x"}; }
    std::vector<ProcessInstance> groupMembers(int32_t g) override { return {ProcessInstance{g, 7, g, false, "x"}}; }
    std::unique_ptr<ProcessHandle> open(int32_t pid, std::error_code& e) override {
        e.clear();
        return std::make_unique<Handle>(pid);
    }
    std::error_code signalGroup(int32_t, int) override { return std::make_error_code(std::errc::operation_not_permitted); }
    std::vector<bool> waitForExit(std::span<ProcessHandle* const> handles, std::chrono::milliseconds) override {
        return std::vector<bool>(handles.size(), false);
    }
};

TEST(ProcessTerminator, APermissionRefusalIsReportedPerPid) {
    ProcessTerminator t(std::make_unique<RefusingPort>(), 10, 9);
    std::vector<ProcessInstance> instances{{500, 7, 500, false, "x"}, {501, 7, 501, false, "y"}};
    auto report = t.carryOut(confirmed(termination::App{"a", {500, 501}}, TerminationMode::quit), instances);
    ASSERT_EQ(report.refusals.size(), 2u);
    EXPECT_EQ(report.refusals[0], (TerminationRefusal{500, "Cannot signal pid 500: permission denied"}));
    EXPECT_EQ(report.refusals[1].pid, 501);
    EXPECT_EQ(report.result.survivors, (std::vector<int32_t>{500, 501}));

    std::vector<ProcessInstance> group{{600, 7, 600, false, "x"}};
    report = t.carryOut(confirmed(termination::ProcessGroup{600}, TerminationMode::quit), group);
    ASSERT_EQ(report.refusals.size(), 1u);
    EXPECT_EQ(report.refusals[0].message, "Cannot signal group 600: permission denied");
    EXPECT_EQ(report.result.survivors, std::vector<int32_t>{600});
}

// A port whose group 600 holds pid 10, the program itself.
class GroupWithOurselvesPort : public RefusingPort {
public:
    std::vector<ProcessInstance> groupMembers(int32_t g) override {
        return {ProcessInstance{g, 7, g, false, "x"}, ProcessInstance{10, 7, g, false, "orvantine"}};
    }
    std::error_code signalGroup(int32_t, int) override {
        ++groupSignals;
        return {};
    }
    int groupSignals = 0;
};

TEST(ProcessTerminator, AGroupHoldingThisProgramIsNeverSignalled) {
    auto port = std::make_unique<GroupWithOurselvesPort>();
    auto* fake = port.get();
    ProcessTerminator t(std::move(port), 10, 9);
    std::vector<ProcessInstance> confirmedMembers{{600, 7, 600, false, "x"}};
    auto report = t.carryOut(confirmed(termination::ProcessGroup{600}, TerminationMode::forceQuit), confirmedMembers);
    EXPECT_EQ(fake->groupSignals, 0);
    ASSERT_EQ(report.refusals.size(), 1u);
    EXPECT_EQ(report.refusals[0].message, "Refusing to signal group 600: it holds pid 10, orvantine itself");
    EXPECT_EQ(report.result.survivors, std::vector<int32_t>{600});
}

// A container engine the test serves on its own socket: it answers each
// request with `status` and records the request line.
class FakeEngine {
public:
    FakeEngine(const std::filesystem::path& path, int status) : path_(path) {
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener_, 4) != 0) {
            ADD_FAILURE() << "cannot serve " << path;
            return;
        }
        thread_ = std::thread([this, status] {
            const int client = accept(listener_, nullptr, nullptr);
            if (client < 0) return;
            char buffer[4096];
            std::string request;
            while (request.find("\r\n\r\n") == std::string::npos) {
                const ssize_t n = read(client, buffer, sizeof buffer);
                if (n <= 0) break;
                request.append(buffer, size_t(n));
            }
            requestLine_ = request.substr(0, request.find("\r\n"));
            const std::string answer = "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: 0\r\n\r\n";
            (void)!write(client, answer.data(), answer.size());
            close(client);
        });
    }
    ~FakeEngine() {
        shutdown(listener_, SHUT_RDWR);
        if (thread_.joinable()) thread_.join();
        close(listener_);
    }
    std::string requestLine() {
        if (thread_.joinable()) thread_.join();
        return requestLine_;
    }

private:
    std::filesystem::path path_;
    int listener_ = -1;
    std::thread thread_;
    std::string requestLine_;
};

TEST(ContainerEngine, QuitStopsAndForceQuitKillsThroughTheEnginesSocket) {
    test::TempDir dir;
    {
        FakeEngine engine(dir.path() / "engine.sock", 204);
        ProcessTerminator t(makeTerminationPort(), getpid(), getppid(),
                            std::make_unique<ContainerEngine>(dir.path() / "engine.sock"));
        auto report = t.carryOut(confirmed(termination::Container{"c0ffee", "web"}, TerminationMode::quit), {});
        EXPECT_EQ(report.containerMessage, std::nullopt);
        EXPECT_EQ(engine.requestLine(), "POST /containers/c0ffee/stop?t=5 HTTP/1.1");
    }
    std::filesystem::remove(dir.path() / "engine.sock");
    {
        FakeEngine engine(dir.path() / "engine.sock", 204);
        ContainerEngine client(dir.path() / "engine.sock");
        EXPECT_EQ(client.stop("c0ffee", true), std::nullopt);
        EXPECT_EQ(engine.requestLine(), "POST /containers/c0ffee/kill?signal=SIGKILL HTTP/1.1");
    }
}

TEST(ContainerEngine, TheEnginesRefusalsAreReported) {
    test::TempDir dir;
    {
        FakeEngine engine(dir.path() / "a.sock", 404);
        EXPECT_EQ(ContainerEngine(dir.path() / "a.sock").stop("nope", false), "No such container: nope");
    }
    {
        FakeEngine engine(dir.path() / "b.sock", 500);
        EXPECT_EQ(ContainerEngine(dir.path() / "b.sock").stop("x", false),
                  "The container engine refused with status 500");
    }
    EXPECT_NE(ContainerEngine(dir.path() / "none.sock").stop("x", false), std::nullopt);
    EXPECT_EQ(ContainerEngine(dir.path() / "none.sock").stop("../etc", false), "Not a container id: ../etc");
    ProcessTerminator t(makeTerminationPort(), getpid(), getppid(), nullptr);
    auto report = t.carryOut(confirmed(termination::Container{"c", "web"}, TerminationMode::quit), {});
    EXPECT_EQ(report.containerMessage, "No container engine found (no Docker-compatible API socket)");
}

TEST(ContainerEngine, StatusLines) {
    EXPECT_EQ(ContainerEngine::statusCode("HTTP/1.1 204 No Content\r\n\r\n"), 204);
    EXPECT_EQ(ContainerEngine::statusCode("HTTP/1.0 404 Not Found\r\n"), 404);
    EXPECT_EQ(ContainerEngine::statusCode("SSH-2.0-OpenSSH\r\n"), std::nullopt);
    EXPECT_EQ(ContainerEngine::statusCode("HTTP/1.1 2"), std::nullopt);
    EXPECT_EQ(ContainerEngine::statusCode(""), std::nullopt);
}

}  // namespace
}  // namespace orv
