#include "Sampling/linux/LinuxProcessTablePort.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>

#include "Sampling/ProcFiles.h"

namespace orv {

namespace {

constexpr const char* fileNames[] = {"stat", "statm", "schedstat", "io"};

// "<pid>/<file>" into `out`, which must hold 32 bytes.
void childPath(char* out, int32_t pid, const char* file) {
    auto [end, error] = std::to_chars(out, out + 12, pid);
    (void)error;
    *end++ = '/';
    std::strcpy(end, file);
}

double measuredBootUnixSeconds() {
    timespec real{}, boot{};
    clock_gettime(CLOCK_REALTIME, &real);
    clock_gettime(CLOCK_BOOTTIME, &boot);
    return double(real.tv_sec - boot.tv_sec) + double(real.tv_nsec - boot.tv_nsec) / 1e9;
}

size_t defaultBudget() {
    // Raise the soft limit as far as allowed, once; keep a reserve for the
    // rest of the program (sockets, the log, other samplers).
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    if (limit.rlim_cur < limit.rlim_max) {
        rlimit raised = limit;
        raised.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    }
    return limit.rlim_cur > 512 ? size_t(limit.rlim_cur - 512) : 0;
}

bool isGone(int error) { return error == ESRCH || error == ENOENT; }
bool isRefusal(int error) { return error == EACCES || error == EPERM; }

}  // namespace

LinuxProcessTablePort::LinuxProcessTablePort(Options options) : options_(std::move(options)) {
    if (options_.ticksPerSecond <= 0) options_.ticksPerSecond = sysconf(_SC_CLK_TCK);
    if (options_.ticksPerSecond <= 0) options_.ticksPerSecond = 100;
    if (options_.pageSize <= 0) options_.pageSize = sysconf(_SC_PAGESIZE);
    if (!options_.open) {
        options_.open = [](int dir, const char* path) { return ::openat(dir, path, O_RDONLY | O_CLOEXEC); };
    }
    budget_ = options_.descriptorBudget ? options_.descriptorBudget : defaultBudget();
    // Rounded to a whole tick so that a process's start time is the same
    // double in every sample, and in every sampler on the machine but for
    // rare rounding edges.
    double boot = options_.bootUnixSeconds.value_or(measuredBootUnixSeconds());
    bootTicks_ = std::llround(boot * double(options_.ticksPerSecond));
    procDirectory_.reset(::open((options_.root / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    directoryBuffer_.resize(64 * 1024);
}

LinuxProcessTablePort::~LinuxProcessTablePort() = default;

int LinuxProcessTablePort::openFile(int32_t pid, File file) {
    char path[32];
    childPath(path, pid, fileNames[file]);
    return options_.open(procDirectory_.get(), path);
}

void LinuxProcessTablePort::closeAll(Tracked& tracked) {
    for (auto& fd : tracked.files) {
        if (fd.valid()) --keptDescriptors_;
        fd.reset();
    }
}

LinuxProcessTablePort::ReadResult LinuxProcessTablePort::readFile(int32_t pid, Tracked& tracked, File file,
                                                                  char* buffer, size_t size) {
    FileDescriptor& kept = tracked.files[file];
    if (kept.valid()) {
        ssize_t n = ::pread(kept.get(), buffer, size, 0);
        if (n >= 0) return {n, 0};
        return {-1, errno};
    }
    FileDescriptor fresh(openFile(pid, file));
    if (!fresh.valid()) return {-1, errno};
    ssize_t n = ::pread(fresh.get(), buffer, size, 0);
    int error = n < 0 ? errno : 0;
    if (keptDescriptors_ < budget_) {
        kept = std::move(fresh);
        ++keptDescriptors_;
    }
    return {n, error};
}

bool LinuxProcessTablePort::readRow(int32_t pid, Tracked& tracked, bool isNew, ProcessTableRow& row, Slot& slot) {
    char buffer[1024];
    ReadResult result = readFile(pid, tracked, kStat, buffer, sizeof buffer);
    if (result.length < 0 && !isNew) {
        // A kept descriptor of a reaped process answers ESRCH; the pid may
        // already belong to a new process, so start afresh once.
        closeAll(tracked);
        isNew = true;
        result = readFile(pid, tracked, kStat, buffer, sizeof buffer);
    }
    if (result.length <= 0) return false;
    auto stat = parseProcStat({buffer, size_t(result.length)});
    if (!stat) return false;
    if (!isNew && stat->startTicks != tracked.startTicks) {
        // Same pid, another process: none of the old descriptors apply.
        closeAll(tracked);
        result = readFile(pid, tracked, kStat, buffer, sizeof buffer);
        if (result.length <= 0) return false;
        stat = parseProcStat({buffer, size_t(result.length)});
        if (!stat) return false;
    }
    tracked.startTicks = stat->startTicks;

    // The proc files of a process belong to its effective uid.
    struct stat owner{};
    bool haveOwner = tracked.files[kStat].valid() ? ::fstat(tracked.files[kStat].get(), &owner) == 0
                                                   : ::fstatat(procDirectory_.get(), std::to_string(pid).c_str(),
                                                               &owner, 0) == 0;
    if (!haveOwner) return false;

    row.pid = pid;
    row.parentPID = stat->parentPID;
    row.uid = owner.st_uid;
    row.startStamp = stat->startTicks;
    row.start = Date::fromUnixSeconds(double(bootTicks_ + int64_t(stat->startTicks)) /
                                      double(options_.ticksPerSecond));
    row.isZombie = stat->state == 'Z' || stat->state == 'X';
    row.setCommandName(stat->command);
    slot = {pid, &tracked, stat->userTicks + stat->systemTicks};
    return true;
}

std::span<const ProcessTableRow> LinuxProcessTablePort::readTable() {
    rows_.clear();
    slots_.clear();
    if (!procDirectory_.valid()) return rows_;
    ++generation_;
    ::lseek(procDirectory_.get(), 0, SEEK_SET);
    for (;;) {
        long n = ::syscall(SYS_getdents64, procDirectory_.get(), directoryBuffer_.data(), directoryBuffer_.size());
        if (n <= 0) break;
        for (long offset = 0; offset < n;) {
            auto* entry = reinterpret_cast<const dirent64*>(directoryBuffer_.data() + offset);
            offset += entry->d_reclen;
            const char* name = entry->d_name;
            int32_t pid = 0;
            auto [end, error] = std::from_chars(name, name + std::strlen(name), pid);
            if (error != std::errc() || *end != '\0' || pid <= 0) continue;  // not a process

            auto [it, isNew] = tracked_.try_emplace(pid);
            ProcessTableRow row;
            Slot slot{};
            if (!readRow(pid, it->second, isNew, row, slot)) {
                closeAll(it->second);
                tracked_.erase(it);  // gone between listing and reading
                continue;
            }
            it->second.generation = generation_;
            row.slot = static_cast<uint32_t>(slots_.size());
            slots_.push_back(slot);
            rows_.push_back(row);
        }
    }
    // Processes that exited since the last pass give their descriptors back.
    for (auto it = tracked_.begin(); it != tracked_.end();) {
        if (it->second.generation != generation_) {
            closeAll(it->second);
            it = tracked_.erase(it);
        } else {
            ++it;
        }
    }
    return rows_;
}

std::optional<std::string> LinuxProcessTablePort::executablePath(const ProcessTableRow& row) {
    char path[32];
    childPath(path, row.pid, "exe");
    char target[4096];
    ssize_t n = ::readlinkat(procDirectory_.get(), path, target, sizeof target);
    if (n < 1) return std::nullopt;  // kernel threads have none; others' need CAP_SYS_PTRACE
    return std::string(target, size_t(n));
}

UsageRead LinuxProcessTablePort::readUsage(const ProcessTableRow& row, bool refusedBefore, ProcessUsage& usage) {
    if (row.slot >= slots_.size() || slots_[row.slot].pid != row.pid) return UsageRead::incomplete;
    const Slot& slot = slots_[row.slot];
    Tracked& tracked = *slot.tracked;
    const uint64_t hz = uint64_t(options_.ticksPerSecond);
    usage.cpuTime = Duration::nanoseconds(int64_t(slot.cpuTicks / hz * 1'000'000'000 +
                                                  slot.cpuTicks % hz * 1'000'000'000 / hz));

    char buffer[512];
    ReadResult statm = readFile(row.pid, tracked, kStatm, buffer, sizeof buffer);
    if (statm.length < 0) return isGone(statm.error) ? UsageRead::vanished : UsageRead::incomplete;
    auto memory = parseProcStatm({buffer, size_t(statm.length)});
    if (!memory) return UsageRead::incomplete;
    uint64_t anonymous = memory->residentPages > memory->sharedPages ? memory->residentPages - memory->sharedPages : 0;
    usage.footprintBytes = anonymous * uint64_t(options_.pageSize);

    // A kernel built without scheduler statistics has no schedstat at all;
    // that is no fault of the process, so it counts as no switches.
    ReadResult sched = readFile(row.pid, tracked, kSchedstat, buffer, sizeof buffer);
    if (sched.length >= 0) {
        if (auto runs = parseSchedstatRunCount({buffer, size_t(sched.length)})) usage.wakeups = *runs;
    } else if (sched.error == ESRCH) {
        return UsageRead::vanished;
    }

    if (refusedBefore) return UsageRead::incomplete;
    ReadResult io = readFile(row.pid, tracked, kIO, buffer, sizeof buffer);
    if (io.length < 0) {
        if (isRefusal(io.error)) return UsageRead::refused;
        return isGone(io.error) ? UsageRead::vanished : UsageRead::incomplete;
    }
    auto disk = parseProcIO({buffer, size_t(io.length)});
    if (!disk) return UsageRead::incomplete;
    usage.diskReadBytes = disk->readBytes;
    usage.diskWriteBytes = disk->writeBytes;
    return UsageRead::complete;
}

std::unique_ptr<ProcessTablePort> makeProcessTablePort(const std::filesystem::path& root) {
    LinuxProcessTablePort::Options options;
    options.root = root;
    return std::make_unique<LinuxProcessTablePort>(std::move(options));
}

}  // namespace orv
