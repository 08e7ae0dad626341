#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "Sampling/linux/DescriptorCloser.h"
#include "core/FileDescriptor.h"
#include "core/Result.h"

namespace orv {

// Descriptors of proc files kept open between passes, within a budget.
// A kept file is re-read with pread at offset 0, about twice as fast as
// open/read/close; once its process is reaped it answers ESRCH, so it never
// reads a process that took the pid since. Beyond the budget files are
// opened and closed per read.
class ProcDescriptorCache {
public:
    // Opens `path` relative to the proc directory; a descriptor, or -1 with
    // errno set.
    using Open = std::function<int(int procDirectory, const char* path)>;

    // A descriptor that holds one place in the budget and gives it back
    // when it is closed.
    class Kept {
    public:
        Kept() = default;
        Kept(Kept&& other) noexcept : fd_(std::move(other.fd_)), places_(std::exchange(other.places_, nullptr)) {}
        Kept& operator=(Kept&& other) noexcept {
            if (this != &other) {
                reset();
                fd_ = std::move(other.fd_);
                places_ = std::exchange(other.places_, nullptr);
            }
            return *this;
        }
        ~Kept() { reset(); }

        bool valid() const { return fd_.valid(); }
        int get() const { return fd_.get(); }
        void reset() {
            if (places_) --*places_;
            places_ = nullptr;
            fd_.reset();
        }

    private:
        friend class ProcDescriptorCache;
        FileDescriptor fd_;
        size_t* places_ = nullptr;  // the cache's count of kept descriptors
    };

    // The per-process files the process pass reads.
    enum File : uint8_t { stat, statm, schedstat, io };
    static constexpr size_t fileCount = 4;
    // One process's kept descriptors. The count they hold places in is
    // named once for all of them rather than by each: thousands of these
    // live as long as their processes do.
    class Files {
    public:
        Files() = default;
        Files(const Files&) = delete;
        Files& operator=(const Files&) = delete;
        ~Files() { closeAll(); }

        bool valid(File file) const { return fds_[file].valid(); }
        int get(File file) const { return fds_[file].get(); }
        void close(File file) {
            if (fds_[file].valid() && places_) --*places_;
            fds_[file].reset();
        }
        void closeAll() {
            for (size_t file = 0; file < fileCount; ++file) close(File(file));
        }

    private:
        friend class ProcDescriptorCache;
        FileDescriptor fds_[fileCount];
        size_t* places_ = nullptr;  // the cache's count of kept descriptors
    };

    // `budget` 0: defaultBudget(). `procDirectory` is borrowed. With `keep`
    // false nothing is kept, for a run that makes one pass: every file is
    // opened, read and handed to a DescriptorCloser, so that the process
    // neither closes thousands of descriptors at its exit nor waits for
    // each close while it reads.
    ProcDescriptorCache(int procDirectory, size_t budget, Open open, bool keep = true);
    ProcDescriptorCache(const ProcDescriptorCache&) = delete;
    ProcDescriptorCache& operator=(const ProcDescriptorCache&) = delete;

    // Reads proc/<pid>/<file> from offset 0 into `buffer`: through its kept
    // descriptor, else opened here and kept while the budget allows.
    Result<std::string_view> read(int32_t pid, Files& files, File file, std::span<char> buffer);
    // Re-reads a kept descriptor from offset 0.
    static Result<std::string_view> reread(const Kept& kept, std::span<char> buffer) {
        return reread(kept.get(), buffer);
    }
    static Result<std::string_view> reread(int fd, std::span<char> buffer);
    // Opens `path` below proc and keeps it; not valid when the budget is
    // spent or the open failed.
    Kept keep(const char* path);
    // Takes a descriptor `file` was read through elsewhere: kept while the
    // budget allows, as if read here, otherwise closed.
    void adopt(Files& files, File file, FileDescriptor fd);

    size_t kept() const { return kept_; }
    bool hasRoom() const { return kept_ < budget_; }
    size_t budget() const { return budget_; }

    // RLIMIT_NOFILE, raised to its hard limit once, less a reserve for the
    // rest of the program (sockets, the log, other samplers).
    static size_t defaultBudget();

private:
    int procDirectory_;
    size_t budget_;
    Open open_;
    size_t kept_ = 0;
    std::unique_ptr<DescriptorCloser> closer_;  // when nothing is kept
};

}  // namespace orv
