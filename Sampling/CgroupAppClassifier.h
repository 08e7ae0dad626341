#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "Sampling/AppClassifier.h"
#include "Sampling/CgroupAppRule.h"

namespace orv {

// The reads of the Linux rule: a process's cgroup file and an app's
// desktop entry. The Linux port reads below a root directory; tests fake it.
class CgroupFilesPort {
public:
    virtual ~CgroupFilesPort() = default;
    // The contents of proc/<pid>/cgroup, or nothing when it cannot be read.
    virtual std::optional<std::string> cgroupFile(int32_t pid) = 0;
    // The contents of the first "<desktopFileID>.desktop" of the
    // applications folders, or nothing.
    virtual std::optional<std::string> desktopEntry(std::string_view desktopFileID) = 0;
};

std::unique_ptr<CgroupFilesPort> makeCgroupFilesPort(const std::filesystem::path& root);

// Linux's rule: the control group names the app (a systemd app unit, a
// Flatpak or a Snap), its desktop entry names it; a terminal emulator's app
// and its shells' scopes are `terminal`; kernel threads and system.slice
// are `system`; anything else is "other" by executable name.
class CgroupAppClassifier final : public AppClassifier {
public:
    explicit CgroupAppClassifier(std::unique_ptr<CgroupFilesPort> port);

    ProcessMath::IdentitiesByPID identify(const std::vector<ProcessReading>& readings) override;

    // The identity of one process, through the caches.
    const AppIdentity& identity(const ProcessReading& reading);

    size_t cachedInstanceCount() const { return instances_.size(); }

    // The identity of the kernel's own threads.
    static AppIdentity kernel();

private:
    struct AppName {
        std::string name;
        bool isTerminal = false;
    };

    AppIdentity classify(const ProcessReading& reading);
    const AppName& appName(const CgroupAppRule::Owner& owner);

    std::unique_ptr<CgroupFilesPort> port_;
    std::unordered_map<ProcessInstanceKey, AppIdentity, ProcessInstanceKeyHash> instances_;
    std::unordered_map<std::string, AppName> apps_;
};

}  // namespace orv
