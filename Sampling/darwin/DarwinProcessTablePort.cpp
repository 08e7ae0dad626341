// The macOS process table: sysctl KERN_PROC_ALL for the rows, proc_pidpath
// for paths and proc_pid_rusage (RUSAGE_INFO_V6) for usage. Only the calls
// live here; the bytes are decoded by portable code.
#include <errno.h>
#include <libproc.h>
#include <mach/mach_time.h>
#include <sys/resource.h>
#include <sys/sysctl.h>

#include <array>
#include <cstddef>
#include <vector>

#include "Sampling/KinfoProcTable.h"
#include "Sampling/MachTimebase.h"
#include "Sampling/ProcessTablePort.h"
#include "Sampling/RusageInfo.h"

namespace orv {

static_assert(sizeof(kinfo_proc) == KinfoProc::rowSize);
static_assert(offsetof(kinfo_proc, kp_proc.p_un.__p_starttime.tv_sec) == KinfoProc::startSeconds);
static_assert(offsetof(kinfo_proc, kp_proc.p_un.__p_starttime.tv_usec) == KinfoProc::startMicroseconds);
static_assert(offsetof(kinfo_proc, kp_proc.p_stat) == KinfoProc::state);
static_assert(offsetof(kinfo_proc, kp_proc.p_pid) == KinfoProc::pid);
static_assert(offsetof(kinfo_proc, kp_proc.p_comm) == KinfoProc::command);
static_assert(sizeof(kinfo_proc::kp_proc.p_comm) == KinfoProc::commandSize);
static_assert(offsetof(kinfo_proc, kp_eproc.e_ucred.cr_uid) == KinfoProc::effectiveUID);
static_assert(offsetof(kinfo_proc, kp_eproc.e_ppid) == KinfoProc::parentPID);
static_assert(SZOMB == KinfoProc::zombieState);

static_assert(sizeof(rusage_info_v6) == RusageInfoV6::size);
static_assert(offsetof(rusage_info_v6, ri_user_time) == RusageInfoV6::userTime);
static_assert(offsetof(rusage_info_v6, ri_system_time) == RusageInfoV6::systemTime);
static_assert(offsetof(rusage_info_v6, ri_pkg_idle_wkups) == RusageInfoV6::idleWakeups);
static_assert(offsetof(rusage_info_v6, ri_interrupt_wkups) == RusageInfoV6::interruptWakeups);
static_assert(offsetof(rusage_info_v6, ri_phys_footprint) == RusageInfoV6::physFootprint);
static_assert(offsetof(rusage_info_v6, ri_diskio_bytesread) == RusageInfoV6::diskBytesRead);
static_assert(offsetof(rusage_info_v6, ri_diskio_byteswritten) == RusageInfoV6::diskBytesWritten);
static_assert(offsetof(rusage_info_v6, ri_billed_energy) == RusageInfoV6::billedEnergy);

namespace {

class DarwinProcessTablePort final : public ProcessTablePort {
public:
    DarwinProcessTablePort() {
        mach_timebase_info_data_t info{};
        mach_timebase_info(&info);  // a failed call leaves zeros, read as 1/1
        timebase_ = MachTimebase::fromRaw(info.numer, info.denom);
    }

    std::span<const ProcessTableRow> readTable() override {
        size_t count = table_.read([](void* buffer, size_t* size) {
            int name[4] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL, 0};
            return sysctl(name, 4, buffer, size, nullptr, 0) == 0 ? 0 : errno;
        });
        count = std::min(count, table_.capacityRows());
        rows_.clear();
        rows_.reserve(count);
        auto bytes = table_.bytes();
        for (size_t i = 0; i < count; ++i) {
            auto row = KinfoProc::decode(bytes.subspan(i * KinfoProc::rowSize, KinfoProc::rowSize));
            if (row) rows_.push_back(*row);
        }
        return rows_;
    }

    std::optional<std::string> executablePath(const ProcessTableRow& row) override {
        std::array<char, 4096> buffer{};
        int length = proc_pidpath(row.pid, buffer.data(), static_cast<uint32_t>(buffer.size()));
        if (length < 1) return std::nullopt;
        return std::string(buffer.data(), std::min<size_t>(buffer.size(), static_cast<size_t>(length)));
    }

    UsageResult readUsage(const ProcessTableRow& row, bool refusedBefore) override {
        // Never ask a refusing process again.
        if (refusedBefore) return {.usage = {}, .outcome = ProcessOutcome::refused};
        std::array<uint8_t, RusageInfoV6::size> record{};
        if (proc_pid_rusage(row.pid, RUSAGE_INFO_V6, reinterpret_cast<rusage_info_t*>(record.data())) != 0) {
            // Any other failure (the process exiting meanwhile among them)
            // leaves the reading incomplete, asked again next time.
            return {.usage = {}, .outcome = errno == EPERM ? ProcessOutcome::refused : ProcessOutcome::malformed};
        }
        auto decoded = RusageInfoV6::decode(record, timebase_);
        if (!decoded) return {.usage = {}, .outcome = ProcessOutcome::malformed};
        return {.usage = *decoded, .outcome = ProcessOutcome::complete};
    }

    size_t truncatedNameLength() const override { return 16; }

private:
    MachTimebase timebase_;
    KinfoProcTable table_;
    std::vector<ProcessTableRow> rows_;
};

}  // namespace

// libproc's calls keep no descriptors.
void prepareProcessTable(const std::filesystem::path&) {}

std::unique_ptr<ProcessTablePort> makeProcessTablePort(const std::filesystem::path&, ProcessTablePasses) {
    return std::make_unique<DarwinProcessTablePort>();
}

}  // namespace orv
