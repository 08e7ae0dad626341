#include "Sampling/BundleAppClassifier.h"

namespace orv {

BundleAppClassifier::BundleAppClassifier(std::unique_ptr<BundleFilesPort> port) : port_(std::move(port)) {}

ProcessMath::IdentitiesByPID BundleAppClassifier::identify(const std::vector<ProcessReading>& readings) {
    std::vector<ProcessMath::IdentitiesByPID::value_type> identities;
    identities.reserve(readings.size());
    // The pass by pid, built only when a new process needs its responsible
    // process or its ancestors.
    ReadingsByPID pass;
    for (const auto& reading : readings) {
        ProcessInstanceKey key{reading.pid, reading.startTime.secondsSinceReferenceDate};
        auto found = instances_.find(key);
        if (found == instances_.end()) {
            if (pass.empty()) {
                pass.reserve(readings.size());
                for (const auto& r : readings) pass.emplace(r.pid, &r);
            }
            found = instances_.emplace(key, classify(reading, pass)).first;
        }
        identities.emplace_back(reading.pid, found->second);
    }
    if (instances_.size() > 2 * readings.size() + 64) {
        std::unordered_set<ProcessInstanceKey, ProcessInstanceKeyHash> live;
        live.reserve(readings.size());
        for (const auto& r : readings) live.insert({r.pid, r.startTime.secondsSinceReferenceDate});
        std::erase_if(instances_, [&](const auto& entry) { return !live.contains(entry.first); });
    }
    return ProcessMath::IdentitiesByPID(std::move(identities));
}

std::optional<std::string_view> BundleAppClassifier::bundleOf(const ProcessReading* reading) const {
    if (!reading || !reading->executablePath) return std::nullopt;
    return BundleAppRule::outermostBundle(*reading->executablePath);
}

std::optional<std::string_view> BundleAppClassifier::ownerBundle(const ProcessReading& reading,
                                                                 const ReadingsByPID& pass) {
    if (auto own = bundleOf(&reading)) return own;
    auto inPass = [&](int32_t pid) -> const ProcessReading* {
        auto found = pass.find(pid);
        return found == pass.end() ? nullptr : found->second;
    };
    if (auto responsible = port_->responsiblePID(reading.pid)) {
        // The system's answer stands, even when it names the process itself.
        return *responsible == reading.pid ? std::nullopt : bundleOf(inPass(*responsible));
    }
    // Without that answer, the nearest ancestor with a bundle; launchd
    // (pid 1) starts every agent and daemon and owns nothing.
    int32_t parent = reading.parentPID;
    for (int step = 0; step < maxParentSteps && parent > 1 && parent != reading.pid; ++step) {
        const ProcessReading* ancestor = inPass(parent);
        if (!ancestor) break;
        if (auto bundle = bundleOf(ancestor)) return bundle;
        parent = ancestor->parentPID;
    }
    return std::nullopt;
}

AppIdentity BundleAppClassifier::classify(const ProcessReading& reading, const ReadingsByPID& pass) {
    if (auto bundle = ownerBundle(reading, pass)) {
        const auto& info = bundleInfo(*bundle);
        std::string id = info.bundleID.value_or(std::string(*bundle));
        bool terminal = info.bundleID && BundleAppRule::isTerminalBundle(*info.bundleID);
        return AppIdentity{id, info.name, info.bundleID, id,
                           terminal ? AppIdentity::Kind::terminal : AppIdentity::Kind::app};
    }
    bool systemPath = reading.executablePath && BundleAppRule::isSystemPath(*reading.executablePath);
    if (reading.uid == 0 || systemPath) {
        return AppIdentity{"system:" + reading.name, reading.name, std::nullopt, "system", AppIdentity::Kind::system};
    }
    return AppIdentity::other(reading.name);
}

const BundleAppRule::BundleInfo& BundleAppClassifier::bundleInfo(std::string_view bundlePath) {
    std::string key(bundlePath);
    auto found = bundles_.find(key);
    if (found != bundles_.end()) return found->second;
    auto info = BundleAppRule::bundleInfo(bundlePath, port_->infoPlist(bundlePath));
    return bundles_.emplace(std::move(key), std::move(info)).first->second;
}

}  // namespace orv
