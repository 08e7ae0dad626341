#pragma once

#include <cstdint>

namespace orv {

// Whether a process that slept through a pass may keep the parent it named
// at its last stat read. Its parent can change without it running (the
// parent exits and it is handed to a reaper), so the kept parent holds only
// while the same parent instance is still live; a zombie's children have
// been handed on already. Instances are numbered in the order first seen.
struct ProcParentCheck {
    // What a process knows of its parent.
    struct Link {
        int32_t parentPID = 0;
        uint64_t parentInstance = 0;   // the parent instance bound to it; 0: none yet
        uint64_t instancesAtRead = 0;  // how many instances had been seen at its stat read
    };

    // After a read of stat naming `parentPID`, when `instancesSeen`
    // instances have been numbered.
    static void restat(Link& link, int32_t parentPID, bool isNew, uint64_t instancesSeen) {
        if (isNew || parentPID != link.parentPID) link.parentInstance = 0;
        link.instancesAtRead = instancesSeen;
        link.parentPID = parentPID;
    }

    // Whether the kept parent stands. `liveParent`: the instance under the
    // parent pid in this pass's table; 0 when there is none or it is a zombie.
    static bool holds(const Link& link, uint64_t liveParent) {
        return liveParent != 0 && link.parentInstance != 0 && liveParent == link.parentInstance;
    }

    // Binds the parent for the next pass, but only one first seen before the
    // child's stat was read: a parent that appeared later may have taken the
    // pid of the one the child named, which has since died.
    static void bind(Link& link, uint64_t liveParent) {
        if (link.parentPID <= 0) {
            link.parentInstance = 0;
        } else if (link.parentInstance == 0 && liveParent != 0 && liveParent <= link.instancesAtRead) {
            link.parentInstance = liveParent;
        }
    }
};

}  // namespace orv
