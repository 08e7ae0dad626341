#pragma once

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>

namespace orv {

// Which block devices are left out of the disk throughput, remembered per
// device ID because finding out costs a registry or sysfs walk. On macOS
// these are drivers on a disk image's virtual interconnect, whose reads
// would otherwise count twice with the disk that holds the image; the
// Linux port answers the same way for partitions, loop, device-mapper, md
// and other virtual devices, whose bytes are already counted on a disk.
// Answers are kept only for devices seen in the latest pass.
class DiskImageCache {
public:
    // Starts a pass: nothing is seen yet.
    void beginPass() { seen_.clear(); }

    // The cached answer for `id`, or `probe`'s answer, stored; marks `id`
    // as seen in this pass.
    bool isDiskImage(uint64_t id, const std::function<bool()>& probe) {
        seen_.insert(id);
        if (auto found = answers_.find(id); found != answers_.end()) return found->second;
        bool answer = probe();
        answers_.emplace(id, answer);
        return answer;
    }

    // Ends a pass: forgets devices that were not seen in it.
    void endPass() {
        for (auto it = answers_.begin(); it != answers_.end();) {
            if (seen_.count(it->first)) ++it;
            else it = answers_.erase(it);
        }
    }

    size_t size() const { return answers_.size(); }
    bool contains(uint64_t id) const { return answers_.count(id) != 0; }

private:
    std::unordered_map<uint64_t, bool> answers_;
    std::unordered_set<uint64_t> seen_;
};

}  // namespace orv
