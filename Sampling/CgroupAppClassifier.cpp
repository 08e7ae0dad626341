#include "Sampling/CgroupAppClassifier.h"

namespace orv {

namespace {

// kthreadd is pid 2 and the parent of every other kernel thread.
constexpr int32_t kthreaddPID = 2;

AppIdentity systemIdentity(const std::string& unit) {
    return AppIdentity{"system:" + unit, unit, std::nullopt, "system", AppIdentity::Kind::system};
}

}  // namespace

CgroupAppClassifier::CgroupAppClassifier(std::unique_ptr<CgroupFilesPort> port) : port_(std::move(port)) {}

AppIdentity CgroupAppClassifier::kernel() {
    return AppIdentity{"system:kernel", "Kernel", std::nullopt, "system", AppIdentity::Kind::system};
}

ProcessMath::IdentitiesByPID CgroupAppClassifier::identify(const std::vector<ProcessReading>& readings) {
    std::vector<ProcessMath::IdentitiesByPID::value_type> identities;
    std::vector<PidTable<Instance>::value_type> instances;
    identities.reserve(readings.size());
    instances.reserve(readings.size());
    for (const auto& reading : readings) {
        const Shared& shared = instance(reading);
        identities.emplace_back(reading.pid, *shared);
        instances.emplace_back(reading.pid, Instance{reading.startTime.secondsSinceReferenceDate, shared});
    }
    instances_ = PidTable<Instance>(std::move(instances));
    // Identities no live instance holds go in bulk, once there are more of
    // them than instances, so a steady pass does no pruning work.
    if (shared_.size() > instances_.size()) {
        std::erase_if(shared_, [](const Shared& identity) { return identity.use_count() == 1; });
    }
    return ProcessMath::IdentitiesByPID(std::move(identities));
}

const AppIdentity& CgroupAppClassifier::identity(const ProcessReading& reading) { return *instance(reading); }

const CgroupAppClassifier::Shared& CgroupAppClassifier::instance(const ProcessReading& reading) {
    const double start = reading.startTime.secondsSinceReferenceDate;
    Instance& kept = instances_[reading.pid];
    // A pid taken by a later process is classified afresh.
    if (!kept.identity || kept.start != start) kept = Instance{start, share(classify(reading))};
    return kept.identity;
}

CgroupAppClassifier::Shared CgroupAppClassifier::share(AppIdentity identity) {
    auto candidate = std::make_shared<const AppIdentity>(std::move(identity));
    return *shared_.insert(std::move(candidate)).first;
}

AppIdentity CgroupAppClassifier::classify(const ProcessReading& reading) {
    using Kind = CgroupAppRule::Owner::Kind;
    if (reading.pid == kthreaddPID || reading.parentPID == kthreaddPID) return kernel();

    auto file = port_->cgroupFile(reading.pid);
    auto path = file ? CgroupAppRule::unifiedPath(*file) : std::nullopt;
    if (!path) return AppIdentity::other(reading.name);

    auto owner = CgroupAppRule::ownerOf(*path);
    switch (owner.kind) {
        case Kind::systemService:
            return systemIdentity(owner.unit.empty() ? reading.name : owner.unit);
        case Kind::app:
        case Kind::terminalSession: {
            if (owner.appID.empty()) {
                // A shell of a terminal whose own app the tree does not name.
                return AppIdentity{"terminal", "Terminal", std::nullopt, "terminal", AppIdentity::Kind::terminal};
            }
            const AppName& app = appName(owner);
            bool terminal = app.isTerminal || owner.kind == Kind::terminalSession;
            return AppIdentity{owner.appID, app.name, std::nullopt, owner.appID,
                               terminal ? AppIdentity::Kind::terminal : AppIdentity::Kind::app};
        }
        case Kind::none:
            break;
    }
    return AppIdentity::other(reading.name);
}

const CgroupAppClassifier::AppName& CgroupAppClassifier::appName(const CgroupAppRule::Owner& owner) {
    auto found = apps_.find(owner.appID);
    if (found != apps_.end()) return found->second;
    AppName app;
    auto text = port_->desktopEntry(owner.desktopFileID);
    auto entry = text ? CgroupAppRule::DesktopEntry::decode(*text) : std::nullopt;
    app.name = entry ? entry->name : CgroupAppRule::fallbackName(owner.appID);
    app.isTerminal = (entry && entry->isTerminalEmulator) || CgroupAppRule::isKnownTerminal(owner.appID);
    return apps_.emplace(owner.appID, std::move(app)).first->second;
}

}  // namespace orv
