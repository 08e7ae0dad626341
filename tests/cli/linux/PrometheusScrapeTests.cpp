// Prometheus itself, from Debian's package, scraping `orvantine serve`: its
// query API must give back a burning app's CPU, and promtool must find
// nothing wrong in the exposition.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/CommandRunner.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// A port the kernel says is free now.
uint16_t freePort() {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

// Children killed and reaped on every way out of the test.
struct Children {
    std::vector<pid_t> pids;
    ~Children() {
        for (pid_t pid : pids) ::kill(pid, SIGKILL);
        for (pid_t pid : pids) ::waitpid(pid, nullptr, 0);
    }
    pid_t spawn(const std::vector<std::string>& argv, const std::filesystem::path& log) {
        pid_t pid = ::fork();
        if (pid == 0) {
            int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
            std::vector<char*> args;
            for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            ::execv(args[0], args.data());
            ::_exit(127);
        }
        pids.push_back(pid);
        return pid;
    }
};

std::string run(const std::string& command) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return out;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    ::pclose(pipe);
    return out;
}

double cpuSeconds(pid_t pid) {
    clockid_t clock{};
    if (clock_getcpuclockid(pid, &clock) != 0) return 0;
    timespec t{};
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

class PrometheusScrape : public test::OrvantineCommandTest {};

TEST_F(PrometheusScrape, QueryApiGivesTheBurnersAppCpuAndPromtoolFindsNothingWrong) {
    if (!std::filesystem::exists("/usr/bin/prometheus") || !std::filesystem::exists("/usr/bin/promtool")) {
        GTEST_SKIP() << "Debian's prometheus package is not installed (apt-get install prometheus)";
    }
    if (run("command -v curl").empty()) GTEST_SKIP() << "curl is not installed";
    test::TempDir dir;
    Children children;

    pid_t burner = ::fork();
    if (burner == 0) {
        ::setsid();
        ::prctl(PR_SET_NAME, "orvpromburner");
        volatile uint64_t spin = 0;
        for (;;) spin = spin + 1;
    }
    children.pids.push_back(burner);

    const uint16_t metricsPort = freePort();
    const std::string endpoint = "127.0.0.1:" + std::to_string(metricsPort);
    children.spawn({test::orvantineProgram().string(), "serve", "--listen", endpoint, "--min-interval", "0.5"},
                   dir.path() / "serve.log");

    const uint16_t prometheusPort = freePort();
    dir.write("prometheus.yml", "global:\n  scrape_interval: 1s\n  evaluation_interval: 1s\n"
                                "scrape_configs:\n  - job_name: orvantine\n    static_configs:\n      - targets: ['" +
                                    endpoint + "']\n");
    children.spawn({"/usr/bin/prometheus", "--config.file=" + (dir.path() / "prometheus.yml").string(),
                    "--storage.tsdb.path=" + (dir.path() / "data").string(),
                    "--web.listen-address=127.0.0.1:" + std::to_string(prometheusPort)},
                   dir.path() / "prometheus.log");

    // Prometheus takes a few seconds to start; once it holds the burner's
    // series, the burner's own CPU is measured over the window queried, so
    // that rate() sees no start of the series inside it.
    const std::string api = "http://127.0.0.1:" + std::to_string(prometheusPort) + "/api/v1/query";
    const std::string series = "orvantine_app_cpu_seconds_total{name=\"orvpromburner\"}";
    bool scraping = false;
    for (int attempt = 0; attempt < 60 && !scraping; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const std::string counted = run("curl -s -G --data-urlencode 'query=count_over_time(" + series + "[1m])' " + api);
        std::smatch samples;
        scraping = std::regex_search(counted, samples, std::regex(R"re("value":\[[0-9.]+,"([0-9]+)"\])re")) &&
                   std::stoi(samples[1].str()) >= 2;
    }
    ASSERT_TRUE(scraping) << "Prometheus never scraped the burner's app; its log: " << run("tail -5 " + (dir.path() / "prometheus.log").string());
    const double cpuBefore = cpuSeconds(burner);
    const auto started = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(8));
    const double cores =
        (cpuSeconds(burner) - cpuBefore) / std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    const std::string answer = run("curl -s -G --data-urlencode 'query=sum(rate(" + series + "[8s]))' " + api);
    std::smatch found;
    ASSERT_TRUE(std::regex_search(answer, found, std::regex(R"re("value":\[[0-9.]+,"([0-9.eE+-]+)"\])re")))
        << "Prometheus answered: " << answer;
    const double rate = std::stod(found[1].str());
    if (cores < 0.5) GTEST_SKIP() << "this machine is too busy to give the burner a core (it got " << cores << ")";
    EXPECT_NEAR(rate, cores, cores * 0.2)
        << "Prometheus's rate against the burner's own CPU clock; its samples: "
        << run("curl -s -G --data-urlencode 'query=" + series + "[12s]' " + api);

    const std::string check = run("curl -s http://" + endpoint + "/metrics | /usr/bin/promtool check metrics 2>&1; echo status=$?");
    EXPECT_NE(check.find("status=0"), std::string::npos) << check;
}

}  // namespace
}  // namespace orv
