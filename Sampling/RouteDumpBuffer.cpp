#include "Sampling/RouteDumpBuffer.h"

#include <algorithm>

#include "core/SamplingError.h"

namespace orv {

std::span<const uint8_t> RouteDumpBuffer::fill(const Fetch& fetch) {
    static const char* const name = "NET_RT_IFLIST2";
    int sizings = 0;
    for (;;) {
        if (!buffer_.empty()) {
            size_t length = buffer_.size();
            int error = fetch(buffer_.data(), length);
            if (error == 0) return std::span<const uint8_t>(buffer_.data(), std::min(length, buffer_.size()));
            if (error != outOfMemory) throw SamplingError::sysctl(name, error);
        }
        size_t needed = 0;
        if (int error = fetch(nullptr, needed); error != 0) throw SamplingError::sysctl(name, error);
        buffer_.assign(needed + needed / 4 + 1024, 0);
        if (++sizings == maximumSizings) throw SamplingError::sysctl(name, outOfMemory);
    }
}

}  // namespace orv
