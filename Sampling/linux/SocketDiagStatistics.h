#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PrivateAPIs/NetworkStatisticsMonitor.h"
#include "Sampling/TcpTrafficGate.h"
#include "Sampling/linux/ProcSocketOwners.h"
#include "Sampling/linux/SocketDiagSocket.h"
#include "core/ProcessReading.h"

namespace orv {

// The network-statistics monitor's operations, played by the kernel's
// socket diagnostics: every TCP socket (IPv4 and IPv6, every state) is a
// source identified by its cookie; a query dumps them with their tcp_info,
// finds the owner of each new one, and delivers descriptions and counts on
// the monitor's queue; a socket that closed since the last dump delivers
// its final counts (from the destroy notification, where the subscription
// is allowed) and is removed. The work runs on a thread of its own, so the
// monitor's time limit keeps counting while a dump runs.
//
// The dump is the costly part (the kernel walks its whole connection table
// and fills each socket's tcp_info), so a query while the namespace's TCP
// segment counters stand still keeps the last dump's counts (TcpTrafficGate
// says when that is exact), and one with traffic but no new connection
// looks up, by their identity, only the sockets that may have moved: those
// of processes that ran since the last query and those whose counts moved
// at their last look. Destroyed sockets are read on every query, and
// owners still unfound are looked for among the known sockets.
//
// UDP sockets carry no byte counters in socket diagnostics and are not
// counted. Owners are found through proc/<pid>/fd: without CAP_SYS_PTRACE
// and CAP_DAC_READ_SEARCH only our own user's sockets are followed.
class SocketDiagStatistics : public std::enable_shared_from_this<SocketDiagStatistics> {
public:
    struct Options {
        std::filesystem::path root = "/";
        bool everyUser = false;  // may read every process's fd folder
        uint32_t uid = 0;        // the user followed otherwise
        // The TCP segment counters of the network namespace the dumps
        // describe; without them every query dumps.
        std::function<std::optional<TcpSegmentCounters>()> tcpSegments;
    };

    // The keys of the dictionaries it hands the monitor.
    static const NetworkStatisticsMonitor::Keys keys;

    static std::shared_ptr<SocketDiagStatistics> make(Options options);

    NetworkStatisticsMonitor::Functions functions();

    // The pass's readings: which processes ran since the last query.
    void observe(const std::vector<ProcessReading>& readings);
    // How many processes are waiting to be looked at (for tests).
    size_t processesToLookAt();
    // How many dumps the queries made, and how many sockets they looked up
    // one by one (for tests and benches).
    size_t dumpsMade();
    size_t socketsLookedUp();

    // Whether this process may read every process's fd folder (the
    // capabilities in proc/self/status), and join the destroy groups.
    static bool canReadEveryUser(const std::filesystem::path& root);

    struct Token {};
    SocketDiagStatistics(Token, Options options);
    ~SocketDiagStatistics();

private:
    using SourceRef = NetworkStatisticsMonitor::SourceRef;
    using Block = std::function<void(NetworkStatisticsMonitor::Dictionary)>;

    // A socket a dump described, as the monitor knows it.
    struct Known {
        InetSocket identity;  // what a lookup names it by; no counts
        uint64_t inode = 0;
        uint32_t uid = 0;
        int32_t pid = 0;  // 0 until its owner is found
        uint64_t uniquePID = 0;
        bool descriptionSent = false;
        uint64_t rx = 0, tx = 0;  // as last delivered
        bool loopback = false;
        bool moved = false;       // its counts changed at its last look
        unsigned unseen = 0;      // dumps since the last that showed it
        unsigned ownerSearches = 0;
    };
    static constexpr unsigned ownerSearchLimit = 3;
    static constexpr unsigned everyProcessSpacing = 10;
    unsigned queriesSinceEveryProcess_ = everyProcessSpacing;  // the worker's alone
    // A socket that left the dumps while its descriptor stays open (after
    // its close in TIME_WAIT, or shut down both ways) is destroyed only when
    // the descriptor closes: its final counts come then. Without that
    // announcement for this many dumps it is taken as gone.
    static constexpr unsigned unseenLimit = 600;
    // A lookup costs about 2.8 µs of kernel time, a dump's bare walk of a
    // 2^18-bucket table 0.5–1.6 ms: past this many sockets to look up, a
    // pass dumps instead.
    static constexpr size_t lookupLimit = 256;
    struct Blocks {
        Block counts, description;
        std::function<void()> removed;
    };
    struct Values;

    void query(bool withDescriptions, std::function<void()> done);
    // Among the processes that ran since the last look or, with
    // `everyProcess`, every process of the sockets' users.
    void resolveOwners(const std::vector<SourceRef>& unresolved, bool everyProcess);
    // The sockets a lookup pass asks for; absent when there are too many.
    std::optional<std::vector<SourceRef>> lookupCandidates();
    // A socket its process closed while its connection still ends, whose
    // owner was found while it had a descriptor, and with its counts.
    bool ownedOrphan(const InetSocket& socket) const;
    std::optional<uint64_t> uniquePID(int32_t pid) const;
    void deliver(SourceRef source, bool description, const Values& values);
    void deliverRemoved(SourceRef source);

    Options options_;
    SocketDiagSocket diag_;
    ProcSocketOwners owners_;
    bool watchingDestroyed_ = false;
    std::unordered_map<SourceRef, Known> known_;  // the worker's alone
    TcpTrafficGate gate_;                          // the worker's alone

    std::mutex mutex_;  // guards what the monitor's queue and observe touch
    SerialQueue* monitorQueue_ = nullptr;
    std::function<void(SourceRef)> added_;
    std::unordered_map<SourceRef, Blocks> blocks_;
    // What each process showed at the last pass, by pid: a flat vector
    // rather than a map, since it holds every process of the machine.
    struct Seen {
        int32_t pid;
        uint32_t uid;
        Date start;
        Duration cpuTime;
        uint64_t wakeups;
    };
    std::vector<Seen> lastSeen_;
    // The processes (pid → uid) that ran since the last query: one entry per
    // process however many passes come between, as in the helper, whose
    // clients may ask for samples and never for bytes.
    std::unordered_map<int32_t, uint32_t> ran_;
    bool observed_ = false;
    size_t dumpsMade_ = 0;
    size_t socketsLookedUp_ = 0;

    std::unique_ptr<SerialQueue> worker_;
};

}  // namespace orv
