#include "Sampling/linux/LinuxProcessTablePort.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
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
    if (procDirectory_.valid()) loadavg_.reset(::openat(procDirectory_.get(), "loadavg", O_RDONLY | O_CLOEXEC));
    // A container's loadavg may be served by another file system (lxcfs),
    // which refreshes it on its own schedule: only proc's own is trusted.
    struct stat procStat{}, loadavgStat{};
    if (loadavg_.valid() && (::fstat(procDirectory_.get(), &procStat) != 0 ||
                             ::fstat(loadavg_.get(), &loadavgStat) != 0 || procStat.st_dev != loadavgStat.st_dev)) {
        loadavg_.reset();
    }
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
    forgetThreads(tracked);
}

void LinuxProcessTablePort::listNumbers(int directory, std::vector<int32_t>& out) {
    for (;;) {
        long n = ::syscall(SYS_getdents64, directory, directoryBuffer_.data(), directoryBuffer_.size());
        if (n <= 0) break;
        for (long offset = 0; offset < n;) {
            auto* entry = reinterpret_cast<const dirent64*>(directoryBuffer_.data() + offset);
            offset += entry->d_reclen;
            const char* name = entry->d_name;
            int32_t number = 0;
            auto [end, error] = std::from_chars(name, name + std::strlen(name), number);
            if (error == std::errc() && *end == '\0' && number > 0) out.push_back(number);  // others are not tasks
        }
    }
}

void LinuxProcessTablePort::forgetThreads(Tracked& tracked) {
    for (auto& thread : tracked.threads) {
        if (thread.schedstat.valid()) --keptDescriptors_;
    }
    tracked.threads.clear();
    tracked.threadsKnown = false;
    tracked.threadsTrusted = false;
}

bool LinuxProcessTablePort::otherThreadsSlept(Tracked& tracked) {
    if (!tracked.threadsKnown || tracked.threads.size() + 1 != tracked.threadCount) return false;
    // Read in order and stop at the first that ran: the figures of those
    // after it stay older than the stat read that follows, so they can only
    // show a change that is not there, never hide one.
    bool trusted = tracked.threadsTrusted;
    for (auto& thread : tracked.threads) {
        char buffer[128];
        ++counts_.threadSchedstat;
        ssize_t n = ::pread(thread.schedstat.get(), buffer, sizeof buffer, 0);
        if (n < 0) {
            // That thread exited: the set is no longer known.
            forgetThreads(tracked);
            return false;
        }
        auto sched = ProcSchedstat::decode({buffer, size_t(n)});
        bool slept = sched && sched->isKnown() && thread.sched == sched;
        thread.sched = sched;
        if (!slept) return false;
    }
    return trusted;
}

