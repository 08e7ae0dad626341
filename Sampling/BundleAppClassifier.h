#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "Sampling/AppClassifier.h"
#include "Sampling/BundleAppRule.h"
#include "core/PropertyValue.h"

namespace orv {

// The reads of the macOS rule: a bundle's Info.plist and a process's
// responsible process. Tests fake them.
class BundleFilesPort {
public:
    virtual ~BundleFilesPort() = default;
    // "<bundlePath>/Contents/Info.plist", or nothing when unreadable.
    virtual std::optional<PropertyValue> infoPlist(std::string_view bundlePath) = 0;
    // The process the system holds accountable for `pid`, or nothing.
    virtual std::optional<int32_t> responsiblePID(int32_t pid) = 0;
};

std::unique_ptr<BundleFilesPort> makeBundleFilesPort();

// macOS's rule: the outermost ".app" bundle of the process's executable,
// or else of its responsible process (or, without one, of the nearest
// ancestor that has a bundle) owns it. A terminal application's bundle
// makes `terminal`; root's processes and the system's folders without a
// bundle make `system`; anything else is "other" by executable name.
class BundleAppClassifier final : public AppClassifier {
public:
    // Parent walks stop after this many steps, whatever the table says.
    static constexpr int maxParentSteps = 32;

    explicit BundleAppClassifier(std::unique_ptr<BundleFilesPort> port);

    ProcessMath::IdentitiesByPID identify(const std::vector<ProcessReading>& readings) override;

    size_t cachedInstanceCount() const { return instances_.size(); }
    size_t cachedBundleCount() const { return bundles_.size(); }

private:
    using ReadingsByPID = std::unordered_map<int32_t, const ProcessReading*>;

    AppIdentity classify(const ProcessReading& reading, const ReadingsByPID& pass);
    std::optional<std::string_view> bundleOf(const ProcessReading* reading) const;
    std::optional<std::string_view> ownerBundle(const ProcessReading& reading, const ReadingsByPID& pass);
    const BundleAppRule::BundleInfo& bundleInfo(std::string_view bundlePath);

    std::unique_ptr<BundleFilesPort> port_;
    std::unordered_map<ProcessInstanceKey, AppIdentity, ProcessInstanceKeyHash> instances_;
    std::unordered_map<std::string, BundleAppRule::BundleInfo> bundles_;
};

}  // namespace orv
