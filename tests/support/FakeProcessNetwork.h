#pragma once

#include <atomic>
#include <future>
#include <optional>
#include <vector>

#include "Sampling/ProcessNetworkSource.h"

namespace orv::test {

// Network accounting whose answers the test sets; it remembers how many
// readings it was last shown.
class FakeProcessNetwork final : public ProcessNetworkSource {
public:
    std::future<std::optional<NetworkBytesByPID>> cumulativeBytes() override {
        std::promise<std::optional<NetworkBytesByPID>> promise;
        promise.set_value(bytes);
        return promise.get_future();
    }
    uint32_t ownerUID() const override { return owner; }
    // The user the answers cover: the owner's unless the test says otherwise
    // (absent: every user's).
    std::optional<uint32_t> coveredUID() const override { return covered ? *covered : std::optional(owner); }
    void observe(const std::vector<ProcessReading>& readings) override { observed = readings.size(); }

    std::optional<NetworkBytesByPID> bytes;  // absent: no accounting
    uint32_t owner = 0;
    std::optional<std::optional<uint32_t>> covered;
    std::atomic<size_t> observed = 0;
};

}  // namespace orv::test
