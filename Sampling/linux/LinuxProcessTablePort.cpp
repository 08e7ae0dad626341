#include "Sampling/linux/LinuxProcessTablePort.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "Sampling/ProcFiles.h"
#include "Sampling/linux/ProcNumberedEntries.h"
#include "Sampling/linux/ProcPath.h"
#include "core/Logger.h"

namespace orv {

namespace {

double measuredBootUnixSeconds() {
    timespec real{}, boot{};
    clock_gettime(CLOCK_REALTIME, &real);
    clock_gettime(CLOCK_BOOTTIME, &boot);
    return double(real.tv_sec - boot.tv_sec) + double(real.tv_nsec - boot.tv_nsec) / 1e9;
}

LinuxProcessTablePort::Options completed(LinuxProcessTablePort::Options options) {
    if (options.ticksPerSecond <= 0) options.ticksPerSecond = sysconf(_SC_CLK_TCK);
    if (options.ticksPerSecond <= 0) options.ticksPerSecond = 100;
    if (options.pageSize <= 0) options.pageSize = sysconf(_SC_PAGESIZE);
    if (!options.measureBoot) options.measureBoot = measuredBootUnixSeconds;
    return options;
}

// Makes the descriptor table hold `highest`: the lowest free descriptor at
// or above it makes the kernel size the table for it, and closing it keeps
// the table. A table already that large costs a dup and a close.
void sizeDescriptorTable(int anyDescriptor, size_t highest) {
    const int probe = ::fcntl(anyDescriptor, F_DUPFD_CLOEXEC, int(std::min<size_t>(highest, INT32_MAX)));
    if (probe >= 0) ::close(probe);
}

bool isGone(const std::error_code& error) { return error.value() == ESRCH || error.value() == ENOENT; }
bool isRefusal(const std::error_code& error) { return error.value() == EACCES || error.value() == EPERM; }

}  // namespace

LinuxProcessTablePort::LinuxProcessTablePort(Options options)
    : options_(completed(std::move(options))),
      procDirectory_(::open((options_.root / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      cache_(procDirectory_.get(), options_.descriptorBudget, options_.open, options_.keepDescriptors),
      lister_(procDirectory_.get(), counts_),
      sleepProof_(procDirectory_.get(), cache_, counts_),
      firstReads_(procDirectory_.get(), options_.open, options_.keepDescriptors) {
    // Rounded to a whole tick so that a process's start time is the same
    // double in every sample, and in every sampler on the machine but for
    // rare rounding edges.
    double boot = options_.bootUnixSeconds ? *options_.bootUnixSeconds : options_.measureBoot();
    bootTicks_ = std::llround(boot * double(options_.ticksPerSecond));
}

void LinuxProcessTablePort::remeasureBoot() {
    if (options_.bootUnixSeconds) return;
    const int64_t ticks = std::llround(options_.measureBoot() * double(options_.ticksPerSecond));
    if (ticks > bootTicks_ + 1 || ticks < bootTicks_ - 1) bootTicks_ = ticks;
}

LinuxProcessTablePort::~LinuxProcessTablePort() = default;

void LinuxProcessTablePort::forgetInstance(Tracked& tracked) {
    tracked.files.closeAll();
    sleepProof_.forgetThreads(tracked.sleep);
    tracked.malformedLogged = false;
}

// Reads one of a process's files. A kept descriptor that fails was opened on
// a process since reaped, and `sameInstance` may tell from the text that
// another process has the pid now: either way the pid may already belong to
// a new process, so every kept descriptor is closed, the process is taken as
// new and the file is read once more.
template <class SameInstance>
Result<std::string_view> LinuxProcessTablePort::readCurrent(int32_t pid, Tracked& tracked, File file,
                                                            std::span<char> buffer, bool& isNew, uint64_t& count,
                                                            SameInstance sameInstance) {
    bool wasKept = tracked.files.valid(file);
    ++count;
    auto text = cache_.read(pid, tracked.files, file, buffer);
    bool stale = !isNew && (text ? !sameInstance(*text) : wasKept);
    if (!stale) return text;
    forgetInstance(tracked);
    isNew = true;
    ++count;
    return cache_.read(pid, tracked.files, file, buffer);
}

std::optional<int> LinuxProcessTablePort::takeFirst(ProcFirstReads::Reading* first, Tracked& tracked, File file) {
    if (!first || first->files[file].error == ProcFirstReads::notRead) return std::nullopt;
    cache_.adopt(tracked.files, file, std::move(first->files[file].fd));
    return first->files[file].error;
}

bool LinuxProcessTablePort::readOwner(int32_t pid, Tracked& tracked) {
    ++counts_.owner;
    if (first_ && first_->ownerError != ProcFirstReads::notRead) {
        if (first_->ownerError != 0) return false;
        tracked.uid = first_->uid;
        return true;
    }
    // The directory, not a file in it: the files of a process that is not
    // dumpable (ssh-agent, anything that ran a setuid program) belong to
    // root whatever its uid.
    ProcPath directory(pid);
    struct stat owner{};
    if (::fstatat(procDirectory_.get(), directory.c_str(), &owner, 0) != 0) return false;
    tracked.uid = owner.st_uid;
    return true;
}

ProcessOutcome LinuxProcessTablePort::statMalformed(int32_t pid, Tracked& tracked, bool isNew) {
    ++counts_.malformedStat;
    if (!tracked.malformedLogged) {
        tracked.malformedLogged = true;
        static const Logger log("app.orvantine.sampling", "sampling");
        log.error(fmt::format("proc/{}/stat did not decode; the process's reading is incomplete", pid));
    }
    if (isNew || tracked.instance == 0) {
        // Nothing is known of this instance but its pid and its owner.
        tracked.instance = 0;
        tracked.parent = {};
        tracked.startTicks = tracked.cpuTicks = tracked.threadCount = 0;
        tracked.state = 0;
        tracked.isZombie = tracked.isKernelThread = false;
        tracked.command.clear();
        tracked.io.reset();
        if (!readOwner(pid, tracked)) return ProcessOutcome::gone;
    }
    return ProcessOutcome::malformed;
}

ProcessOutcome LinuxProcessTablePort::readStat(int32_t pid, Tracked& tracked, bool isNew, bool mainThreadRan) {
    char buffer[1024];
    std::optional<ProcStat> stat;
    if (auto error = takeFirst(first_, tracked, File::stat)) {
        ++counts_.stat;
        if (*error != 0) return ProcessOutcome::gone;
        stat = first_->decodedStat();
    } else {
        auto text = readCurrent(pid, tracked, File::stat, buffer, isNew, counts_.stat, [&](std::string_view read) {
            // Same pid, another process: none of the old descriptors apply. (A
            // process whose stat never decoded has no start to compare.)
            stat = ProcStat::decode(read);
            return !stat || tracked.instance == 0 || stat->startTicks == tracked.startTicks;
        });
        if (!text) return ProcessOutcome::gone;
        if (isNew) stat = ProcStat::decode(*text);  // read afresh, or never decoded
    }
    if (!stat) return statMalformed(pid, tracked, isNew);
    if (isNew || tracked.instance == 0) {
        tracked.instance = ++instances_;
        tracked.io.reset();
        tracked.sleep.noSchedstat = false;
    }
    ProcParentCheck::restat(tracked.parent, stat->parentPID, isNew, instances_);
    tracked.startTicks = stat->startTicks;
    tracked.cpuTicks = stat->userTicks + stat->systemTicks;
    // The kernel's thread limit is far below 2^32.
    tracked.threadCount = static_cast<uint32_t>(stat->threadCount);
    tracked.state = stat->state;
    tracked.isZombie = stat->isZombie();
    tracked.isKernelThread = stat->isKernelThread();
    tracked.command.assign(stat->command.substr(0, sizeof(ProcessTableRow::command)));
    // Only the main thread changes the uid that the directory shows.
    if ((isNew || mainThreadRan) && !readOwner(pid, tracked)) return ProcessOutcome::gone;
    return ProcessOutcome::complete;
}

bool LinuxProcessTablePort::readRow(int32_t pid, Tracked& tracked, bool isNew, Slot& slot) {
    std::optional<ProcSchedstat> sched;
    bool kept = false, missing = false, schedstatFailed = false;
    if (!tracked.sleep.noSchedstat) {
        char buffer[256];
        kept = tracked.files.valid(File::schedstat);
        int error = 0;
        if (auto first = takeFirst(first_, tracked, File::schedstat)) {
            ++counts_.schedstat;
            error = *first;
            if (error == 0) sched = first_->sched;
        } else {
            auto text = readCurrent(pid, tracked, File::schedstat, buffer, isNew, counts_.schedstat,
                                    [](std::string_view) { return true; });
            if (text) sched = ProcSchedstat::decode(*text);
            if (!text) error = text.error().value();
        }
        // A kernel built without scheduler statistics has no such file;
        // that is no fault of the process, which then counts no switches.
        missing = error == ENOENT;
        // Any other failure (EMFILE on a fresh open, a short read) leaves
        // the switches unknown this pass: counting them as 0 would book the
        // process's lifetime switches into the next interval.
        schedstatFailed = !missing && !sched;
    }
    auto verdict = sleepProof_.judge(tracked.sleep, {.sched = sched,
                                                     .sameInstance = !isNew && kept,
                                                     .figuresKept = tracked.instance != 0,
                                                     .mainState = tracked.state,
                                                     .threadCount = tracked.threadCount,
                                                     .checking = checking_});
    uint64_t keptCPUTicks = tracked.cpuTicks, keptThreadCount = tracked.threadCount;
    std::optional<ProcIO> sleepingIO = verdict.checkingSleeper ? tracked.io : std::nullopt;
    bool malformed = false;
    if (!verdict.asleep) {
        ProcessOutcome stat = readStat(pid, tracked, isNew, !verdict.mainThreadSlept);
        if (stat == ProcessOutcome::gone) return false;
        malformed = stat == ProcessOutcome::malformed;
        if (malformed) {
            // Nothing proves sleep until a stat that decodes.
            sched.reset();
            tracked.sleep.threadsTrusted = false;
        } else {
            if (verdict.checkingSleeper &&
                (tracked.cpuTicks != keptCPUTicks || tracked.threadCount != keptThreadCount) &&
                stillShows(tracked, sched)) {
                sleepProof_.disprove();
            }
            tracked.io.reset();  // read again by readUsage, or by an asleep pass later
            sleepProof_.watchThreads(pid, tracked.sleep, tracked.threadCount);
        }
    }
    if (missing) tracked.sleep.noSchedstat = true;
    tracked.sleep.sched = sched;
    slot = {.tracked = &tracked,
            .sleepingIO = sleepingIO,
            .pid = pid,
            .statWasRead = !verdict.asleep,
            .asleep = verdict.asleep,
            .malformed = malformed,
            .schedstatFailed = schedstatFailed};
    return true;
}

bool LinuxProcessTablePort::stillShows(const Tracked& tracked, const std::optional<ProcSchedstat>& claimed) const {
    // Read again through the descriptor the claim came from: a process that
    // woke between its schedstat read and the later reads shows new figures
    // now, and convicts nothing.
    if (!claimed || !tracked.files.valid(File::schedstat)) return false;
    char buffer[256];
    auto text = ProcDescriptorCache::reread(tracked.files.get(File::schedstat), buffer);
    if (!text) return false;
    return ProcSchedstat::decode(*text) == claimed;
}

void LinuxProcessTablePort::fillRow(const Tracked& tracked, int32_t pid, ProcessTableRow& row) const {
    row.pid = pid;
    row.parentPID = tracked.parent.parentPID;
    row.uid = tracked.uid;
    row.startStamp = tracked.startTicks;
    row.start = Date::fromUnixSeconds(double(bootTicks_ + int64_t(tracked.startTicks)) /
                                      double(options_.ticksPerSecond));
    row.isZombie = tracked.isZombie;
    row.setCommandName(tracked.command);
}

uint64_t LinuxProcessTablePort::liveInstance(int32_t pid) const {
    auto found = tracked_.find(pid);
    if (found == tracked_.end() || found->second.generation != generation_ || found->second.isZombie) return 0;
    return found->second.instance;
}

void LinuxProcessTablePort::confirmParents() {
    // A process that slept kept its parent from an earlier pass; unless that
    // still holds, its stat is read now.
    bool dropped = false;
    for (size_t i = 0; i < slots_.size(); ++i) {
        Slot& slot = slots_[i];
        Tracked& child = *slot.tracked;
        int32_t parentPID = child.parent.parentPID;
        if (!slot.statWasRead && parentPID > 0 && !ProcParentCheck::holds(child.parent, liveInstance(parentPID))) {
            slot.statWasRead = true;
            slot.asleep = false;
            child.io.reset();
            ProcessOutcome stat = readStat(slot.pid, child, false, false);
            if (stat == ProcessOutcome::gone) {
                slot.tracked = nullptr;
                dropped = true;
                continue;
            }
            if (stat == ProcessOutcome::malformed) {
                slot.malformed = true;
                child.sleep.sched.reset();
                child.sleep.threadsTrusted = false;
            } else {
                sleepProof_.watchThreads(slot.pid, child.sleep, child.threadCount);
            }
            fillRow(child, slot.pid, rows_[i]);
        }
        parentPID = child.parent.parentPID;
        bool unbound = parentPID > 0 && child.parent.parentInstance == 0;
        ProcParentCheck::bind(child.parent, unbound ? liveInstance(parentPID) : 0);
    }
    if (!dropped) return;
    size_t kept = 0;
    for (size_t i = 0; i < slots_.size(); ++i) {
        if (!slots_[i].tracked) {
            tracked_.erase(slots_[i].pid);  // its descriptors give their places back
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

bool LinuxProcessTablePort::startFirstReads(const std::vector<int32_t>& pids) {
    const size_t readers = options_.readers.value_or(ProcFirstReads::defaultReaders());
    if (readers == 0 || pids.size() < options_.readFirstFrom) return false;
    std::vector<int32_t> fresh;
    for (int32_t pid : pids) {
        if (!tracked_.contains(pid)) fresh.push_back(pid);
    }
    if (fresh.size() < std::max<size_t>(options_.readFirstFrom, 1)) return false;
    size_t room = 0;
    if (options_.keepDescriptors) {
        room = cache_.budget() - std::min(cache_.budget(), cache_.kept());
        // Sized before the readers share it: see prepareProcessTable.
        sizeDescriptorTable(procDirectory_.get(),
                            std::min(cache_.kept() + fresh.size() * ProcDescriptorCache::fileCount * 5 / 4 + 512,
                                     cache_.budget() + 511));
    }
    firstReads_.start(fresh, readers, room);
    ++passesWithReaders_;
    return true;
}

std::span<const ProcessTableRow> LinuxProcessTablePort::readTable() {
    if (!procDirectory_.valid()) return rows_;
    // The last first pass's readings are all taken or no longer wanted.
    firstReads_.release();
    ++generation_;
    remeasureBoot();
    sleepProof_.beginPass();
    checking_ = ++passesSinceCheck_ >= checkEvery;
    if (checking_) passesSinceCheck_ = 0;
    const uint64_t listings = counts_.listings;
    const std::vector<int32_t>& pids = lister_.list(lastPIDs_, checking_);
    // Unlisted, the pids are the last pass's: none is new.
    const bool listed = counts_.listings != listings;
    rows_.clear();
    slots_.clear();
    // Processes met for the first time, when there are many, are read by
    // the readers meanwhile; each reading is taken here in the listing's
    // order, so that all the port keeps changes as in a pass read alone.
    const bool readersStarted = listed && startFirstReads(pids);
    uint32_t nextFirst = 0;
    for (int32_t pid : pids) {
        auto [it, isNew] = tracked_.try_emplace(pid);
        Slot slot{};
        uint32_t firstRead = noFirstRead;
        if (isNew && readersStarted) {
            firstRead = nextFirst++;
            first_ = &firstReads_.at(firstRead);
        }
        const bool read = readRow(pid, it->second, isNew, slot);
        first_ = nullptr;
        if (!read) {
            tracked_.erase(it);  // gone between listing and reading
            continue;
        }
        slot.firstRead = firstRead;
        it->second.generation = generation_;
        ProcessTableRow& row = rows_.emplace_back();
        fillRow(it->second, pid, row);
        row.slot = static_cast<uint32_t>(slots_.size());
        slots_.push_back(slot);
    }
    // Processes that exited since the last pass give their descriptors back.
    std::erase_if(tracked_, [this](const auto& entry) { return entry.second.generation != generation_; });
    if (readersStarted) firstReads_.finish();
    confirmParents();
    lastPIDs_.clear();
    for (const auto& row : rows_) lastPIDs_.push_back(row.pid);
    return rows_;
}

void LinuxProcessTablePort::finishPass() {
    // Both are large enough to be mapped on their own, so the memory goes
    // back to the system at once; refilling them next pass is cheap beside
    // the reads.
    std::vector<ProcessTableRow>().swap(rows_);
    std::vector<Slot>().swap(slots_);
}

ProcFirstReads::Reading* LinuxProcessTablePort::firstReadOf(const ProcessTableRow& row) {
    if (row.slot >= slots_.size() || slots_[row.slot].pid != row.pid) return nullptr;
    const uint32_t index = slots_[row.slot].firstRead;
    return index == noFirstRead ? nullptr : &firstReads_.at(index);
}

std::optional<std::string> LinuxProcessTablePort::executablePath(const ProcessTableRow& row) {
    if (auto* first = firstReadOf(row); first && first->exeRead) return first->executable;
    return ProcFirstReads::executablePath(procDirectory_.get(), row.pid);
}

UsageResult LinuxProcessTablePort::readUsage(const ProcessTableRow& row, bool refusedBefore) {
    // Figures read before a failure stay in the result.
    UsageResult result{.usage = {}, .outcome = ProcessOutcome::malformed};
    if (row.slot >= slots_.size() || slots_[row.slot].pid != row.pid) return result;
    const Slot& slot = slots_[row.slot];
    if (slot.malformed) return result;  // no CPU time to report
    Tracked& tracked = *slot.tracked;
    ProcessUsage& usage = result.usage;
    const uint64_t hz = uint64_t(options_.ticksPerSecond);
    usage.cpuTime = Duration::nanoseconds(int64_t(tracked.cpuTicks / hz * 1'000'000'000 +
                                                  tracked.cpuTicks % hz * 1'000'000'000 / hz));
    if (tracked.sleep.sched) usage.wakeups = tracked.sleep.sched->runCount;

    ProcFirstReads::Reading* first = slot.firstRead == noFirstRead ? nullptr : &firstReads_.at(slot.firstRead);
    char buffer[512];
    if (!tracked.isKernelThread) {
        ++counts_.statm;
        std::optional<ProcStatm> memory;
        if (auto error = takeFirst(first, tracked, File::statm)) {
            if (*error != 0) {
                if (isGone(errorFrom(*error))) result.outcome = ProcessOutcome::gone;
                return result;
            }
            memory = first->statm;
        } else {
            auto text = cache_.read(row.pid, tracked.files, File::statm, buffer);
            if (!text) {
                if (isGone(text.error())) result.outcome = ProcessOutcome::gone;
                return result;
            }
            memory = ProcStatm::decode(*text);
        }
        if (!memory) return result;
        uint64_t anonymous =
            memory->residentPages > memory->sharedPages ? memory->residentPages - memory->sharedPages : 0;
        usage.footprintBytes = anonymous * uint64_t(options_.pageSize);
    }

    if (refusedBefore) {
        result.outcome = ProcessOutcome::refused;
        return result;
    }
    if (!slot.asleep || !tracked.io) {
        ++counts_.io;
        if (auto error = takeFirst(first, tracked, File::io)) {
            if (*error != 0) {
                if (isRefusal(errorFrom(*error))) result.outcome = ProcessOutcome::refused;
                if (isGone(errorFrom(*error))) result.outcome = ProcessOutcome::gone;
                return result;
            }
            tracked.io = first->io;
        } else {
            auto text = cache_.read(row.pid, tracked.files, File::io, buffer);
            if (!text) {
                if (isRefusal(text.error())) result.outcome = ProcessOutcome::refused;
                if (isGone(text.error())) result.outcome = ProcessOutcome::gone;
                return result;
            }
            tracked.io = ProcIO::decode(*text);
        }
        if (!tracked.io) return result;
        if (slot.sleepingIO && *slot.sleepingIO != *tracked.io && stillShows(tracked, tracked.sleep.sched)) {
            sleepProof_.disprove();
        }
    }
    usage.diskReadBytes = tracked.io->readBytes;
    usage.diskWriteBytes = tracked.io->writeBytes;
    result.outcome = slot.schedstatFailed ? ProcessOutcome::malformed : ProcessOutcome::complete;
    return result;
}

void prepareProcessTable(const std::filesystem::path& root) {
    const size_t budget = ProcDescriptorCache::defaultBudget();  // raises the limit
    FileDescriptor proc(::open((root / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!proc.valid() || budget == 0) return;
    alignas(8) char buffer[8192];
    std::vector<int32_t> pids;
    appendNumberedEntries(proc.get(), buffer, pids);
    // Each process keeps up to four files, a few also their threads'
    // schedstat; room for a quarter more processes, and the reserve the
    // rest of the program uses.
    const size_t wanted = pids.size() * ProcDescriptorCache::fileCount * 5 / 4 + 512;
    sizeDescriptorTable(proc.get(), std::min(wanted, budget + 511));
}

std::unique_ptr<ProcessTablePort> makeProcessTablePort(const std::filesystem::path& root, ProcessTablePasses passes) {
    LinuxProcessTablePort::Options options;
    options.root = root;
    options.keepDescriptors = passes == ProcessTablePasses::many;
    return std::make_unique<LinuxProcessTablePort>(std::move(options));
}

}  // namespace orv
