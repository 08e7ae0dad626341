#include "Sampling/AppAggregateMath.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace orv::AppAggregateMath {

namespace {

void addOptional(std::optional<double>& sum, const std::optional<double>& value) {
    if (value) sum = sum.value_or(0) + *value;
}

}  // namespace

std::vector<AppAggregate> aggregate(const std::vector<ProcessSample>& samples,
                                    const ProcessMath::IdentitiesByPID& identities) {
    // Far fewer apps than processes: the aggregates grow as apps appear, and
    // the keys view the samples' ids, which outlive the map.
    std::vector<AppAggregate> apps;
    std::unordered_map<std::string_view, size_t> indexByID;

    for (const auto& sample : samples) {
        auto found = indexByID.find(sample.app);
        if (found == indexByID.end()) {
            AppAggregate& created = apps.emplace_back();
            auto identity = identities.find(sample.pid);
            created.app = identity != identities.end() && identity->second.id == sample.app
                              ? identity->second
                              : AppIdentity::other(sample.name);
            // The "other" identity rebuilt from the name carries the same id
            // ProcessMath gave the sample; anything else keeps the sample's.
            created.app.id = sample.app;
            found = indexByID.emplace(std::string_view(sample.app), apps.size() - 1).first;
        }
        AppAggregate& app = apps[found->second];
        app.processCount += 1;
        app.cpuPercent += sample.cpuPercent;
        app.memoryBytes += sample.footprintBytes;
        addOptional(app.energyMW, sample.energyMW);
        app.diskReadBPS += sample.diskReadBPS;
        app.diskWriteBPS += sample.diskWriteBPS;
        addOptional(app.netInBPS, sample.netInBPS);
        addOptional(app.netOutBPS, sample.netOutBPS);
        addOptional(app.gpuPercent, sample.gpuPercent);
        addOptional(app.energyImpact, sample.energyImpact);
    }
    apps.shrink_to_fit();
    return apps;
}

void sortByCPUShare(std::vector<AppAggregate>& apps) {
    std::sort(apps.begin(), apps.end(), [](const AppAggregate& a, const AppAggregate& b) {
        if (a.cpuPercent != b.cpuPercent) return a.cpuPercent > b.cpuPercent;
        if (a.memoryBytes != b.memoryBytes) return a.memoryBytes > b.memoryBytes;
        return a.app.id < b.app.id;
    });
}

void sortByCPUShare(std::vector<ProcessSample>& processes) {
    std::sort(processes.begin(), processes.end(), [](const ProcessSample& a, const ProcessSample& b) {
        if (a.cpuPercent != b.cpuPercent) return a.cpuPercent > b.cpuPercent;
        return a.pid < b.pid;
    });
}

}  // namespace orv::AppAggregateMath
