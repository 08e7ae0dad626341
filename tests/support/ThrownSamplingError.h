#pragma once

#include <optional>

#include "core/SamplingError.h"

namespace orv::test {

// The SamplingError `read` throws, or nothing when it returns.
template <class Read>
std::optional<SamplingError> errorOf(Read read) {
    try {
        read();
    } catch (const SamplingError& error) {
        return error;
    }
    return std::nullopt;
}

}  // namespace orv::test
