#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace orv {

// Values by pid in one block, by ascending pid, with a map's lookups. For
// tables made anew every pass: a hash map would take a node per process each
// time, thousands of small blocks a second that leave the heap in pieces
// trimming cannot give back, where this takes one allocation.
template <class T>
class PidTable {
public:
    using value_type = std::pair<int32_t, T>;
    using const_iterator = typename std::vector<value_type>::const_iterator;

    PidTable() = default;
    // From entries in any order; of two for one pid, the later stands, as
    // if each had been assigned in turn.
    explicit PidTable(std::vector<value_type> entries) : entries_(std::move(entries)) {
        auto order = [](const value_type& a, const value_type& b) { return a.first < b.first; };
        // Linux lists processes by pid already; macOS's table has its own order.
        if (!std::is_sorted(entries_.begin(), entries_.end(), order)) {
            std::stable_sort(entries_.begin(), entries_.end(), order);
        }
        size_t kept = 0;
        for (size_t i = 0; i < entries_.size(); ++i) {
            if (kept > 0 && entries_[kept - 1].first == entries_[i].first) {
                entries_[kept - 1] = std::move(entries_[i]);
            } else {
                if (kept != i) entries_[kept] = std::move(entries_[i]);
                ++kept;
            }
        }
        entries_.erase(entries_.begin() + std::ptrdiff_t(kept), entries_.end());
    }
    PidTable(std::initializer_list<value_type> entries) : PidTable(std::vector<value_type>(entries)) {}

    const_iterator find(int32_t pid) const {
        auto found = lowerBound(entries_, pid);
        return found != entries_.end() && found->first == pid ? found : entries_.end();
    }
    bool contains(int32_t pid) const { return find(pid) != end(); }
    const T& at(int32_t pid) const {
        auto found = find(pid);
        if (found == end()) throw std::out_of_range("no entry for pid " + std::to_string(pid));
        return found->second;
    }
    // Adds the pid's value unless it has one already, as a map's emplace
    // does; whether it was added.
    bool emplace(int32_t pid, T value) {
        auto found = lowerBound(entries_, pid);
        if (found != entries_.end() && found->first == pid) return false;
        entries_.insert(found, {pid, std::move(value)});
        return true;
    }
    // The pid's value, made with T's default when it has none yet.
    T& operator[](int32_t pid) {
        auto found = lowerBound(entries_, pid);
        if (found == entries_.end() || found->first != pid) found = entries_.insert(found, {pid, T{}});
        return found->second;
    }

    const_iterator begin() const { return entries_.begin(); }
    const_iterator end() const { return entries_.end(); }
    size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    void clear() { entries_.clear(); }

    friend bool operator==(const PidTable&, const PidTable&) = default;

private:
    template <class Entries>
    static auto lowerBound(Entries& entries, int32_t pid) {
        return std::lower_bound(entries.begin(), entries.end(), pid,
                                [](const value_type& entry, int32_t p) { return entry.first < p; });
    }

    std::vector<value_type> entries_;
};

}  // namespace orv
