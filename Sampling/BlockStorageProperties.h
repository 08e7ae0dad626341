#pragma once

#include <optional>

#include "core/BlockCounters.h"
#include "core/PropertyValue.h"

namespace orv {

// Reading the I/O Registry properties of block-storage drivers, once they
// are converted to property values.
struct BlockStorageProperties {
    // A driver's "Statistics" dictionary: "Bytes (Read)" and "Bytes (Write)"
    // must both be integers (the kernel's unsigned 64-bit counts); absent
    // otherwise, so that the driver is left out.
    static std::optional<BlockCounters> counters(const PropertyValue* statistics);

    // A driver's parent's "Protocol Characteristics": a disk image sits on
    // the "Virtual Interface" interconnect. A missing dictionary or entry
    // answers false.
    static bool isVirtualInterconnect(const PropertyValue* protocolCharacteristics);
};

}  // namespace orv
