#include "Sampling/HelperNetworkSource.h"

namespace orv {

std::future<std::optional<NetworkBytesByPID>> HelperNetworkSource::cumulativeBytes() {
    auto fromHelper = helper_->helperNetworkBytes().get();
    const bool helperAnswered = fromHelper.has_value();
    if (fromHelper_.exchange(helperAnswered) != helperAnswered) ++generation_;
    if (helperAnswered) {
        std::promise<std::optional<NetworkBytesByPID>> answered;
        answered.set_value(std::move(fromHelper));
        return answered.get_future();
    }
    return local_->cumulativeBytes();
}

std::optional<uint32_t> HelperNetworkSource::coveredUID() const {
    if (fromHelper_) return std::nullopt;
    return local_->coveredUID();
}

}  // namespace orv
