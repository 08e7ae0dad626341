#include <IOKit/IOKitLib.h>
#include <mach/mach.h>
#include <mach/processor_info.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "Sampling/CPUPort.h"
#include "Sampling/CPUTopologyMath.h"
#include "Sampling/PerfLevelTopology.h"
#include "Sampling/ProcessorTickDecoding.h"
#include "Sampling/SysctlReader.h"
#include "Sampling/darwin/IOObjectRef.h"
#include "Sampling/darwin/MachHostPort.h"
#include "core/SamplingError.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv {

namespace {

// Owns the array host_processor_info hands out, freed with vm_deallocate
// on the task's own port whatever path the read takes.
class ProcessorInfoBuffer {
public:
    ProcessorInfoBuffer(processor_info_array_t info, mach_msg_type_number_t count) : info_(info), count_(count) {}
    ProcessorInfoBuffer(const ProcessorInfoBuffer&) = delete;
    ProcessorInfoBuffer& operator=(const ProcessorInfoBuffer&) = delete;
    ~ProcessorInfoBuffer() {
        if (info_) vm_deallocate(mach_task_self(), vm_address_t(info_), vm_size_t(count_) * sizeof(integer_t));
    }
    std::span<const uint32_t> words() const {
        return {reinterpret_cast<const uint32_t*>(info_), size_t(count_)};
    }

private:
    processor_info_array_t info_;
    mach_msg_type_number_t count_;
};

class DarwinCPUPort : public CPUPort {
public:
    std::vector<CPUTicks> readTicks() override {
        natural_t processors = 0;
        processor_info_array_t info = nullptr;
        mach_msg_type_number_t infoCount = 0;
        kern_return_t result = host_processor_info(host_.get(), PROCESSOR_CPU_LOAD_INFO, &processors, &info, &infoCount);
        ProcessorInfoBuffer buffer(info, infoCount);
        if (result != KERN_SUCCESS || info == nullptr) throw SamplingError::kernel(result);
        if (processors == 0) return {};
        auto ticks = ProcessorLoadInfo::decode(buffer.words(), processors);
        if (!ticks) throw SamplingError::kernel(KERN_INVALID_VALUE);
        return std::move(*ticks);
    }

    CPUTopology readTopology() override {
        PerfLevelReads reads;
        // The topology rule takes reads that throw the sysctl's error.
        reads.levels = [] {
            std::vector<PerfLevel> levels;
            const int64_t count = SysctlReader::integer("hw.nperflevels").value();
            for (int64_t i = 0; i < count; ++i) {
                const std::string prefix = "hw.perflevel" + std::to_string(i);
                levels.push_back({SysctlReader::string(prefix + ".name").value(),
                                  SysctlReader::integer(prefix + ".logicalcpu").value()});
            }
            return levels;
        };
        reads.logicalCPUCount = [] { return SysctlReader::integer("hw.logicalcpu").value(); };
        // What NSProcessInfo.activeProcessorCount reports.
        reads.activeProcessorCount = [] { return int64_t(sysconf(_SC_NPROCESSORS_ONLN)); };
        reads.clusterTypes = [] { return clusterTypes(); };
        return perfLevelTopology(reads);
    }

    std::optional<LoadAverage> readLoadAverage() override {
        double loads[3];
        if (getloadavg(loads, 3) != 3) return std::nullopt;
        return LoadAverage{loads[0], loads[1], loads[2]};
    }

private:
    // Logical core → cluster type ("P", "E") from the device tree's cpus.
    static std::optional<std::map<int64_t, std::string>> clusterTypes() {
        IOObjectRef cpus(IORegistryEntryFromPath(kIOMainPortDefault, "IODeviceTree:/cpus"));
        if (!cpus) return std::nullopt;
        io_iterator_t iterator = IO_OBJECT_NULL;
        if (IORegistryEntryGetChildIterator(cpus.get(), "IODeviceTree", &iterator) != KERN_SUCCESS) return std::nullopt;
        IOObjectRef children(iterator);
        std::map<int64_t, std::string> types;
        while (io_object_t next = IOIteratorNext(children.get())) {
            IOObjectRef child(next);
            auto id = property(child.get(), CFSTR("logical-cpu-id"));
            auto type = property(child.get(), CFSTR("cluster-type"));
            if (auto entry = CPUTopologyMath::clusterEntry(id ? &*id : nullptr, type ? &*type : nullptr)) {
                types.insert_or_assign(entry->first, std::move(entry->second));
            }
        }
        if (types.empty()) return std::nullopt;
        return types;
    }

    static std::optional<PropertyValue> property(io_registry_entry_t entry, CFStringRef key) {
        CFRef<CFTypeRef> value(IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0));
        return propertyValueFromCF(value.get());
    }

    MachHostPort host_;
};

}  // namespace

std::unique_ptr<CPUPort> makeCPUPort(const std::filesystem::path&) { return std::make_unique<DarwinCPUPort>(); }

}  // namespace orv
