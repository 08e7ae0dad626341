#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "core/Result.h"
#include "core/SamplingError.h"

namespace orv {

// The byte buffer the routing dump is read into, kept and grown between
// samples so that steady-state samples allocate nothing for it.
class RouteDumpBuffer {
public:
    // One sysctl call: with a buffer, fill it and set `length` to the bytes
    // written; with nullptr, set `length` to the size needed. Returns 0 or
    // the errno of the failure.
    using Fetch = std::function<int(uint8_t* buffer, size_t& length)>;

    // The sysctl the dump comes from, as its failures are named.
    static constexpr const char* sysctlName = "NET_RT_IFLIST2";
    static constexpr int outOfMemory = 12;  // ENOMEM: the buffer was too small
    static constexpr int maximumSizings = 3;

    // The dump's bytes, valid until the next call. The buffer is tried as
    // it is; when the kernel answers ENOMEM it is sized anew with a quarter
    // and 1 KiB of slack for interfaces that appear in between, at most
    // three times. The error is the failing call's errno, or ENOMEM when
    // the third sizing was still too small.
    Result<std::span<const uint8_t>> fill(const Fetch& fetch);

    // The sampler's error for a failed fill: the sysctl's name and errno.
    static SamplingError samplingError(std::error_code error) { return SamplingError::sysctl(sysctlName, error.value()); }

    size_t capacity() const { return buffer_.size(); }

private:
    std::vector<uint8_t> buffer_;
};

}  // namespace orv