void LinuxProcessTablePort::watchThreads(int32_t pid, Tracked& tracked) {
    // Called after a read of stat. What was read before it now proves sleep.
    tracked.threadsTrusted = true;
    if (tracked.threadCount < 2 || tracked.threadCount > watchedThreadLimit) {
        if (!tracked.threads.empty() || tracked.threadsKnown) forgetThreads(tracked);
        return;
    }
    if (tracked.threadsKnown && tracked.threads.size() + 1 == tracked.threadCount) return;

    forgetThreads(tracked);
    char path[64];
    std::snprintf(path, sizeof path, "%d/task", int(pid));
    ++counts_.threadListings;
    FileDescriptor directory(::openat(procDirectory_.get(), path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) return;
    std::vector<int32_t> tids;
    listNumbers(directory.get(), tids);
    std::erase(tids, pid);
    // Threads came or went since stat was read: the next full read tries again.
    if (tids.size() + 1 != tracked.threadCount) return;
    for (int32_t tid : tids) {
        if (keptDescriptors_ >= budget_) {
            forgetThreads(tracked);
            return;
        }
        std::snprintf(path, sizeof path, "%d/task/%d/schedstat", int(pid), int(tid));
        WatchedThread& thread = tracked.threads.emplace_back();
        thread.tid = tid;
        thread.schedstat.reset(::openat(procDirectory_.get(), path, O_RDONLY | O_CLOEXEC));
        if (!thread.schedstat.valid()) {
            tracked.threads.pop_back();
            forgetThreads(tracked);
            return;
        }
        ++keptDescriptors_;
        char buffer[128];
        ++counts_.threadSchedstat;
        ssize_t n = ::pread(thread.schedstat.get(), buffer, sizeof buffer, 0);
        if (n > 0) thread.sched = ProcSchedstat::decode({buffer, size_t(n)});
    }
    tracked.threadsKnown = true;
    // Read after stat: these figures prove nothing until the next stat read.
    tracked.threadsTrusted = false;
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

bool LinuxProcessTablePort::readOwner(int32_t pid, Tracked& tracked) {
    // The directory, not a file in it: the files of a process that is not
    // dumpable (ssh-agent, anything that ran a setuid program) belong to
    // root whatever its uid.
    char name[16];
    auto [end, error] = std::to_chars(name, name + sizeof name - 1, pid);
    (void)error;
    *end = '\0';
    struct stat owner{};
    ++counts_.owner;
    if (::fstatat(procDirectory_.get(), name, &owner, 0) != 0) return false;
    tracked.uid = owner.st_uid;
    return true;
}

bool LinuxProcessTablePort::readStat(int32_t pid, Tracked& tracked, bool isNew, bool mainThreadRan) {
    char buffer[1024];
    ++counts_.stat;
    ReadResult result = readFile(pid, tracked, kStat, buffer, sizeof buffer);
    if (result.length < 0 && !isNew) {
        // A kept descriptor of a reaped process answers ESRCH; the pid may
        // already belong to a new process, so start afresh once.
        closeAll(tracked);
        isNew = true;
        ++counts_.stat;
        result = readFile(pid, tracked, kStat, buffer, sizeof buffer);
    }
    if (result.length <= 0) return false;
    auto stat = ProcStat::decode({buffer, size_t(result.length)});
    if (!stat) return false;
    if (!isNew && stat->startTicks != tracked.startTicks) {
        // Same pid, another process: none of the old descriptors apply.
        closeAll(tracked);
        isNew = true;
        ++counts_.stat;
        result = readFile(pid, tracked, kStat, buffer, sizeof buffer);
        if (result.length <= 0) return false;
        stat = ProcStat::decode({buffer, size_t(result.length)});
        if (!stat) return false;
    }
    if (isNew || tracked.instance == 0) {
        tracked.instance = ++instances_;
        tracked.io.reset();
        tracked.noSchedstat = false;
    }
    if (isNew || stat->parentPID != tracked.parentPID) tracked.parentInstance = 0;
    tracked.instancesAtRead = instances_;
    tracked.startTicks = stat->startTicks;
    tracked.parentPID = stat->parentPID;
    tracked.cpuTicks = stat->userTicks + stat->systemTicks;
    tracked.threadCount = stat->threadCount;
    tracked.state = stat->state;
    tracked.isZombie = stat->isZombie();
    tracked.isKernelThread = stat->isKernelThread();
    tracked.commandLength = static_cast<uint8_t>(std::min(stat->command.size(), sizeof tracked.command));
    std::memcpy(tracked.command, stat->command.data(), tracked.commandLength);
    // Only the main thread changes the uid that the directory shows.
    if (isNew || mainThreadRan) return readOwner(pid, tracked);
    return true;
}

bool LinuxProcessTablePort::readRow(int32_t pid, Tracked& tracked, bool isNew, Slot& slot) {
    char buffer[256];
    std::optional<ProcSchedstat> sched;
    bool kept = false, missing = false;
    if (!tracked.noSchedstat) {
        kept = tracked.files[kSchedstat].valid();
        ++counts_.schedstat;
        ReadResult result = readFile(pid, tracked, kSchedstat, buffer, sizeof buffer);
        if (result.length < 0 && kept) {
            // Reaped: whatever has this pid now is read as a new process.
            closeAll(tracked);
            isNew = true;
            kept = false;
            ++counts_.schedstat;
            result = readFile(pid, tracked, kSchedstat, buffer, sizeof buffer);
        }
        if (result.length >= 0) sched = ProcSchedstat::decode({buffer, size_t(result.length)});
        // A kernel built without scheduler statistics has no such file;
        // that is no fault of the process, which then counts no switches.
        missing = result.length < 0 && result.error == ENOENT;
    }
    // Only a descriptor kept from the last pass proves that this is the
    // same process: a fresh open may have met a new one with the old pid.
    bool mainThreadSlept = !isNew && kept && sched && sched->isKnown() && tracked.sched == sched;
    // A task that was on a CPU may still be there: on a CPU without a
    // periodic tick (nohz_full) its figures move only about once a second.
    bool asleep = mainThreadSlept && tracked.instance != 0 && tracked.state != 'R' &&
                  (tracked.threadCount == 1 || otherThreadsSlept(tracked));
    // A sleeper read whole anyway must show the figures it kept, or
    // schedstat is disproved.
    bool checkingSleeper = asleep && (checking_ || !schedstatTrusted_);
    uint64_t keptCPUTicks = tracked.cpuTicks, keptThreadCount = tracked.threadCount;
    std::optional<ProcIO> sleepingIO = checkingSleeper ? tracked.io : std::nullopt;
    if (checkingSleeper) asleep = false;
    if (!asleep) {
        if (!readStat(pid, tracked, isNew, !mainThreadSlept)) return false;
        if (checkingSleeper && (tracked.cpuTicks != keptCPUTicks || tracked.threadCount != keptThreadCount)) {
            schedstatTrusted_ = false;
        }
        tracked.io.reset();  // read again below, or by an asleep pass later
        watchThreads(pid, tracked);
    }
    if (missing) tracked.noSchedstat = true;
    tracked.sched = sched;
    slot = {pid, &tracked, !asleep, asleep, sleepingIO};
    return true;
}

void LinuxProcessTablePort::fillRow(const Tracked& tracked, int32_t pid, ProcessTableRow& row) const {
    row.pid = pid;
    row.parentPID = tracked.parentPID;
    row.uid = tracked.uid;
    row.startStamp = tracked.startTicks;
    row.start = Date::fromUnixSeconds(double(bootTicks_ + int64_t(tracked.startTicks)) /
                                      double(options_.ticksPerSecond));
    row.isZombie = tracked.isZombie;
    row.setCommandName({tracked.command, tracked.commandLength});
}

void LinuxProcessTablePort::confirmParents() {
    // A process that slept kept its parent from an earlier pass; that holds
    // while the same parent is still alive (a zombie's children have been
    // handed on already). Otherwise its stat is read now.
    auto parentOf = [this](const Tracked& child) -> const Tracked* {
        auto parent = tracked_.find(child.parentPID);
        if (parent == tracked_.end() || parent->second.generation != generation_ || parent->second.isZombie) {
            return nullptr;
        }
        return &parent->second;
    };
    bool dropped = false;
    for (size_t i = 0; i < slots_.size(); ++i) {
        Slot& slot = slots_[i];
        Tracked& child = *slot.tracked;
        if (!slot.statWasRead && child.parentPID > 0) {
            const Tracked* parent = parentOf(child);
            if (!parent || child.parentInstance == 0 || parent->instance != child.parentInstance) {
                slot.statWasRead = true;
                slot.asleep = false;
                child.io.reset();
                if (readStat(slot.pid, child, false, false)) {
                    watchThreads(slot.pid, child);
                    fillRow(child, slot.pid, rows_[i]);
                } else {
                    slot.tracked = nullptr;
                    dropped = true;
                    continue;
                }
            }
        }
        // Bind the parent for the next pass, but only one first seen before
        // the child's stat was read: a parent that appeared later may have
        // taken the pid of the one the child named, which has since died.
        if (child.parentPID <= 0) {
            child.parentInstance = 0;
        } else if (child.parentInstance == 0) {
            const Tracked* parent = parentOf(child);
            if (parent && parent->instance <= child.instancesAtRead) child.parentInstance = parent->instance;
        }
    }
    if (!dropped) return;
    size_t kept = 0;
    for (size_t i = 0; i < slots_.size(); ++i) {
        if (!slots_[i].tracked) {
            auto it = tracked_.find(slots_[i].pid);
            if (it != tracked_.end()) {
                closeAll(it->second);
                tracked_.erase(it);
            }
            continue;
        }
        slots_[kept] = slots_[i];
        rows_[kept] = rows_[i];
        rows_[kept].slot = static_cast<uint32_t>(kept);
        ++kept;
    }
    slots_.resize(kept);
    rows_.resize(kept);
}

void LinuxProcessTablePort::listPIDs() {
    // Read before listing, so that a pid handed out during the listing
    // shows as a change next time.
    std::optional<ProcLoadavg> now;
    if (loadavg_.valid()) {
        char buffer[128];
        ssize_t n = ::pread(loadavg_.get(), buffer, sizeof buffer, 0);
        if (n > 0) now = ProcLoadavg::decode({buffer, size_t(n)});
        // A real kernel has handed out pids and runs at least this thread.
        if (now && (now->lastPID <= 0 || now->threads == 0)) now.reset();
    }
    bool unchanged = now && listedAt_ == now;
    // The last pass's pids, less those gone since: rows_ still holds them.
    pids_.clear();
    for (const auto& row : rows_) pids_.push_back(row.pid);
    if (unchanged && !checking_) return;

    // A loadavg that stood still while a process appeared is not asked again.
    std::vector<int32_t> previous;
    if (unchanged) previous.swap(pids_);
    listedAt_ = now;
    ++counts_.listings;
    pids_.clear();
    ::lseek(procDirectory_.get(), 0, SEEK_SET);
    listNumbers(procDirectory_.get(), pids_);
    // The kernel lists pids in order already; a fixture tree may not.
    // Parents then come before most of their children.
    if (!std::is_sorted(pids_.begin(), pids_.end())) std::sort(pids_.begin(), pids_.end());
    if (unchanged && !std::includes(previous.begin(), previous.end(), pids_.begin(), pids_.end())) {
        loadavg_.reset();
    }
}

std::span<const ProcessTableRow> LinuxProcessTablePort::readTable() {
    if (!procDirectory_.valid()) return rows_;
    ++generation_;
    checking_ = ++passesSinceCheck_ >= checkEvery;
    if (checking_) passesSinceCheck_ = 0;
    listPIDs();
    rows_.clear();
    slots_.clear();
    for (int32_t pid : pids_) {
        auto [it, isNew] = tracked_.try_emplace(pid);
        Slot slot{};
        if (!readRow(pid, it->second, isNew, slot)) {
            closeAll(it->second);
            tracked_.erase(it);  // gone between listing and reading
            continue;
        }
        it->second.generation = generation_;
        ProcessTableRow& row = rows_.emplace_back();
        fillRow(it->second, pid, row);
        row.slot = static_cast<uint32_t>(slots_.size());
        slots_.push_back(slot);
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
    confirmParents();
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
    usage.cpuTime = Duration::nanoseconds(int64_t(tracked.cpuTicks / hz * 1'000'000'000 +
                                                  tracked.cpuTicks % hz * 1'000'000'000 / hz));
    if (tracked.sched) usage.wakeups = tracked.sched->runCount;

    char buffer[512];
    if (!tracked.isKernelThread) {
        ++counts_.statm;
        ReadResult statm = readFile(row.pid, tracked, kStatm, buffer, sizeof buffer);
        if (statm.length < 0) return isGone(statm.error) ? UsageRead::vanished : UsageRead::incomplete;
        auto memory = ProcStatm::decode({buffer, size_t(statm.length)});
        if (!memory) return UsageRead::incomplete;
        uint64_t anonymous =
            memory->residentPages > memory->sharedPages ? memory->residentPages - memory->sharedPages : 0;
        usage.footprintBytes = anonymous * uint64_t(options_.pageSize);
    }

    if (refusedBefore) return UsageRead::incomplete;
    if (!slot.asleep || !tracked.io) {
        ++counts_.io;
        ReadResult io = readFile(row.pid, tracked, kIO, buffer, sizeof buffer);
        if (io.length < 0) {
            if (isRefusal(io.error)) return UsageRead::refused;
            return isGone(io.error) ? UsageRead::vanished : UsageRead::incomplete;
        }
        tracked.io = ProcIO::decode({buffer, size_t(io.length)});
        if (!tracked.io) return UsageRead::incomplete;
        if (slot.sleepingIO && *slot.sleepingIO != *tracked.io) schedstatTrusted_ = false;
    }
    usage.diskReadBytes = tracked.io->readBytes;
    usage.diskWriteBytes = tracked.io->writeBytes;
    return UsageRead::complete;
}

std::unique_ptr<ProcessTablePort> makeProcessTablePort(const std::filesystem::path& root) {
    LinuxProcessTablePort::Options options;
    options.root = root;
    return std::make_unique<LinuxProcessTablePort>(std::move(options));
}

}  // namespace orv
