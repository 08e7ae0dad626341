#include "Sampling/linux/ProcFirstReads.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "Sampling/linux/ProcPath.h"

namespace orv {

namespace {

constexpr std::string_view fileNames[ProcDescriptorCache::fileCount] = {"stat", "statm", "schedstat", "io"};

}  // namespace

size_t ProcFirstReads::defaultReaders() {
    const size_t cores = std::thread::hardware_concurrency();
    return cores <= 1 ? 0 : std::min<size_t>(4, cores);
}

ProcFirstReads::ProcFirstReads(int procDirectory, ProcDescriptorCache::Open open, bool keep)
    : procDirectory_(procDirectory), open_(std::move(open)), keep_(keep) {
    if (!open_) open_ = [](int dir, const char* path) { return ::openat(dir, path, O_RDONLY | O_CLOEXEC); };
}

ProcFirstReads::~ProcFirstReads() { finish(); }

std::optional<std::string> ProcFirstReads::executablePath(int procDirectory, int32_t pid) {
    ProcPath path(pid, "exe");
    char target[4096];
    ssize_t n = ::readlinkat(procDirectory, path.c_str(), target, sizeof target);
    if (n < 1) return std::nullopt;  // kernel threads have none; others' need CAP_SYS_PTRACE
    // The kernel marks an executable replaced on disk since it started (an
    // upgraded package); the process is still that program.
    constexpr std::string_view deleted = " (deleted)";
    std::string_view link(target, size_t(n));
    if (link.ends_with(deleted)) link.remove_suffix(deleted.size());
    return std::string(link);
}

void ProcFirstReads::start(const std::vector<int32_t>& pids, size_t readers, size_t room) {
    finish();
    room_.store(room, std::memory_order_relaxed);
    readings_.clear();
    readings_.resize(pids.size());
    for (size_t i = 0; i < pids.size(); ++i) readings_[i].pid = pids[i];
    const size_t chunks = (pids.size() + chunkSize - 1) / chunkSize;
    done_.assign(chunks, 0);
    nextChunk_ = 0;
    confirmed_ = 0;
    // The sampling thread is one of the readers: it reads a chunk itself
    // whenever the one it needs next is not read yet.
    readers = std::min(std::max<size_t>(readers, 1), chunks);
    threads_.reserve(readers - 1);
    for (size_t i = 1; i < readers; ++i) threads_.emplace_back([this] { run(); });
}

void ProcFirstReads::readChunk(std::unique_lock<std::mutex>& lock) {
    const size_t chunk = nextChunk_++;
    lock.unlock();
    const size_t end = std::min(readings_.size(), (chunk + 1) * chunkSize);
    for (size_t i = chunk * chunkSize; i < end; ++i) read(readings_[i]);
    lock.lock();
    done_[chunk] = 1;
    chunkDone_.notify_all();
}

void ProcFirstReads::run() {
    std::unique_lock lock(mutex_);
    while (nextChunk_ < done_.size()) readChunk(lock);
}

ProcFirstReads::Reading& ProcFirstReads::at(size_t index) {
    const size_t chunk = index / chunkSize;
    if (chunk >= confirmed_) {
        std::unique_lock lock(mutex_);
        while (!done_[chunk]) {
            if (nextChunk_ < done_.size()) {
                readChunk(lock);
            } else {
                chunkDone_.wait(lock);
            }
        }
        while (confirmed_ < done_.size() && done_[confirmed_]) ++confirmed_;
    }
    return readings_[index];
}

void ProcFirstReads::finish() {
    for (auto& thread : threads_) thread.join();
    threads_.clear();
}

void ProcFirstReads::release() {
    finish();
    // Given back whole: a first pass's readings are not needed again soon.
    std::vector<Reading>().swap(readings_);
    std::vector<uint8_t>().swap(done_);
    confirmed_ = 0;
}

int ProcFirstReads::readFile(int32_t pid, ProcDescriptorCache::File file, char* buffer, size_t size,
                             size_t& length, FileRead& into) const {
    ProcPath path(pid, fileNames[file]);
    FileDescriptor fd(open_(procDirectory_, path.c_str()));
    if (!fd.valid()) return into.error = errno;
    // One pread from offset 0, as the cache reads.
    ssize_t n = ::pread(fd.get(), buffer, size, 0);
    into.error = n < 0 ? errno : 0;
    length = n < 0 ? 0 : size_t(n);
    if (keep_ && takeRoom()) into.fd = std::move(fd);
    return into.error;
}

bool ProcFirstReads::takeRoom() const {
    size_t left = room_.load(std::memory_order_relaxed);
    while (left > 0 && !room_.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
    }
    return left > 0;
}

void ProcFirstReads::read(Reading& r) const {
    using File = ProcDescriptorCache::File;
    size_t length = 0;
    {
        char buffer[256];
        if (readFile(r.pid, File::schedstat, buffer, sizeof buffer, length, r.files[File::schedstat]) == 0) {
            r.sched = ProcSchedstat::decode({buffer, length});
        }
    }
    {
        char buffer[1024];
        if (readFile(r.pid, File::stat, buffer, sizeof buffer, length, r.files[File::stat]) != 0) return;  // gone
        r.stat = ProcStat::decode({buffer, length});
        if (r.stat) {
            r.commandLength = static_cast<uint8_t>(std::min(r.stat->command.size(), sizeof r.command));
            std::memcpy(r.command, r.stat->command.data(), r.commandLength);
            r.stat->command = {};
        }
    }
    // The directory, not a file in it: see the port's owner read.
    ProcPath directory(r.pid);
    struct stat owner{};
    r.ownerError = ::fstatat(procDirectory_, directory.c_str(), &owner, 0) == 0 ? 0 : errno;
    if (r.ownerError != 0) return;  // gone
    r.uid = owner.st_uid;
    if (r.stat && r.stat->isZombie()) return;  // nothing more is asked of a zombie

    char buffer[512];
    // A stat that did not decode leaves no usage to report.
    if (r.stat && !r.stat->isKernelThread()) {
        if (readFile(r.pid, File::statm, buffer, sizeof buffer, length, r.files[File::statm]) == 0) {
            r.statm = ProcStatm::decode({buffer, length});
        }
    }
    if (r.stat && readFile(r.pid, File::io, buffer, sizeof buffer, length, r.files[File::io]) == 0) {
        r.io = ProcIO::decode({buffer, length});
    }
    r.executable = executablePath(procDirectory_, r.pid);
    r.exeRead = true;
}

}  // namespace orv
