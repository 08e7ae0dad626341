#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Sampling/ProcFiles.h"
#include "Sampling/linux/ProcReadCounts.h"
#include "core/FileDescriptor.h"

namespace orv {

// Which pids a pass reads: proc is listed again only when proc/loadavg shows
// a pid handed out or the thread count moved since the last listing;
// otherwise the last pass's pids are read again (those that exited answer
// ESRCH). A check pass lists anyway, and a loadavg that stood still while a
// process appeared is not asked again.
class ProcPidLister {
public:
    // `procDirectory` is borrowed. Only proc's own loadavg is trusted: lxcfs
    // serves containers one that it refreshes on its own schedule.
    ProcPidLister(int procDirectory, ProcReadCounts& counts);

    // The pids to read, ascending. `last` holds the last pass's pids,
    // ascending, less those gone since.
    const std::vector<int32_t>& list(std::span<const int32_t> last, bool checking);

    bool trustsLoadavg() const { return loadavg_.valid(); }

private:
    std::optional<ProcLoadavg> readLoadavg();

    int procDirectory_;
    ProcReadCounts& counts_;
    FileDescriptor loadavg_;
    std::optional<ProcLoadavg> listedAt_;  // loadavg just before the pids were last listed
    std::vector<int32_t> pids_;
    std::vector<int32_t> previous_;
    std::vector<char> directoryBuffer_;
};

}  // namespace orv
