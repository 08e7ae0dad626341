// `orvantine devservers` and `orvantine stop`, run as a user runs them,
// against a server the test starts on a loopback port from a temporary
// project folder.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "core/JsonCoding.h"
#include "core/Project.h"
#include "support/ChildProcesses.h"
#include "support/CommandRunner.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::runOrvantine;

// A port free on the loopback address a moment ago.
uint16_t freePort() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    close(fd);
    return ntohs(address.sin_port);
}

// Python's http.server leading its own process group, with a `sleep` child
// in the group, started in `folder`; the group is killed and the server
// reaped on every path out.
class DevServer {
public:
    DevServer(const std::filesystem::path& folder, uint16_t port) {
        int output[2];
        if (pipe2(output, O_CLOEXEC) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            setpgid(0, 0);
            if (chdir(folder.c_str()) != 0) _exit(126);
            dup2(output[1], STDOUT_FILENO);
            dup2(output[1], STDERR_FILENO);
            const std::string script = "sleep 300 & exec /usr/bin/python3 -u -m http.server " + std::to_string(port) +
                                       " --bind 127.0.0.1";
            execl("/bin/sh", "sh", "-c", script.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        close(output[1]);
        // Listening once it says so.
        std::string said;
        char buffer[256];
        while (said.find("Serving HTTP") == std::string::npos) {
            const ssize_t n = read(output[0], buffer, sizeof buffer);
            if (n <= 0) break;
            said.append(buffer, size_t(n));
        }
        ready_ = said.find("Serving HTTP") != std::string::npos;
        output_ = output[0];
    }
    ~DevServer() {
        if (pid_ > 0) {
            killpg(pid_, SIGKILL);
            int status = 0;
            waitpid(pid_, &status, 0);
        }
        if (output_ >= 0) close(output_);
    }
    pid_t pid() const { return pid_; }
    bool ready() const { return ready_; }
    // The sleep the shell started before it became the server.
    pid_t child() const {
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::ifstream stat(entry.path() / "stat");
            std::string text;
            if (!std::getline(stat, text)) continue;
            auto close = text.rfind(')');
            if (close == std::string::npos) continue;
            std::istringstream fields(text.substr(close + 2));
            char state;
            int ppid = 0;
            fields >> state >> ppid;
            if (ppid == pid_ && text.find("(sleep)") != std::string::npos) return std::stoi(text);
        }
        return -1;
    }

private:
    pid_t pid_ = -1;
    int output_ = -1;
    bool ready_ = false;
};

class DevServersCommand : public test::OrvantineCommandTest {
protected:
    void SetUp() override {
        test::OrvantineCommandTest::SetUp();
        if (!std::filesystem::exists("/usr/bin/python3")) GTEST_SKIP() << "no /usr/bin/python3";
    }
};

TEST_F(DevServersCommand, FindsTheServerWithItsProjectPortAndRuntime) {
    test::TempDir dir;
    dir.write("shop/package.json", R"({"name": "orvantine-test-shop"})");
    dir.mkdir("shop/public");
    const uint16_t port = freePort();
    DevServer server(dir.path() / "shop/public", port);
    ASSERT_TRUE(server.ready());

    auto result = runOrvantine("devservers --json --interval 0");
    ASSERT_EQ(result.status, 0) << result.err;
    auto projects = json::decode<std::vector<Project>>(result.out);
    const Project* shop = nullptr;
    for (const auto& p : projects) {
        if (p.id == (dir.path() / "shop").string()) shop = &p;
    }
    ASSERT_NE(shop, nullptr) << result.out.substr(0, 2000);
    EXPECT_EQ(shop->name, "orvantine-test-shop");
    ASSERT_EQ(shop->servers.size(), 1u);
    const auto& s = shop->servers[0];
    EXPECT_EQ(s.pid, server.pid());
    EXPECT_EQ(s.ports, std::vector<uint16_t>{port});
    EXPECT_EQ(s.runtime, DevRuntime::python);
    EXPECT_EQ(s.name, "http.server");
    EXPECT_EQ(s.stopTarget, TerminationTarget{termination::ProcessGroup{server.pid()}});
    EXPECT_GT(s.memoryBytes, 0u);

    auto text = runOrvantine("devservers --interval 0");
    EXPECT_NE(text.out.find("orvantine-test-shop"), std::string::npos);
    EXPECT_NE(text.out.find("group:" + std::to_string(server.pid())), std::string::npos);
}

TEST_F(DevServersCommand, StoppingTheGroupEndsTheServerAndItsChildAndNothingElse) {
    test::TempDir dir;
    dir.write("a/package.json", R"({"name": "a"})");
    dir.write("b/package.json", R"({"name": "b"})");
    DevServer a(dir.path() / "a", freePort());
    DevServer b(dir.path() / "b", freePort());
    ASSERT_TRUE(a.ready() && b.ready());
    const pid_t child = a.child();
    ASSERT_GT(child, 0);

    auto result = runOrvantine("stop " + (dir.path() / "a").string() + " --yes");
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("Quit (SIGTERM) process group " + std::to_string(a.pid())), std::string::npos)
        << result.out;
    const auto terminated = "Terminated: " + std::to_string(std::min<pid_t>(a.pid(), child)) + ", " +
                            std::to_string(std::max<pid_t>(a.pid(), child));
    EXPECT_NE(result.out.find(terminated), std::string::npos) << result.out;
    EXPECT_FALSE(test::ChildProcesses::running(a.pid()));
    EXPECT_FALSE(test::ChildProcesses::notZombie(child));
    EXPECT_TRUE(test::ChildProcesses::running(b.pid()));
}

TEST_F(DevServersCommand, StopAsksOnlyOnATerminalAndRefusesBadTargets) {
    test::ChildProcesses children;
    const pid_t pid = children.start({});
    auto result = runOrvantine("stop " + std::to_string(pid) + " < /dev/null");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("pass --yes"), std::string::npos) << result.err;
    EXPECT_TRUE(test::ChildProcesses::running(pid));
    EXPECT_EQ(runOrvantine("stop group:x").status, 2);
    EXPECT_EQ(runOrvantine("stop /no/such/project --yes").status, 1);
    result = runOrvantine("stop 1 --yes --force");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("Refusing to stop pid 1"), std::string::npos) << result.err;
    result = runOrvantine("stop " + std::to_string(pid) + " --yes --force");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_FALSE(test::ChildProcesses::running(pid));
}

}  // namespace
}  // namespace orv
