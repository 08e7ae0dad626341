#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Sampling/ProcFiles.h"
#include "Sampling/linux/ProcDescriptorCache.h"
#include "core/FileDescriptor.h"

namespace orv {

// Reads the files of processes met for the first time on reader threads,
// while the sampling thread takes the readings in the listing's order,
// reading chunks itself while any is left rather than sleep. A first pass
// opens every file of every process, and nearly all of its time is the
// kernel's (open, read, close); one thread leaves the other cores idle.
// Readers only read and decode: what the port keeps is changed on the
// sampling thread alone, from these readings, as from its own reads.
class ProcFirstReads {
public:
    // What a file's read gave.
    static constexpr int notRead = -1;  // the reader did not read it
    struct FileRead {
        int error = notRead;  // 0: read; otherwise the errno of the open or the read
        FileDescriptor fd;    // when descriptors are kept: the one it was read through
    };

    // Everything read of one process, in the order the port reads it:
    // schedstat, stat, the owner of its directory, then statm and io, and
    // the executable's path. A reader stops at the first sign that the
    // process is gone, and reads no usage of a zombie nor a kernel thread's
    // memory; what it did not read, the port reads itself.
    struct Reading {
        int32_t pid = 0;
        FileRead files[ProcDescriptorCache::fileCount];
        std::optional<ProcSchedstat> sched;
        std::optional<ProcStat> stat;  // its command is `command` below once taken
        char command[64] = {};
        uint8_t commandLength = 0;
        int ownerError = notRead;
        uint32_t uid = 0;
        std::optional<ProcStatm> statm;
        std::optional<ProcIO> io;
        bool exeRead = false;
        std::optional<std::string> executable;

        // The decoded stat, its command pointing into this reading.
        std::optional<ProcStat> decodedStat() const {
            std::optional<ProcStat> copy = stat;
            if (copy) copy->command = {command, commandLength};
            return copy;
        }
    };

    // How many readers a machine gets: none on one core, at most four.
    static size_t defaultReaders();

    // `procDirectory` is borrowed; `open` as the cache's. With `keep`, each
    // reading holds the descriptors its files were read through; otherwise
    // each is closed once read.
    ProcFirstReads(int procDirectory, ProcDescriptorCache::Open open, bool keep);
    ProcFirstReads(const ProcFirstReads&) = delete;
    ProcFirstReads& operator=(const ProcFirstReads&) = delete;
    ~ProcFirstReads();

    // Starts reading `pids` with `readers` readers: that many threads less
    // one, and the caller of `at`, which reads a chunk itself rather than
    // wait while one is left. Returns at once. With
    // `keep`, at most `room` descriptors are held for the cache to take
    // (what its budget has left); others are closed once read, so that the
    // readers never run the process out of descriptors.
    void start(const std::vector<int32_t>& pids, size_t readers, size_t room = 0);
    // The reading of the `index`-th pid given to start, once made: reads
    // chunks not yet taken until it is, then waits for it.
    Reading& at(size_t index);
    // Waits for the readers to end.
    void finish();
    // Drops the readings, closing the descriptors no one took.
    void release();

    bool active() const { return !readings_.empty(); }

    // The executable's path below `procDirectory`, " (deleted)" dropped;
    // nothing for a kernel thread or another user's process.
    static std::optional<std::string> executablePath(int procDirectory, int32_t pid);

private:
    // Pids handed to a reader at a time: few enough that the sampling
    // thread's wait for the first is short, enough that the lock is rare.
    static constexpr size_t chunkSize = 16;

    void run();
    // Reads the next chunk not taken yet; `lock` holds mutex_.
    void readChunk(std::unique_lock<std::mutex>& lock);
    void read(Reading& reading) const;
    bool takeRoom() const;
    int readFile(int32_t pid, ProcDescriptorCache::File file, char* buffer, size_t size, size_t& length,
                 FileRead& into) const;

    int procDirectory_;
    ProcDescriptorCache::Open open_;
    bool keep_;
    std::vector<Reading> readings_;
    std::vector<std::thread> threads_;
    std::mutex mutex_;
    std::condition_variable chunkDone_;
    size_t nextChunk_ = 0;               // under mutex_: the next chunk a reader takes
    std::vector<uint8_t> done_;          // under mutex_: per chunk
    size_t confirmed_ = 0;               // the sampling thread's: chunks below it are done
    mutable std::atomic<size_t> room_{0};  // descriptors the readings may still hold
};

}  // namespace orv
