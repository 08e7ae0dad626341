#include "Sampling/ProcessSampler.h"

#include <algorithm>
#include <cstring>

#include "core/Utf8.h"

namespace orv {

void ProcessTableRow::setCommandName(std::string_view name) {
    commandLength = static_cast<uint8_t>(std::min(name.size(), sizeof(command)));
    std::memcpy(command, name.data(), commandLength);
}

ProcessSampler::ProcessSampler(std::unique_ptr<ProcessTablePort> port, SamplingExecutor& executor)
    : port_(std::move(port)), executor_(executor) {}

std::future<std::vector<ProcessReading>> ProcessSampler::sample() { return sample(PidSet{}); }

std::future<std::vector<ProcessReading>> ProcessSampler::sample(const PidSet& skippingUsageFor) {
    return executor_.run([this, skip = skippingUsageFor] { return sampleNow(skip); });
}

const ProcessSampler::Identity& ProcessSampler::identity(const ProcessTableRow& row, const Key& key) {
    auto found = identities_.find(key);
    if (found != identities_.end()) return found->second;

    Identity identity;
    if (auto raw = port_->executablePath(row); raw && !raw->empty() && isValidUtf8(*raw)) {
        identity.path = paths_.share(*raw);
    }
    identity.name = repairUtf8(row.commandName());
    // The kernel cuts command names; a name that reaches the cut comes from
    // the executable's file name instead, when there is one.
    if (row.commandName().size() >= port_->truncatedNameLength() && identity.path) {
        std::string_view path = *identity.path;
        while (!path.empty() && path.back() == '/') path.remove_suffix(1);
        auto slash = path.rfind('/');
        std::string_view last = slash == std::string_view::npos ? path : path.substr(slash + 1);
        if (!last.empty() && (!port_->longNameMustExtendCommand() || last.starts_with(row.commandName()))) {
            identity.name = std::string(last);
        }
    }
    return identities_.emplace(key, std::move(identity)).first->second;
}

std::vector<ProcessReading> ProcessSampler::sampleNow(const PidSet& skippingUsageFor) {
    auto rows = port_->readTable();
    std::vector<ProcessReading> readings;
    readings.reserve(rows.size());
    // This pass's instances, for the bulk pruning below; not kept between
    // passes, where it would hold a slot per process for nothing.
    std::vector<Key> seenKeys;
    seenKeys.reserve(rows.size());

    for (const auto& row : rows) {
        if (row.isZombie || row.pid < 0) continue;
        Key key{row.pid, row.startStamp};

        // A skipped process is read no further: incomplete, and not refused.
        UsageResult read{.usage = {}, .outcome = ProcessOutcome::malformed};
        bool complete = false;
        if (!skippingUsageFor.contains(row.pid)) {
            bool refusedBefore = refused_.contains(key);
            read = port_->readUsage(row, refusedBefore);
            if (read.outcome == ProcessOutcome::gone) continue;
            if (read.outcome == ProcessOutcome::refused) refused_.insert(key);
            // A refused instance is never complete.
            complete = read.outcome == ProcessOutcome::complete && !refusedBefore;
        }
        const ProcessUsage& usage = read.usage;
        seenKeys.push_back(key);

        const Identity& id = identity(row, key);
        ProcessReading& r = readings.emplace_back();
        r.pid = row.pid;
        r.parentPID = row.parentPID;
        r.uid = row.uid;
        r.name = id.name;
        if (id.path) r.executablePath = *id.path;
        r.startTime = row.start;
        r.cpuTime = usage.cpuTime;
        r.footprintBytes = usage.footprintBytes;
        r.diskReadBytes = usage.diskReadBytes;
        r.diskWriteBytes = usage.diskWriteBytes;
        r.energyNJ = usage.energyNJ;
        r.isComplete = complete;
        r.wakeups = usage.wakeups;
    }
    port_->finishPass();

    // Trim the caches in bulk, only once they are well past the live
    // population, so that steady state does no pruning work at all.
    bool trimIdentities = identities_.size() > 2 * seenKeys.size();
    bool trimRefused = refused_.size() > seenKeys.size();
    if (trimIdentities || trimRefused) {
        std::unordered_set<Key, KeyHash> seen(seenKeys.begin(), seenKeys.end());
        if (trimIdentities) std::erase_if(identities_, [&](const auto& entry) { return !seen.contains(entry.first); });
        if (trimRefused) std::erase_if(refused_, [&](const Key& key) { return !seen.contains(key); });
        if (trimIdentities) paths_.prune();
    }
    return readings;
}

}  // namespace orv
