#pragma once

#include <atomic>
#include <memory>

#include "Sampling/HelperProcessSource.h"
#include "Sampling/ProcessNetworkSource.h"

namespace orv {

// Network bytes as process readings come: from the privileged helper, which
// sees every user's sockets, and whenever it cannot answer from the local
// accounting, which covers what this user can see. Each switch between the
// two starts the rates again, since their counts start at different times.
class HelperNetworkSource : public ProcessNetworkSource {
public:
    HelperNetworkSource(std::shared_ptr<HelperProcessSource> helper, std::shared_ptr<ProcessNetworkSource> local)
        : helper_(std::move(helper)), local_(std::move(local)) {}

    std::future<std::optional<NetworkBytesByPID>> cumulativeBytes() override;
    uint32_t ownerUID() const override { return local_->ownerUID(); }
    std::optional<uint32_t> coveredUID() const override;
    void observe(const std::vector<ProcessReading>& readings) override { local_->observe(readings); }
    uint64_t baselineGeneration() const override { return generation_; }

private:
    std::shared_ptr<HelperProcessSource> helper_;
    std::shared_ptr<ProcessNetworkSource> local_;
    std::atomic<bool> fromHelper_ = false;
    std::atomic<uint64_t> generation_ = 0;
};

}  // namespace orv
