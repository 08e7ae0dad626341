// What per-process network accounting adds to a sampling pass: the CPU of a
// snapshot pass with and without it, at ~600 and ~2,000 processes that hold
// ~5,000 TCP sockets between them (loopback pairs, and connections to a
// server in a network namespace this bench makes), and the CPU of the
// command a user runs, `orvantine snapshot --count 20 --interval 1`, beside
// btop at the same refresh when it is installed.
//
// Each size is measured twice: with the ~5,000 sockets idle, and with
// traffic flowing (--talking sockets to the namespace each sending a little
// every 20 ms, so TCP segments flow between any two passes).
// Beside the accounting as it runs, "every dump" is the accounting that
// dumps every socket on every pass, whatever the TCP segment counters say.
// Between the passes without accounting it times the kernel's side alone:
// one dump as the accounting asks for it, and a walk of the connection
// table that matches no socket, which every dump pays whatever it finds.
//
//   ProcessNetworkBench [--processes N]... [--sockets S] [--talking N] [--traffic idle|active] [--passes N] [--seconds S] [--program PATH] [--btop] [--only off|every|on]
//
// --only runs the passes of one accounting alone (to profile it) and
// prints its figures.
//
// Needs root for the namespace; without it every socket is a loopback pair.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Sampling/ProcessNetworkSampler.h"
#include "Sampling/SnapshotBuilder.h"
#include "Sampling/TcpSegmentCounters.h"
#include "Sampling/linux/SocketDiagSocket.h"
#include "Sampling/linux/SocketDiagStatistics.h"
#include "core/FileReading.h"
#include "core/TextDecoding.h"
#include "bench/BenchSupport.h"

using namespace orv::bench;

namespace {

const std::string nsName = "orvbench" + std::to_string(::getpid());
const std::string hostLink = "orvbh" + std::to_string(::getpid());
const std::string peerLink = "orvbp" + std::to_string(::getpid());
constexpr const char* inside = "10.214.0.2";
constexpr uint16_t serverPort = 9000;
constexpr uint16_t sinkPort = 9001;

bool shell(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

bool makeNamespace() {
    if (::geteuid() != 0) return false;
    return shell("ip netns add " + nsName) && shell("ip link add " + hostLink + " type veth peer name " + peerLink) &&
           shell("ip link set " + peerLink + " netns " + nsName) && shell("ip addr add 10.214.0.1/30 dev " + hostLink) &&
           shell("ip link set " + hostLink + " up") &&
           shell("ip -n " + nsName + " addr add " + std::string(inside) + "/30 dev " + peerLink) &&
           shell("ip -n " + nsName + " link set " + peerLink + " up");
}

void dropNamespace() { shell("ip netns del " + nsName); }

// In a forked child: enter the namespace and listen on `port` there, or
// end the child.
int listenInNamespace(uint16_t port, int backlog) {
    int ns = ::open(("/run/netns/" + nsName).c_str(), O_RDONLY);
    if (ns < 0 || ::setns(ns, CLONE_NEWNET) != 0) _exit(2);
    int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, inside, &address.sin_addr);
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, backlog) != 0) {
        _exit(3);
    }
    return listener;
}

// A child in the namespace that accepts connections and holds them.
pid_t startServer() {
    pid_t child = fork();
    if (child != 0) return child;
    const int listener = listenInNamespace(serverPort, 4096);
    for (;;) ::accept(listener, nullptr, nullptr);  // held open until killed
}

// A child in the namespace that accepts connections on sinkPort and reads
// whatever they send, so their traffic never stalls on a full window.
pid_t startSink() {
    pid_t child = fork();
    if (child != 0) return child;
    const int listener = listenInNamespace(sinkPort, 64);
    std::vector<pollfd> watched{{listener, POLLIN, 0}};
    char buffer[65536];
    for (;;) {
        if (::poll(watched.data(), watched.size(), -1) <= 0) continue;
        for (size_t i = 1; i < watched.size(); ++i) {
            if (watched[i].revents) (void)::read(watched[i].fd, buffer, sizeof buffer);
        }
        if (watched[0].revents & POLLIN) watched.push_back({::accept(listener, nullptr, nullptr), POLLIN, 0});
    }
}

int connectTo(const char* address, uint16_t port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    ::inet_pton(AF_INET, address, &peer.sin_addr);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// A child holding `pairs` loopback connections (both ends) and `remote`
// connections to the namespace's server, each with a little traffic.
pid_t startHolder(size_t pairs, size_t remote) {
    int ready[2];
    if (::pipe(ready) != 0) return -1;
    pid_t child = fork();
    if (child != 0) {
        ::close(ready[1]);
        char c;
        (void)::read(ready[0], &c, 1);
        ::close(ready[0]);
        return child;
    }
    ::close(ready[0]);
    int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener, 4096);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    for (size_t i = 0; i < pairs; ++i) {
        int client = connectTo("127.0.0.1", ntohs(address.sin_port));
        ::accept(listener, nullptr, nullptr);
        if (client >= 0) (void)::send(client, "hello", 5, MSG_NOSIGNAL);
    }
    for (size_t i = 0; i < remote; ++i) {
        int fd = connectTo(inside, serverPort);
        if (fd >= 0) (void)::send(fd, "hello", 5, MSG_NOSIGNAL);
    }
    char c = 1;
    (void)::write(ready[1], &c, 1);
    for (;;) pause();
}

