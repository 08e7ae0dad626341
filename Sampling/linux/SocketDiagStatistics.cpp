#include "Sampling/linux/SocketDiagStatistics.h"

#include <unistd.h>

#include <algorithm>

#include "Sampling/ProcFiles.h"
#include "Sampling/linux/ProcPath.h"
#include "core/FileReading.h"
#include "core/TextDecoding.h"

namespace orv {

namespace {

const char pidKey = 0, uniquePIDKey = 0, rxKey = 0, txKey = 0, loopbackKey = 0;

// Bits of the capability sets in proc/<pid>/status.
constexpr uint64_t dacReadSearch = 1ull << 2;
constexpr uint64_t sysPtrace = 1ull << 19;

// tcp_info counts the acknowledged SYN as one byte sent.
uint64_t sentBytes(const InetSocket& socket) {
    const uint64_t acked = socket.bytesAcked.value_or(0);
    return acked > 0 ? acked - 1 : 0;
}

}  // namespace

const NetworkStatisticsMonitor::Keys SocketDiagStatistics::keys{&pidKey, &uniquePIDKey, &rxKey, &txKey, &loopbackKey};

// One dictionary handed to a source's callback.
struct SocketDiagStatistics::Values {
    std::optional<int64_t> pid, uniquePID, rx, tx, loopback;

