#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace orv {

// Whether each device counts towards the machine's throughput, remembered
// per device key because finding out costs I/O: a registry walk or a sysfs
// link for a block device, a sysfs stat for a network interface. Both the
// disk and the network samplers own one and hand it to their port's read,
// which asks it for every device it reads and leaves out the ones that do
// not count. So the rule (I/O) stays in the port, the cache (state kept
// between samples) in the sampler, and the counter maps and their math see
// only devices that count.
//
// Disks: on macOS drivers on a disk image's virtual interconnect do not
// count (their reads would count twice with the disk that holds the image);
// on Linux only whole physical disks count, not partitions, loop,
// device-mapper, md and other virtual devices, whose bytes are already
// counted on a disk. Network: Ethernet-class names on macOS, physical
// devices on Linux.
//
// Answers are kept only for devices seen in the latest pass, so a key
// reused by another device is asked about again.
template <class Key>
class CountedDeviceCache {
public:
    // Starts a pass: nothing is seen yet.
    void beginPass() { ++pass_; }

    // The cached answer for `key`, or `probe`'s answer, stored; marks `key`
    // as seen in this pass.
    template <class Probe>
    bool counts(const Key& key, Probe&& probe) {
        auto found = answers_.find(key);
        if (found == answers_.end()) found = answers_.emplace(key, Answer{bool(probe()), pass_}).first;
        found->second.lastSeen = pass_;
        return found->second.counts;
    }

    // Ends a pass: forgets devices that were not seen in it.
    void endPass() {
        std::erase_if(answers_, [this](const auto& entry) { return entry.second.lastSeen != pass_; });
    }

    size_t size() const { return answers_.size(); }
    bool contains(const Key& key) const { return answers_.count(key) != 0; }

private:
    // Each answer remembers the pass that last saw it, so a pass costs no
    // allocation once every device is known.
    struct Answer {
        bool counts;
        uint64_t lastSeen;
    };
    std::unordered_map<Key, Answer> answers_;
    uint64_t pass_ = 0;
};

}  // namespace orv
