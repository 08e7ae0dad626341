#include "Sampling/linux/ProcPidLister.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Sampling/linux/ProcNumberedEntries.h"

namespace orv {

ProcPidLister::ProcPidLister(int procDirectory, ProcReadCounts& counts)
    : procDirectory_(procDirectory), counts_(counts), directoryBuffer_(64 * 1024) {
    if (procDirectory_ < 0) return;
    loadavg_.reset(::openat(procDirectory_, "loadavg", O_RDONLY | O_CLOEXEC));
    struct stat procStat{}, loadavgStat{};
    if (loadavg_.valid() && (::fstat(procDirectory_, &procStat) != 0 || ::fstat(loadavg_.get(), &loadavgStat) != 0 ||
                             procStat.st_dev != loadavgStat.st_dev)) {
        loadavg_.reset();
    }
}

std::optional<ProcLoadavg> ProcPidLister::readLoadavg() {
    if (!loadavg_.valid()) return std::nullopt;
    char buffer[128];
    ssize_t n = ::pread(loadavg_.get(), buffer, sizeof buffer, 0);
    std::optional<ProcLoadavg> read;
    if (n > 0) read = ProcLoadavg::decode({buffer, size_t(n)});
    // A real kernel has handed out pids and runs at least this thread.
    if (read && (read->lastPID <= 0 || read->threads == 0)) read.reset();
    return read;
}

const std::vector<int32_t>& ProcPidLister::list(std::span<const int32_t> last, bool checking) {
    // Read before listing, so that a pid handed out during the listing
    // shows as a change next time.
    std::optional<ProcLoadavg> now = readLoadavg();
    bool unchanged = now && listedAt_ == now;
    pids_.clear();
    pids_.assign(last.begin(), last.end());
    if (unchanged && !checking) return pids_;
    if (unchanged) previous_.swap(pids_);
    listedAt_ = now;
    ++counts_.listings;
    pids_.clear();
    ::lseek(procDirectory_, 0, SEEK_SET);
    appendNumberedEntries(procDirectory_, directoryBuffer_, pids_);
    // The kernel lists pids in order already; a fixture tree may not.
    // Parents then come before most of their children.
    if (!std::is_sorted(pids_.begin(), pids_.end())) std::sort(pids_.begin(), pids_.end());
    // A loadavg that stood still while a process appeared is not asked
    // again; unless it moved since, when the process appeared during the
    // listing, which proves nothing.
    if (unchanged && !std::includes(previous_.begin(), previous_.end(), pids_.begin(), pids_.end()) &&
        readLoadavg() == now) {
        loadavg_.reset();
    }
    return pids_;
}

}  // namespace orv
