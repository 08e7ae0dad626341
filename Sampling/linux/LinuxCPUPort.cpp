#include <stdlib.h>

#include <cerrno>

#include "Sampling/CPUPort.h"
#include "Sampling/CoreGroupTopology.h"
#include "Sampling/ProcStatDecoding.h"
#include "Sampling/linux/KeptFile.h"
#include "core/FileReading.h"
#include "core/TextDecoding.h"
#include "core/Result.h"
#include "core/SamplingError.h"

namespace orv {

namespace {

// proc/stat's cpuN lines; sysfs for the kinds of the cores.
class LinuxCPUPort : public CPUPort {
public:
    explicit LinuxCPUPort(const std::filesystem::path& root) : root_(root), stat_(root / "proc/stat") {}

    std::vector<CPUTicks> readTicks() override {
        auto cores = readCores().value();
        std::vector<CPUTicks> ticks;
        ticks.reserve(cores.size());
        for (const auto& core : cores) ticks.push_back(core.ticks);
        return ticks;
    }

    CPUTopology readTopology() override {
        CoreGroupFacts facts;
        // No cores readable: the single level comes out empty.
        if (auto cores = readCores()) {
            for (const auto& core : *cores) facts.onlineCores.push_back(core.number);
        }
        facts.hybridPerformance = readList("sys/devices/cpu_core/cpus");
        facts.hybridEfficiency = readList("sys/devices/cpu_atom/cpus");
        for (int64_t core : facts.onlineCores) {
            auto text = FileReading::readSmallFile(root_ / "sys/devices/system/cpu" / ("cpu" + std::to_string(core)) / "cpu_capacity");
            if (!text) continue;
            if (auto capacity = TextDecoding::parseNumber<int64_t>(TextDecoding::trim(*text))) {
                facts.capacities[core] = *capacity;
            }
        }
        return coreGroupTopology(facts);
    }

    std::optional<std::vector<int64_t>> lastCoreNumbers() const override { return numbers_; }

    // proc/stat's counters are 64-bit.
    CPULoadMath::CounterWidth counterWidth() const override { return CPULoadMath::CounterWidth::monotonic64; }

    std::optional<LoadAverage> readLoadAverage() override {
        double loads[3];
        if (getloadavg(loads, 3) != 3) return std::nullopt;
        return LoadAverage{loads[0], loads[1], loads[2]};
    }

private:
    // proc/stat's cores; a file that cannot be read, or does not decode
    // (EBADMSG), is the error.
    Result<std::vector<ProcStatCore>, SamplingError> readCores() {
        auto text = stat_.read();
        if (!text) return SamplingError::fileRead(stat_.path().string(), text.error().value());
        auto cores = ProcStatCore::decodeAll(*text);
        if (!cores) return SamplingError::fileRead(stat_.path().string(), EBADMSG);
        numbers_.resize(cores->size());
        for (size_t i = 0; i < cores->size(); ++i) numbers_[i] = (*cores)[i].number;
        return std::move(*cores);
    }

    std::optional<std::vector<int64_t>> readList(const char* relative) {
        auto text = FileReading::readSmallFile(root_ / relative);
        if (!text) return std::nullopt;
        return CPUList::decode(*text);
    }

    std::filesystem::path root_;
    KeptFile stat_;
    std::vector<int64_t> numbers_;
};

}  // namespace

std::unique_ptr<CPUPort> makeCPUPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxCPUPort>(root);
}

}  // namespace orv
