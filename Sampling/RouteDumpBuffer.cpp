#include "Sampling/RouteDumpBuffer.h"

#include <algorithm>

namespace orv {

Result<std::span<const uint8_t>> RouteDumpBuffer::fill(const Fetch& fetch) {
    int sizings = 0;
    for (;;) {
        if (!buffer_.empty()) {
            size_t length = buffer_.size();
            int error = fetch(buffer_.data(), length);
            if (error == 0) return std::span<const uint8_t>(buffer_.data(), std::min(length, buffer_.size()));
            if (error != outOfMemory) return errorFrom(error);
        }
        size_t needed = 0;
        if (int error = fetch(nullptr, needed); error != 0) return errorFrom(error);
        buffer_.assign(needed + needed / 4 + 1024, 0);
        if (++sizings == maximumSizings) return errorFrom(outOfMemory);
    }
}

}  // namespace orv