    std::optional<int64_t> value(const void* key) const {
        if (key == &pidKey) return pid;
        if (key == &uniquePIDKey) return uniquePID;
        if (key == &rxKey) return rx;
        if (key == &txKey) return tx;
        if (key == &loopbackKey) return loopback;
        return std::nullopt;
    }
};

std::shared_ptr<SocketDiagStatistics> SocketDiagStatistics::make(Options options) {
    return std::make_shared<SocketDiagStatistics>(Token{}, std::move(options));
}

SocketDiagStatistics::SocketDiagStatistics(Token, Options options)
    : options_(std::move(options)),
      owners_(options_.root),
      worker_(std::make_unique<SerialQueue>("app.orvantine.sampling.sockdiag")) {}

SocketDiagStatistics::~SocketDiagStatistics() { worker_.reset(); }

bool SocketDiagStatistics::canReadEveryUser(const std::filesystem::path& root) {
    auto status = FileReading::readSmallFile(root / "proc/self/status");
    if (!status) return false;
    for (auto line : TextDecoding::Lines(*status)) {
        auto pair = TextDecoding::splitKeyValue(line, ':');
        if (!pair || pair->first != "CapEff") continue;
        auto effective = TextDecoding::parseNumber<uint64_t>(TextDecoding::trim(pair->second), 16);
        return effective && (*effective & (dacReadSearch | sysPtrace)) == (dacReadSearch | sysPtrace);
    }
    return false;
}

NetworkStatisticsMonitor::Functions SocketDiagStatistics::functions() {
    std::weak_ptr<SocketDiagStatistics> weak = weak_from_this();
    NetworkStatisticsMonitor::Functions f;
    f.create = [weak](SerialQueue& queue, std::function<void(SourceRef)> added) -> NetworkStatisticsMonitor::ManagerRef {
        auto self = weak.lock();
        if (!self) return 0;
        std::lock_guard lock(self->mutex_);
        self->monitorQueue_ = &queue;
        self->added_ = std::move(added);
        return reinterpret_cast<NetworkStatisticsMonitor::ManagerRef>(self.get());
    };
    f.destroy = [weak](NetworkStatisticsMonitor::ManagerRef) {
        if (auto self = weak.lock()) {
            std::lock_guard lock(self->mutex_);
            self->monitorQueue_ = nullptr;
            self->added_ = nullptr;
            self->blocks_.clear();
        }
    };
    f.addAllTCP = [weak](NetworkStatisticsMonitor::ManagerRef) {
        auto self = weak.lock();
        if (!self) return;
        // Closed sockets' final counts need the destroy groups, which need
        // CAP_NET_ADMIN; without them a socket gone from a dump keeps the
        // counts the last dump gave it.
        self->worker_->async([self] { self->watchingDestroyed_ = bool(self->diag_.watchDestroyed()); });
    };
    f.addAllUDP = [](NetworkStatisticsMonitor::ManagerRef) {};  // no UDP byte counters to follow
    auto query = [weak](bool withDescriptions) {
        return [weak, withDescriptions](NetworkStatisticsMonitor::ManagerRef, std::function<void()> done) {
            auto self = weak.lock();
            if (!self) return;
            self->worker_->async([self, withDescriptions, done = std::move(done)]() mutable {
                self->query(withDescriptions, std::move(done));
            });
        };
    };
    f.queryCounts = query(false);
    f.queryUpdate = query(true);
    auto install = [weak](auto member) {
        return [weak, member](SourceRef source, auto block) {
            if (auto self = weak.lock()) {
                std::lock_guard lock(self->mutex_);
                self->blocks_[source].*member = std::move(block);
            }
        };
    };
    f.setCountsBlock = install(&Blocks::counts);
    f.setDescriptionBlock = install(&Blocks::description);
    f.setRemovedBlock = install(&Blocks::removed);
    f.keys = keys;
    f.readValue = [](NetworkStatisticsMonitor::Dictionary dictionary, const void* key) {
        return static_cast<const Values*>(dictionary)->value(key);
    };
    return f;
}

void SocketDiagStatistics::observe(const std::vector<ProcessReading>& readings) {
    std::lock_guard lock(mutex_);
    observed_ = true;
    auto byPID = [](const Seen& a, const Seen& b) { return a.pid < b.pid; };
    // Sized to the pass, not kept between passes: only the last is needed.
    std::vector<Seen> seen;
    seen.reserve(readings.size());
    for (const auto& reading : readings) {
        Seen now{reading.pid, reading.uid, reading.startTime, reading.cpuTime, reading.wakeups};
        auto before = std::lower_bound(lastSeen_.begin(), lastSeen_.end(), now, byPID);
        // CPU time moves in whole clock ticks: a process that reads its
        // socket for a moment each second may show none, but its main
        // thread's run count still moves.
        const bool ran = before == lastSeen_.end() || before->pid != reading.pid ||
                         before->start != reading.startTime || before->cpuTime != reading.cpuTime ||
                         before->wakeups != reading.wakeups;
        if (ran) ran_[reading.pid] = reading.uid;
        seen.push_back(now);
    }
    // Readings come in the kernel's table order, by pid already.
    if (!std::is_sorted(seen.begin(), seen.end(), byPID)) std::stable_sort(seen.begin(), seen.end(), byPID);
    lastSeen_ = std::move(seen);
}

size_t SocketDiagStatistics::dumpsMade() {
    std::lock_guard lock(mutex_);
    return dumpsMade_;
}

size_t SocketDiagStatistics::socketsLookedUp() {
    std::lock_guard lock(mutex_);
    return socketsLookedUp_;
}

size_t SocketDiagStatistics::processesToLookAt() {
    std::lock_guard lock(mutex_);
    return ran_.size();
}

void SocketDiagStatistics::deliver(SourceRef source, bool description, const Values& values) {
    std::lock_guard lock(mutex_);
    if (!monitorQueue_) return;
    monitorQueue_->async([weak = weak_from_this(), source, description, values] {
        auto self = weak.lock();
        if (!self) return;
        Block block;
        {
            std::lock_guard lock(self->mutex_);
            auto found = self->blocks_.find(source);
            if (found == self->blocks_.end()) return;
            block = description ? found->second.description : found->second.counts;
        }
        if (block) block(&values);
    });
}

void SocketDiagStatistics::deliverRemoved(SourceRef source) {
    std::lock_guard lock(mutex_);
    if (!monitorQueue_) return;
    monitorQueue_->async([weak = weak_from_this(), source] {
        auto self = weak.lock();
        if (!self) return;
        std::function<void()> removed;
        {
            std::lock_guard lock(self->mutex_);
            auto found = self->blocks_.find(source);
            if (found == self->blocks_.end()) return;
            removed = std::move(found->second.removed);
            self->blocks_.erase(found);
        }
        if (removed) removed();
    });
}

std::optional<uint64_t> SocketDiagStatistics::uniquePID(int32_t pid) const {
    // The start time in ticks since boot tells this process from any later
    // one with its pid; pids stay below 2^22.
    ProcPath path(pid, "stat");
    auto text = FileReading::readSmallFile(options_.root / "proc" / path.c_str());
    if (!text) return std::nullopt;
    auto stat = ProcStat::decode(*text);
    if (!stat) return std::nullopt;
    return (stat->startTicks << 22) | uint64_t(uint32_t(pid));
}

void SocketDiagStatistics::resolveOwners(const std::vector<SourceRef>& unresolved, bool everyProcess) {
    if (unresolved.empty()) return;
    std::unordered_set<uint64_t> wanted;
    std::unordered_set<uint32_t> uids;
    for (SourceRef source : unresolved) {
        const Known& known = known_.at(source);
        wanted.insert(known.inode);
        uids.insert(known.uid);
    }
    // Only a process that ran since the last look can have opened a socket;
    // a socket is held by a process of its own user (or one it passed to).
    std::vector<int32_t> candidates;
    {
        std::lock_guard lock(mutex_);
        // Our own process last: its many kept descriptors are the costliest
        // folder to read, and it seldom holds a TCP socket.
        const int32_t self = int32_t(::getpid());
        bool selfRan = false;
        for (const auto& [pid, uid] : ran_) {
            if (!uids.contains(uid)) continue;
            if (pid == self) selfRan = true;
            else candidates.push_back(pid);
        }
        if (everyProcess && observed_) {
            // After the narrow looks: every process of those users the last
            // pass saw, after the ones that ran (the search stops once
            // every socket is found).
            std::unordered_set<int32_t> already(candidates.begin(), candidates.end());
            for (const Seen& seen : lastSeen_) {
                if (seen.pid != self && uids.contains(seen.uid) && !already.contains(seen.pid)) {
                    candidates.push_back(seen.pid);
                }
            }
            selfRan = selfRan || uids.contains(uint32_t(::getuid()));
        }
        if (selfRan) candidates.push_back(self);
        if (!observed_) {
            // Nobody says which processes ran: every one is a candidate.
            // The worker must not throw: an unreadable proc is no candidates.
            std::error_code error;
            std::filesystem::directory_iterator entries(options_.root / "proc", error);
            for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
                if (auto pid = TextDecoding::parseNumber<int32_t>(entries->path().filename().string())) {
                    candidates.push_back(*pid);
                }
            }
        }
    }
    auto found = owners_.owners(wanted, candidates);
    if (found.empty()) return;
    std::unordered_map<int32_t, std::optional<uint64_t>> unique;
    for (SourceRef source : unresolved) {
        Known& known = known_.at(source);
        auto owner = found.find(known.inode);
        if (owner == found.end()) continue;
        auto [entry, inserted] = unique.try_emplace(owner->second);
        if (inserted) entry->second = uniquePID(owner->second);
        if (!entry->second) continue;  // gone meanwhile
        known.pid = owner->second;
        known.uniquePID = *entry->second;
    }
}

