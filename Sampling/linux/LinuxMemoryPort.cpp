#include <unistd.h>

#include <cerrno>

#include "Sampling/MemoryMath.h"
#include "Sampling/MemoryPort.h"
#include "Sampling/MeminfoDecoding.h"
#include "Sampling/linux/KeptFile.h"
#include "core/FileReading.h"
#include "core/Result.h"
#include "core/SamplingError.h"

namespace orv {

namespace {

// proc/meminfo, read once per sample for every figure, and the pressure
// stall file where the kernel keeps pressure accounting (Debian's stock
// kernels do only when booted with psi=1).
class LinuxMemoryPort : public MemoryPort {
public:
    explicit LinuxMemoryPort(const std::filesystem::path& root)
        : meminfo_(root / "proc/meminfo"), pressure_(root / "proc/pressure/memory"), block_(root / "sys/block") {}

    uint64_t pageSize() override {
        long size = sysconf(_SC_PAGESIZE);
        return size > 0 ? uint64_t(size) : 4096;
    }

    Result<uint64_t, SamplingError> physicalMemory() override {
        auto info = readMeminfo();
        if (!info) return info.error();
        return info->memTotal;
    }

    uint64_t fallbackPhysicalMemory() override {
        long pages = sysconf(_SC_PHYS_PAGES);
        return pages > 0 ? uint64_t(pages) * pageSize() : 0;
    }

    VMPageCounts readPageCounts() override {
        last_ = readMeminfo().value();
        return last_.pageCounts(pageSize(), zramBytes());
    }

    // From the meminfo the page counts just read.
    Result<uint64_t, SamplingError> readSwapUsed() override { return last_.swapUsed(); }

    MemoryPressure readPressure() override {
        std::optional<MemoryStall> stall;
        if (pressureReadable_) {
            auto text = pressure_.read();
            // Pressure accounting cannot be switched on without a reboot, so
            // a missing file is not looked for again.
            if (!text) pressureReadable_ = false;
            else stall = MemoryStall::decode(*text);
        }
        return MemoryMath::pressureFromStall(stall, last_.memAvailable, last_.memTotal);
    }

    int64_t readAvailableLevel() override { return MemoryMath::availableLevel(last_.memAvailable, last_.memTotal); }

private:
    // proc/meminfo decoded; a file that cannot be read, or does not decode
    // (EBADMSG), is the error.
    Result<Meminfo, SamplingError> readMeminfo() {
        auto text = meminfo_.read();
        if (!text) return SamplingError::fileRead(meminfo_.path().string(), text.error().value());
        auto info = Meminfo::decode(*text);
        if (!info) return SamplingError::fileRead(meminfo_.path().string(), EBADMSG);
        return *info;
    }

    // The memory of every zram device's compressed pool. Devices are listed
    // on each read (zramctl can add one at any time); one that vanishes or
    // whose mm_stat does not decode adds nothing.
    uint64_t zramBytes() {
        uint64_t total = 0;
        std::error_code error;
        for (std::filesystem::directory_iterator it(block_, error), end; !error && it != end; it.increment(error)) {
            const std::string name = it->path().filename().string();
            if (!name.starts_with("zram")) continue;
            auto text = FileReading::readSmallFile(it->path() / "mm_stat");
            if (!text) continue;
            if (auto stat = ZramMmStat::decode(*text)) total += stat->memUsedTotal;
        }
        return total;
    }

    KeptFile meminfo_;
    KeptFile pressure_;
    std::filesystem::path block_;
    bool pressureReadable_ = true;
    Meminfo last_;
};

}  // namespace

std::unique_ptr<MemoryPort> makeMemoryPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxMemoryPort>(root);
}

}  // namespace orv
