#pragma once

#include <cstdint>
#include <functional>
#include <unordered_map>

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
    void beginPass() { ++pass_; }

    // The cached answer for `id`, or `probe`'s answer, stored; marks `id`
    // as seen in this pass.
    bool isDiskImage(uint64_t id, const std::function<bool()>& probe) {
        auto [entry, isNew] = answers_.try_emplace(id, Answer{false, pass_});
        if (isNew) entry->second.isDiskImage = probe();
        entry->second.lastSeen = pass_;
        return entry->second.isDiskImage;
    }

    // Ends a pass: forgets devices that were not seen in it.
    void endPass() {
        std::erase_if(answers_, [this](const auto& entry) { return entry.second.lastSeen != pass_; });
    }

    size_t size() const { return answers_.size(); }
    bool contains(uint64_t id) const { return answers_.count(id) != 0; }

private:
    // Each answer remembers the pass that last saw it, so a pass costs no
    // allocation once every device is known.
    struct Answer {
        bool isDiskImage;
        uint64_t lastSeen;
    };
    std::unordered_map<uint64_t, Answer> answers_;
    uint64_t pass_ = 0;
};

}  // namespace orv
