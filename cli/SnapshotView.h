#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>

#include "core/Duration.h"
#include "core/Snapshot.h"
#include "core/StrainReason.h"

namespace orv::cli {

struct SnapshotOptions {
    Duration interval = Duration::seconds(1);
    int64_t count = 1;             // 0: until interrupted
    bool json = false;
    bool helper = false;
    std::optional<size_t> top;     // text: 10 when unset; JSON: everything when unset
};

// The readable summary of one snapshot: the system figures, then the top
// `top` apps and processes (the snapshot's own order, busiest first). A
// strain reason, when the machine is under strain, is its own line.
void printSnapshot(const Snapshot& snapshot, size_t top, std::ostream& out,
                   std::optional<StrainReason> strain = std::nullopt);

// One JSON line: the record as it is, or with apps and processes cut to
// their first `top` entries.
std::string snapshotJSONLine(const Snapshot& snapshot, std::optional<size_t> top);

}  // namespace orv::cli
