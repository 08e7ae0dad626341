#include "Sampling/PerfLevelTopology.h"

#include <fmt/format.h>

#include "core/Logger.h"
#include "core/SamplingError.h"

namespace orv {

CPUTopology perfLevelTopology(const PerfLevelReads& reads) {
    const Logger log("app.orvantine.sampling", "sampling");
    std::vector<PerfLevel> levels;
    try {
        levels = reads.levels();
    } catch (const SamplingError& error) {
        log.error(fmt::format("perflevel sysctls unavailable, using one level: {}", error.description()));
        int64_t count = 0;
        try {
            count = reads.logicalCPUCount();
        } catch (const SamplingError&) {
            count = reads.activeProcessorCount();
        }
        levels = {PerfLevel{"CPU", count}};
    }

    if (auto clusters = reads.clusterTypes(); clusters && !clusters->empty()) {
        if (auto matched = CPUTopologyMath::matchClusters(levels, *clusters)) return *matched;
    }
    log.notice("IORegistry cluster types unavailable; assuming kernel core order");
    return CPUTopologyMath::kernelCoreOrder(levels);
}

}  // namespace orv