std::optional<std::vector<SocketDiagStatistics::SourceRef>> SocketDiagStatistics::lookupCandidates() {
    std::vector<SourceRef> candidates;
    std::lock_guard lock(mutex_);
    for (const auto& [source, known] : known_) {
        // Loopback sockets are never counted, and one without an owner is
        // not described: neither needs its counts.
        if (known.pid == 0 || known.loopback || known.unseen != 0) continue;
        // Without word of which processes ran, any of them may have.
        if (!known.moved && observed_ && !ran_.contains(known.pid)) continue;
        if (candidates.size() == lookupLimit) return std::nullopt;
        candidates.push_back(source);
    }
    return candidates;
}

bool SocketDiagStatistics::ownedOrphan(const InetSocket& socket) const {
    if (socket.inode != 0 || !socket.bytesReceived) return false;
    auto known = known_.find(socket.cookie);
    return known != known_.end() && known->second.pid != 0;
}

void SocketDiagStatistics::query(bool, std::function<void()> done) {
    // A socket a dump shows for the first time was made since the last
    // pass (with a dump or without: its SYN moved the counters), so the
    // processes that ran since then are the ones its owner is among.
    auto finish = [&] {
        std::lock_guard lock(mutex_);
        ran_.clear();
        if (monitorQueue_) monitorQueue_->async(std::move(done));
    };
    const auto pass = gate_.next(options_.tcpSegments ? options_.tcpSegments() : std::nullopt);
    bool dumping = pass == TcpTrafficGate::Pass::dump;
    std::vector<InetSocket> dumped;
    // A lookup pass: the sockets that may have moved, and what the kernel
    // says of each (absent: gone since, its end announced or taken as is
    // at the next dump).
    std::vector<SourceRef> lookedUp;
    std::vector<std::optional<InetSocket>> answers;
    if (pass == TcpTrafficGate::Pass::lookUp) {
        auto candidates = lookupCandidates();
        std::optional<std::vector<std::optional<InetSocket>>> found;
        if (candidates) {
            std::vector<InetSocket> identities;
            identities.reserve(candidates->size());
            for (SourceRef source : *candidates) identities.push_back(known_.at(source).identity);
            if (auto result = diag_.lookUp(identities, true)) found = std::move(*result);
        }
        if (found) {
            lookedUp = std::move(*candidates);
            answers = std::move(*found);
            std::lock_guard lock(mutex_);
            socketsLookedUp_ += lookedUp.size();
        } else {
            // Too many to look up, or the lookups failed: a dump serves.
            gate_.dumpedInstead();
            dumping = true;
        }
    }
    if (dumping) {
        static const std::vector<uint8_t> filter = SocketDiagDecoding::nonLoopbackFilter();
        auto result = diag_.dumpTCP(SocketDiagSocket::connectedStates, true, nullptr, filter);
        if (!result) {
            gate_.dumpFailed();
            finish();  // the counts stand as the last dump left them
            return;
        }
        dumped = std::move(*result);
        std::lock_guard lock(mutex_);
        ++dumpsMade_;
    }
    // After the dump, so a socket that closed before it is announced here
    // and one that closed after it is both dumped and announced. Without a
    // dump they are read all the same: a closed socket's last bytes may
    // have come before the counters last settled.
    std::vector<InetSocket> destroyed;
    if (watchingDestroyed_) (void)diag_.drainDestroyed(destroyed);
    std::unordered_set<SourceRef> closed;
    for (const auto& socket : destroyed) closed.insert(socket.cookie);

    std::unordered_set<SourceRef> present;
    std::vector<SourceRef> unresolved;
    std::vector<const InetSocket*> current;
    for (const auto& socket : dumped) {
        if (closed.contains(socket.cookie)) continue;
        if (socket.inode == 0) {
            // Closed by its process while its connection still ends: bytes
            // left to send or its FIN unacknowledged (FIN_WAIT1, CLOSING,
            // LAST_ACK; as long as the peer's window stays shut). One whose
            // owner we know stays that owner's, its counts growing as the
            // peer acknowledges the rest. One never seen with an inode has
            // no owner to find.
            if (ownedOrphan(socket)) {
                present.insert(socket.cookie);
                current.push_back(&socket);
            }
            continue;
        }
        if (!options_.everyUser && socket.uid != options_.uid) continue;
        present.insert(socket.cookie);
        auto [known, inserted] = known_.try_emplace(socket.cookie);
        if (inserted) {
            known->second.identity = socket;
            known->second.identity.bytesReceived.reset();
            known->second.identity.bytesAcked.reset();
            known->second.inode = socket.inode;
            known->second.uid = socket.uid;
            known->second.loopback = socket.isLoopback();
            std::lock_guard lock(mutex_);
            if (added_ && monitorQueue_) monitorQueue_->async([added = added_, source = socket.cookie] { added(source); });
        }
        current.push_back(&socket);
    }
    for (size_t i = 0; i < lookedUp.size(); ++i) {
        const auto& answer = answers[i];
        // TIME_WAIT answers for the address of a socket that closed, with no
        // counts: its bytes were counted before, or come with its announced
        // end. A socket closed by its process but not yet by its connection
        // answers with its counts.
        if (answer && !closed.contains(lookedUp[i]) && (answer->inode != 0 || ownedOrphan(*answer))) {
            current.push_back(&*answer);
        } else {
            known_.at(lookedUp[i]).moved = false;
        }
    }
    // Its owner ran in the pass that saw it appear, or the one before, as
    // far as the readings can tell: a thread other than the main one that
    // ran for less than a clock tick shows in neither the CPU time nor the
    // run count. So the last search looks at every process of the socket's
    // user, and such searches, which read every such fd folder, come at
    // most once every `everyProcessSpacing` queries (a socket waits for the
    // next). Unfound after that, it is one we cannot see (another
    // namespace's process, a descriptor passed away and closed). Without a
    // dump the sockets the last one showed are the ones present.
    if (queriesSinceEveryProcess_ < everyProcessSpacing) ++queriesSinceEveryProcess_;
    const bool everyProcessAllowed = queriesSinceEveryProcess_ >= everyProcessSpacing;
    bool everyProcess = false;
    for (auto& [source, known] : known_) {
        if (known.pid != 0 || known.ownerSearches >= ownerSearchLimit || closed.contains(source)) continue;
        if (dumping ? !present.contains(source) : known.unseen != 0) continue;
        const bool last = known.ownerSearches + 1 == ownerSearchLimit;
        if (last && !everyProcessAllowed) continue;
        everyProcess = everyProcess || last;
        ++known.ownerSearches;
        unresolved.push_back(source);
    }
    if (everyProcess) queriesSinceEveryProcess_ = 0;
    resolveOwners(unresolved, everyProcess);

    auto describe = [&](SourceRef source, Known& known, uint64_t rx, uint64_t tx) {
        // A socket's owner and interface never change: one description is
        // all it needs, whichever query asks.
        if (known.pid != 0 && !known.descriptionSent) {
            deliver(source, true,
                    Values{known.pid, int64_t(known.uniquePID), int64_t(rx), int64_t(tx), known.loopback ? 1 : 0});
            known.descriptionSent = true;
        } else if (rx != known.rx || tx != known.tx) {
            // Counts never go backwards, so an unchanged count is not sent.
            deliver(source, false, Values{std::nullopt, std::nullopt, int64_t(rx), int64_t(tx), std::nullopt});
        }
        known.moved = rx != known.rx || tx != known.tx;
        known.rx = rx;
        known.tx = tx;
    };
    for (const InetSocket* socket : current) {
        describe(socket->cookie, known_.at(socket->cookie), socket->bytesReceived.value_or(0), sentBytes(*socket));
    }
    if (!dumping) {
        // Owners found without a dump are described with the last counts,
        // still exact.
        for (SourceRef source : unresolved) {
            Known& known = known_.at(source);
            describe(source, known, known.rx, known.tx);
        }
    }
    for (const auto& socket : destroyed) {
        auto known = known_.find(socket.cookie);
        if (known == known_.end()) continue;  // opened and closed between two dumps: no owner known
        if (socket.bytesReceived) {
            deliver(socket.cookie, false, Values{std::nullopt, std::nullopt, int64_t(*socket.bytesReceived),
                                                 int64_t(sentBytes(socket)), std::nullopt});
        }
        deliverRemoved(socket.cookie);
        known_.erase(known);
    }
    if (dumping) {
        for (auto it = known_.begin(); it != known_.end();) {
            if (present.contains(it->first)) {
                it->second.unseen = 0;
                ++it;
                continue;
            }
            // Without announcements nothing more will be heard of it: its
            // last counts are its final ones.
            if (watchingDestroyed_ && ++it->second.unseen < unseenLimit) {
                ++it;
                continue;
            }
            deliverRemoved(it->first);
            it = known_.erase(it);
        }
    }
    finish();
}

}  // namespace orv
