#include "cli/ProcessFacts.h"

#include <algorithm>

namespace orv::cli {

namespace {

bool byPID(const ProcessFactsByPID::value_type& entry, int32_t pid) { return entry.first < pid; }

}  // namespace

ProcessFactsByPID::ProcessFactsByPID(std::vector<value_type> entries) : entries_(std::move(entries)) {
    auto order = [](const value_type& a, const value_type& b) { return a.first < b.first; };
    // Linux lists processes by pid already; macOS's table has its own order.
    if (!std::is_sorted(entries_.begin(), entries_.end(), order)) {
        std::stable_sort(entries_.begin(), entries_.end(), order);
    }
    auto same = [](const value_type& a, const value_type& b) { return a.first == b.first; };
    entries_.erase(std::unique(entries_.begin(), entries_.end(), same), entries_.end());
}

ProcessFactsByPID::const_iterator ProcessFactsByPID::find(int32_t pid) const {
    auto found = std::lower_bound(entries_.begin(), entries_.end(), pid, byPID);
    return found != entries_.end() && found->first == pid ? found : entries_.end();
}

ProcessFacts& ProcessFactsByPID::operator[](int32_t pid) {
    auto found = std::lower_bound(entries_.begin(), entries_.end(), pid, byPID);
    if (found == entries_.end() || found->first != pid) found = entries_.insert(found, {pid, ProcessFacts{}});
    return found->second;
}

}  // namespace orv::cli
