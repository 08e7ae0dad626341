#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// Capacity and free space of one local mounted volume.
struct VolumeStats {
    std::string id;         // UUID text, or the mount path when there is none
    std::string name;       // volume name, or the mount path's last component
    uint64_t totalBytes = 0;
    uint64_t freeBytes = 0; // as a user would be told it

    friend bool operator==(const VolumeStats&, const VolumeStats&) = default;
};
BOOST_DESCRIBE_STRUCT(VolumeStats, (), (id, name, totalBytes, freeBytes))

}  // namespace orv
