#pragma once

#include <boost/describe/class.hpp>
#include <vector>

#include "core/RecordHash.h"
#include "core/VolumeStats.h"

namespace orv {

// Disk throughput over one interval and the local volumes.
struct DiskStats {
    std::vector<VolumeStats> volumes;  // root volume first, then by name
    double readBPS = 0;
    double writeBPS = 0;

    friend bool operator==(const DiskStats&, const DiskStats&) = default;
};
BOOST_DESCRIBE_STRUCT(DiskStats, (), (volumes, readBPS, writeBPS))

}  // namespace orv
