#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Sampling/ProcessTablePort.h"
#include "core/ProcessSource.h"
#include "core/SamplingExecutor.h"
#include "core/SharedStrings.h"

namespace orv {

// One ProcessReading per live process, in kernel table order. Confined to
// the sampling executor: `sample` queues the pass there; code already on
// the executor may call `sampleNow`. Never throws: an unreadable table is an
// empty sample, an unreadable process an incomplete reading.
class ProcessSampler : public ProcessSource {
public:
    explicit ProcessSampler(std::unique_ptr<ProcessTablePort> port = makeProcessTablePort(),
                            SamplingExecutor& executor = SamplingExecutor::shared());

    std::future<std::vector<ProcessReading>> sample() override;
    std::future<std::vector<ProcessReading>> sample(const PidSet& skippingUsageFor) override;

    // The pass itself; call only on the executor (or on a sampler no other
    // thread can reach, as tests do).
    std::vector<ProcessReading> sampleNow(const PidSet& skippingUsageFor = {});

    size_t cachedIdentityCount() const { return identities_.size(); }
    size_t sharedPathCount() const { return paths_.size(); }
    size_t refusedCount() const { return refused_.size(); }

private:
    struct Key {
        int32_t pid;
        uint64_t start;
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct KeyHash {
        size_t operator()(const Key& k) const noexcept {
            return std::hash<uint64_t>{}((uint64_t(uint32_t(k.pid)) << 32) ^ k.start ^ (k.start >> 29));
        }
    };
    using SharedPath = SharedStrings::Shared;
    struct Identity {
        SharedPath path;  // null: none
        std::string name;
    };

    const Identity& identity(const ProcessTableRow& row, const Key& key);

    std::unique_ptr<ProcessTablePort> port_;
    SamplingExecutor& executor_;
    std::unordered_map<Key, Identity, KeyHash> identities_;
    // Many processes run one executable (a server's workers, shells): their
    // cached identities hold its path once.
    SharedStrings paths_;
    std::unordered_set<Key, KeyHash> refused_;
};

}  // namespace orv
