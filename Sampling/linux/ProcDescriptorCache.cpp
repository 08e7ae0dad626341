#include "Sampling/linux/ProcDescriptorCache.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "Sampling/linux/ProcPath.h"

namespace orv {

namespace {

constexpr std::string_view fileNames[ProcDescriptorCache::fileCount] = {"stat", "statm", "schedstat", "io"};

}  // namespace

ProcDescriptorCache::ProcDescriptorCache(int procDirectory, size_t budget, Open open, bool keep)
    : procDirectory_(procDirectory), budget_(!keep ? 0 : budget ? budget : defaultBudget()), open_(std::move(open)) {
    if (!keep) closer_ = std::make_unique<DescriptorCloser>();
    if (!open_) open_ = [](int dir, const char* path) { return ::openat(dir, path, O_RDONLY | O_CLOEXEC); };
}

size_t ProcDescriptorCache::defaultBudget() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    if (limit.rlim_cur < limit.rlim_max) {
        rlimit raised = limit;
        raised.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    }
    return limit.rlim_cur > 512 ? size_t(limit.rlim_cur - 512) : 0;
}

Result<std::string_view> ProcDescriptorCache::reread(int fd, std::span<char> buffer) {
    // One pread: proc regenerates the whole text for every read from
    // offset 0, so reading on to the end would double the cost.
    ssize_t n = ::pread(fd, buffer.data(), buffer.size(), 0);
    if (n < 0) return lastError();
    return std::string_view(buffer.data(), size_t(n));
}

Result<std::string_view> ProcDescriptorCache::read(int32_t pid, Files& files, File file, std::span<char> buffer) {
    if (files.valid(file)) return reread(files.get(file), buffer);
    ProcPath path(pid, fileNames[file]);
    FileDescriptor fresh(open_(procDirectory_, path.c_str()));
    if (!fresh.valid()) return lastError();
    ssize_t n = ::pread(fresh.get(), buffer.data(), buffer.size(), 0);
    int error = n < 0 ? errno : 0;
    adopt(files, file, std::move(fresh));
    if (n < 0) return errorFrom(error);
    return std::string_view(buffer.data(), size_t(n));
}

void ProcDescriptorCache::adopt(Files& files, File file, FileDescriptor fd) {
    if (!fd.valid() || files.valid(file)) return;
    if (kept_ < budget_) {
        files.fds_[file] = std::move(fd);
        files.places_ = &kept_;
        ++kept_;
    } else if (closer_) {
        closer_->close(fd.release());
    }
}

ProcDescriptorCache::Kept ProcDescriptorCache::keep(const char* path) {
    Kept kept;
    if (kept_ >= budget_) return kept;
    kept.fd_.reset(open_(procDirectory_, path));
    if (!kept.fd_.valid()) return kept;
    kept.places_ = &kept_;
    ++kept_;
    return kept;
}

}  // namespace orv