// A child with `count` connections to the sink, each sending 1 KiB every
// 20 ms until the child is killed.
pid_t startTalker(size_t count) {
    pid_t child = fork();
    if (child != 0) return child;
    std::vector<int> connections;
    for (size_t i = 0; i < count; ++i) {
        int fd = connectTo(inside, sinkPort);
        if (fd >= 0) connections.push_back(fd);
    }
    static const std::vector<char> chunk(1024, 't');
    for (;;) {
        for (int fd : connections) (void)::send(fd, chunk.data(), chunk.size(), MSG_NOSIGNAL);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

// The accounting as makeProcessNetworkPort makes it, or as it was before
// passes could keep the last dump (`everyPass`: one dump of every socket on
// every pass). `statistics` is kept to count the dumps made.
std::shared_ptr<orv::ProcessNetworkSource> accounting(bool everyPass,
                                                      std::shared_ptr<orv::SocketDiagStatistics>& statistics) {
    orv::SocketDiagStatistics::Options options;
    options.everyUser = orv::SocketDiagStatistics::canReadEveryUser("/");
    options.uid = uint32_t(::getuid());
    if (!everyPass) {
        options.tcpSegments = []() -> std::optional<orv::TcpSegmentCounters> {
            auto text = orv::FileReading::readSmallFile("/proc/net/snmp");
            if (!text) return std::nullopt;
            return orv::TcpSegmentCounters::decode(*text);
        };
    }
    statistics = orv::SocketDiagStatistics::make(options);
    orv::ProcessNetworkPort port;
    port.monitor = std::make_unique<orv::NetworkStatisticsMonitor>(statistics->functions());
    port.observe = [statistics](const std::vector<orv::ProcessReading>& readings) { statistics->observe(readings); };
    port.coversEveryUser = options.everyUser;
    return std::make_shared<orv::ProcessNetworkSampler>(std::move(port));
}

enum class Accounting { off, everyDump, on };

struct Figures {
    double cpuPerPassMs = 0;
    double wallMedianMs = 0;
    size_t processes = 0;
    size_t dumps = 0;     // of the measured passes
    size_t lookedUp = 0;  // sockets looked up one by one in them
    // Without accounting: the kernel's side, timed after each pass.
    double dumpMs = 0;
    double walkMs = 0;
    std::vector<double> cpu;  // of each pass, in turn with the other modes'
};

// Milliseconds of one dump on `diag`, with the accounting's request or
// (`walkOnly`) one for the CLOSE state, in which no hashed socket is: the
// kernel walks every bucket of its connection table and returns nothing.
double timeDump(orv::SocketDiagSocket& diag, bool walkOnly) {
    static const std::vector<uint8_t> filter = orv::SocketDiagDecoding::nonLoopbackFilter();
    constexpr uint32_t closeState = 1u << 7;
    auto t0 = Clock::now();
    auto dumped = walkOnly ? diag.dumpTCP(closeState, false) : diag.dumpTCP(orv::SocketDiagSocket::connectedStates, true, nullptr, filter);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
    return dumped ? ms : -1;
}

// Passes of one builder per mode, taken in turn (each round in another
// order), so a slow spell of this shared machine weighs on every mode
// alike: each pass's CPU is that of the whole process while it alone ran.
// Each builder makes a pass every 50 ms.
std::vector<Figures> passes(const std::vector<Accounting>& modes, int count) {
    struct Run {
        Accounting mode;
        std::shared_ptr<orv::SocketDiagStatistics> statistics;
        std::unique_ptr<orv::SnapshotBuilder> builder;
        std::vector<double> cpu, wall;
        size_t dumpsBefore = 0;
        size_t lookedUpBefore = 0;
        size_t processes = 0;
    };
    std::vector<Run> runs;
    for (Accounting mode : modes) {
        auto parts = orv::SnapshotBuilder::machineParts();
        Run run{mode, nullptr, nullptr, {}, {}, 0, 0, 0};
        if (mode == Accounting::off) parts.processNetwork = nullptr;
        else parts.processNetwork = accounting(mode == Accounting::everyDump, run.statistics);
        run.builder = std::make_unique<orv::SnapshotBuilder>(std::move(parts));
        run.builder->build();
        run.builder->build();  // every socket's owner found: the steady state
        run.dumpsBefore = run.statistics ? run.statistics->dumpsMade() : 0;
        run.lookedUpBefore = run.statistics ? run.statistics->socketsLookedUp() : 0;
        runs.push_back(std::move(run));
    }
    std::vector<double> dumpMs, walkMs;
    orv::SocketDiagSocket diag;
    const auto gap = std::chrono::milliseconds(50 / std::max<size_t>(1, runs.size()));
    for (int i = 0; i < count; ++i) {
        for (size_t k = 0; k < runs.size(); ++k) {
            Run& run = runs[(k + size_t(i)) % runs.size()];
            std::this_thread::sleep_for(gap);
            auto [before, userBefore] = processCPUMilliseconds();
            auto t0 = Clock::now();
            run.processes = run.builder->build().processes.size();
            run.wall.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
            auto [after, userAfter] = processCPUMilliseconds();
            run.cpu.push_back(after - before);
            if (run.mode == Accounting::off) {
                // Right after a pass, as the accounting's dump runs: the
                // table is out of the caches again.
                const bool walkOnly = i % 2 == 1;
                (walkOnly ? walkMs : dumpMs).push_back(timeDump(diag, walkOnly));
            }
        }
    }
    std::vector<Figures> figures;
    for (const Run& run : runs) {
        Figures f;
        f.cpuPerPassMs = median(run.cpu);
        f.cpu = run.cpu;
        f.wallMedianMs = median(run.wall);
        f.processes = run.processes;
        f.dumps = run.statistics ? run.statistics->dumpsMade() - run.dumpsBefore : 0;
        f.lookedUp = run.statistics ? run.statistics->socketsLookedUp() - run.lookedUpBefore : 0;
        if (run.mode == Accounting::off && !dumpMs.empty()) f.dumpMs = median(dumpMs);
        if (run.mode == Accounting::off && !walkMs.empty()) f.walkMs = median(walkMs);
        figures.push_back(std::move(f));
    }
    return figures;
}

// What `with` adds to `without`, in percent of the pass without: the median
// of the differences of passes taken side by side.
double addedPercent(const Figures& with, const Figures& without) {
    std::vector<double> differences;
    for (size_t i = 0; i < std::min(with.cpu.size(), without.cpu.size()); ++i) {
        differences.push_back(with.cpu[i] - without.cpu[i]);
    }
    return differences.empty() || without.cpuPerPassMs <= 0 ? 0 : median(differences) / without.cpuPerPassMs * 100;
}

// The size of this namespace's TCP connection table (a sysctl since
// Linux 6.1), or "?".
std::string ehashEntries() {
    auto text = orv::FileReading::readSmallFile("/proc/sys/net/ipv4/tcp_ehash_entries");
    if (!text) return "?";
    std::string entries(orv::TextDecoding::trim(*text));
    // A negative value is a child namespace's table shared with the host.
    return entries.empty() ? "?" : entries[0] == '-' ? entries.substr(1) : entries;
}

size_t tcpSocketCount() {
    std::string out = run("ss -Htan state all 2>/dev/null | wc -l");
    return size_t(std::atol(out.c_str()));
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<size_t> sizes;
    size_t sockets = 5000;
    size_t talking = 8;
    std::vector<bool> traffic{false, true};
    int count = 20, seconds = 20;
    bool btop = false;
    std::string only;
    std::string program = (std::filesystem::path(argv[0]).parent_path().parent_path() / "cli" / "orvantine").string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--processes" && i + 1 < argc) sizes.push_back(size_t(std::atol(argv[++i])));
        else if (arg == "--sockets" && i + 1 < argc) sockets = size_t(std::atol(argv[++i]));
        else if (arg == "--talking" && i + 1 < argc) talking = size_t(std::atol(argv[++i]));
        else if (arg == "--traffic" && i + 1 < argc) traffic = {std::string(argv[++i]) == "active"};
        else if (arg == "--passes" && i + 1 < argc) count = std::atoi(argv[++i]);
        else if (arg == "--seconds" && i + 1 < argc) seconds = std::atoi(argv[++i]);
        else if (arg == "--program" && i + 1 < argc) program = argv[++i];
        else if (arg == "--btop") btop = true;
        else if (arg == "--only" && i + 1 < argc &&
                 (std::string(argv[i + 1]) == "off" || std::string(argv[i + 1]) == "every" || std::string(argv[i + 1]) == "on"))
            only = argv[++i];
        else {
            std::fprintf(stderr, "usage: %s [--processes N]... [--sockets S] [--talking N] [--traffic idle|active] [--passes N] [--seconds S] [--program PATH] [--btop] [--only off|every|on]\n",
                         argv[0]);
            return 2;
        }
    }
    if (sizes.empty()) sizes = {600, 2000};
    // Two samplers keep their proc files open side by side (about four per
    // process each): as many descriptors as this process may have.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }

    const bool namespaced = makeNamespace();
    pid_t server = namespaced ? startServer() : -1;
    pid_t sink = namespaced ? startSink() : -1;
    if (namespaced) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    // 40 holders; a quarter of each one's sockets go to the namespace.
    constexpr size_t holders = 40;
    const size_t perHolder = sockets / holders;
    const size_t remote = namespaced ? perHolder / 4 : 0;
    const size_t pairs = (perHolder - remote) / 2;
    std::vector<pid_t> holding;
    for (size_t i = 0; i < holders; ++i) holding.push_back(startHolder(pairs, remote));

    std::printf("%-10s %8s %-8s %10s %10s %10s %8s %10s %8s %7s %7s %8s %8s %10s %10s\n", "processes", "sockets",
                "traffic", "pass ms", "every dump", "with acct", "added %", "pass wall", "before %", "dumps", "lookups",
                "dump ms", "walk ms", "command %", "btop %");
    for (size_t size : sizes) {
        size_t live = liveProcessCount();
        auto children = startIdleChildren(size > live ? size - live : 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        for (bool active : traffic) {
            std::vector<pid_t> talker;
            if (active) {
                if (!namespaced) break;
                talker.push_back(startTalker(talking));
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
            }
            if (!only.empty()) {
                const Accounting mode = only == "off" ? Accounting::off : only == "every" ? Accounting::everyDump : Accounting::on;
                Figures alone = passes({mode}, count)[0];
                std::printf("%-10zu %8zu %-8s %s: %.2f ms CPU per pass, %.2f ms wall, %zu/%d dumped, %.1f sockets "
                            "looked up per pass\n",
                            alone.processes, tcpSocketCount(), active ? "active" : "idle", only.c_str(),
                            alone.cpuPerPassMs, alone.wallMedianMs, alone.dumps, count,
                            double(alone.lookedUp) / count);
                std::fflush(stdout);
                stopChildren(talker);
                continue;
            }
            // Two samplers side by side at a time: each keeps its proc
            // files open, and three would not fit this machine's
            // descriptor limit at ~2,000 processes.
            auto everyPass = passes({Accounting::off, Accounting::everyDump}, count);
            auto asItRuns = passes({Accounting::off, Accounting::on}, count);
            const Figures& without = asItRuns[0];
            const Figures& before = everyPass[1];
            const Figures& with = asItRuns[1];
            auto [cpu, wall] = commandCPU(program, seconds);
            double share = cpu < 0 ? -1 : cpu / wall * 100;
            double btopPercent = btop ? btopShare(seconds) : -1;
            const std::string dumps = std::to_string(with.dumps) + "/" + std::to_string(count);
            std::printf("%-10zu %8zu %-8s %10.2f %10.2f %10.2f %8.1f %10.2f %8.1f %7s %7.1f %8.2f %8.2f %10s %10s\n",
                        with.processes, tcpSocketCount(), active ? "active" : "idle", without.cpuPerPassMs,
                        before.cpuPerPassMs, with.cpuPerPassMs, addedPercent(with, without), with.wallMedianMs,
                        addedPercent(before, everyPass[0]),
                        dumps.c_str(), double(with.lookedUp) / count, without.dumpMs, without.walkMs,
                        share < 0 ? "failed" : std::to_string(share).substr(0, 5).c_str(),
                        btopPercent < 0 ? "-" : std::to_string(btopPercent).substr(0, 5).c_str());
            std::fflush(stdout);
            stopChildren(talker);
        }
        stopChildren(children);
    }
    stopChildren(holding);
    std::vector<pid_t> servers;
    for (pid_t p : {server, sink}) {
        if (p > 0) servers.push_back(p);
    }
    stopChildren(servers);
    if (namespaced) dropNamespace();
    std::printf("pass ms: CPU of every thread of this process per snapshot pass without accounting (the median; the "
                "passes with and without accounting are taken in turn); every dump: with "
                "accounting that dumps every socket each pass; with acct: the accounting as it runs; added %%: what it "
                "adds, the median of the differences of passes taken side by side (before %%: what every dump adds); dumps: passes of the accounting as it runs that dumped (the "
                "others kept the last dump, as no TCP segment moved in this namespace, or looked up the sockets that may "
                "have moved, as no connection was made); lookups: sockets looked up one by one per pass; dump ms: one dump as the accounting "
                "asks, timed after a pass without accounting; walk ms: the kernel's walk of its %s-bucket connection "
                "table, which every dump pays however few sockets it returns; command %%: `orvantine snapshot --json --count %d --interval 1` "
                "(accounting on) over its wall time; idle: no socket moves a byte; active: %zu sockets each send 1 KiB "
                "every 20 ms.\n",
                ehashEntries().c_str(), seconds, talking);
    return 0;
}
