#include <mach/mach.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "Sampling/MemoryMath.h"
#include "Sampling/MemoryPort.h"
#include "Sampling/SysctlDecoding.h"
#include "Sampling/SysctlReader.h"
#include "Sampling/darwin/MachHostPort.h"
#include "core/SamplingError.h"

namespace orv {

namespace {

class DarwinMemoryPort : public MemoryPort {
public:
    uint64_t pageSize() override {
        vm_size_t size = 0;
        if (host_page_size(host_.get(), &size) == KERN_SUCCESS && size != 0) return uint64_t(size);
        if (auto fromSysctl = SysctlReader::integer("hw.pagesize"); fromSysctl && *fromSysctl > 0) {
            return uint64_t(*fromSysctl);
        }
        return uint64_t(getpagesize());
    }

    Result<uint64_t, SamplingError> physicalMemory() override { return SysctlReader::exactUInt64("hw.memsize"); }

    // NSProcessInfo.physicalMemory's figure, from the same kernel counts.
    uint64_t fallbackPhysicalMemory() override {
        long pages = sysconf(_SC_PHYS_PAGES);
        return pages > 0 ? uint64_t(pages) * uint64_t(getpagesize()) : 0;
    }

    VMPageCounts readPageCounts() override {
        // 104 words of room: the kernel shortens the count to its own
        // vm_statistics64 and fills no further.
        std::array<integer_t, 104> buffer{};
        mach_msg_type_number_t count = mach_msg_type_number_t(buffer.size());
        kern_return_t result = host_statistics64(host_.get(), HOST_VM_INFO64, buffer.data(), &count);
        if (result != KERN_SUCCESS) throw SamplingError::kernel(result);
        vm_statistics64_data_t statistics{};
        std::memcpy(&statistics, buffer.data(), std::min(sizeof statistics, size_t(count) * sizeof(integer_t)));
        return VMPageCounts{statistics.internal_page_count, statistics.wire_count, statistics.compressor_page_count,
                            statistics.external_page_count, statistics.purgeable_count};
    }

    Result<uint64_t, SamplingError> readSwapUsed() override {
        auto bytes = SysctlReader::bytes("vm.swapusage", SwapUsage::size);
        if (!bytes) return bytes.error();
        auto used = SwapUsage::decode(*bytes);
        if (!used) return SamplingError::sysctl("vm.swapusage", EINVAL);
        return *used;
    }

    // An unreadable level is the kernel's normal (1).
    MemoryPressure readPressure() override {
        auto level = SysctlReader::integer("kern.memorystatus_vm_pressure_level");
        return MemoryMath::pressureFromKernelLevel(level ? *level : 1);
    }

    int64_t readAvailableLevel() override {
        auto level = SysctlReader::integer("kern.memorystatus_level");
        return level ? *level : 100;
    }

private:
    MachHostPort host_;
};

}  // namespace

std::unique_ptr<MemoryPort> makeMemoryPort(const std::filesystem::path&) {
    return std::make_unique<DarwinMemoryPort>();
}

}  // namespace orv
