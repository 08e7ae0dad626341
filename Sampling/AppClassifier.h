#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "Sampling/ProcessMath.h"
#include "core/ProcessReading.h"

namespace orv {

// Decides which app owns each process of a pass. Implementations cache per
// process instance (pid and start time), so a steady pass reads nothing
// for processes it has seen before. Confined to the sampling executor.
class AppClassifier {
public:
    virtual ~AppClassifier() = default;

    // The owner of every reading, keyed by pid. A pid left out is owned by
    // the "other" identity of its executable name.
    virtual ProcessMath::IdentitiesByPID identify(const std::vector<ProcessReading>& readings) = 0;
};

// The platform's rule: application bundles on macOS, control groups and
// desktop entries on Linux (read below `root`, "/" normally).
std::unique_ptr<AppClassifier> makeAppClassifier(const std::filesystem::path& root = "/");

// The key of one process instance in the classifiers' caches.
struct ProcessInstanceKey {
    int32_t pid = 0;
    double start = 0;
    friend bool operator==(const ProcessInstanceKey&, const ProcessInstanceKey&) = default;
};
struct ProcessInstanceKeyHash {
    size_t operator()(const ProcessInstanceKey& k) const noexcept {
        return std::hash<double>{}(k.start) ^ (std::hash<int32_t>{}(k.pid) * 0x9e3779b97f4a7c15ULL);
    }
};

}  // namespace orv
