#include "PrivateAPIs/NetworkStatisticsLedger.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

namespace orv {

void NetworkStatisticsLedger::merge(uintptr_t identity, const SourceUpdate& update) {
    Source& source = sources[identity];
    if (update.pid && *update.pid > 0) source.pid = *update.pid;
    if (update.uniquePID) source.uniquePID = *update.uniquePID;
    if (update.rxBytes) source.rx = std::max(source.rx, *update.rxBytes);
    if (update.txBytes) source.tx = std::max(source.tx, *update.txBytes);
    if (update.loopback) source.loopback = *update.loopback;
    source.described = source.described || update.isDescription;
    if (source.pid >= 1 && source.uniquePID != 0) {
        auto earlier = closed.find(source.pid);
        if (earlier != closed.end() && earlier->second.uniquePID != source.uniquePID) closed.erase(earlier);
    }
}

void NetworkStatisticsLedger::remove(uintptr_t identity) {
    auto found = sources.find(identity);
    if (found == sources.end()) return;
    const Source source = found->second;
    sources.erase(found);
    if (source.pid < 1 || source.loopback || (source.rx == 0 && source.tx == 0)) return;
    auto [entry, inserted] = closed.try_emplace(source.pid, Closed{source.uniquePID, source.rx, source.tx});
    if (inserted) return;
    if (entry->second.uniquePID == source.uniquePID) {
        entry->second.rx += source.rx;
        entry->second.tx += source.tx;
    } else {
        entry->second = Closed{source.uniquePID, source.rx, source.tx};
    }
}

bool NetworkStatisticsLedger::needsDescriptions() const {
    return sources.empty() ||
           std::any_of(sources.begin(), sources.end(), [](const auto& entry) { return !entry.second.described; });
}

void NetworkStatisticsLedger::prune(const std::function<int(int32_t)>& signalZero) {
    if (closed.empty()) return;
    std::unordered_set<int32_t> live;
    for (const auto& [identity, source] : sources) live.insert(source.pid);
    std::erase_if(closed, [&](const auto& entry) {
        if (live.contains(entry.first)) return false;
        return signalZero(entry.first) == ESRCH;
    });
}

NetworkBytesByPID NetworkStatisticsLedger::totals() const {
    NetworkBytesByPID totals;
    for (const auto& [identity, source] : sources) {
        if (source.pid < 1 || source.loopback) continue;
        auto& pair = totals[source.pid];
        pair.rx += source.rx;
        pair.tx += source.tx;
    }
    for (const auto& [pid, entry] : closed) {
        auto& pair = totals[pid];
        pair.rx += entry.rx;
        pair.tx += entry.tx;
    }
    return totals;
}

}  // namespace orv
