#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "Sampling/AppClassifier.h"
#include "Sampling/CgroupAppRule.h"
#include "core/PidTable.h"

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
    // How many distinct identities the cached instances share.
    size_t sharedIdentityCount() const { return shared_.size(); }

    // The identity of the kernel's own threads.
    static AppIdentity kernel();

private:
    struct AppName {
        std::string name;
        bool isTerminal = false;
    };

    using Shared = std::shared_ptr<const AppIdentity>;
    // Equal identities are one: by value, hashed by id.
    struct SharedHash {
        size_t operator()(const Shared& identity) const noexcept { return std::hash<std::string>{}(identity->id); }
    };
    struct SharedEqual {
        bool operator()(const Shared& a, const Shared& b) const noexcept { return *a == *b; }
    };

    AppIdentity classify(const ProcessReading& reading);
    const AppName& appName(const CgroupAppRule::Owner& owner);
    Shared share(AppIdentity identity);

    std::unique_ptr<CgroupFilesPort> port_;
    // Most processes share their identity with others (every process of a
    // program that no app claims, every kernel thread, a service's
    // workers), so an instance holds a shared one rather than its own copy.
    // A pid has one live instance at a time: the table is the last pass's,
    // made anew each pass, so a process that exited goes with it.
    struct Instance {
        double start = 0;
        Shared identity;
        friend bool operator==(const Instance&, const Instance&) = default;
    };
    const Shared& instance(const ProcessReading& reading);
    PidTable<Instance> instances_;
    std::unordered_set<Shared, SharedHash, SharedEqual> shared_;
    std::unordered_map<std::string, AppName> apps_;
};

}  // namespace orv
