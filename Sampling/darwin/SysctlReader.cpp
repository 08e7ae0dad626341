#include "Sampling/SysctlReader.h"

#include <sys/sysctl.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "Sampling/SysctlDecoding.h"

namespace orv {

namespace {
SamplingError failed(const std::string& name) { return SamplingError::sysctl(name, errno); }
}  // namespace

Result<int64_t, SamplingError> SysctlReader::integer(const std::string& name) {
    std::array<uint8_t, 8> buffer{};
    size_t length = buffer.size();
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) return failed(name);
    return SysctlInteger::decode(std::span<const uint8_t, 8>(buffer), length);
}

Result<std::string, SamplingError> SysctlReader::string(const std::string& name) {
    size_t length = 0;
    if (sysctlbyname(name.c_str(), nullptr, &length, nullptr, 0) != 0) return failed(name);
    std::vector<uint8_t> buffer(length, 0);
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) return failed(name);
    auto text = SysctlString::decode(std::span<const uint8_t>(buffer.data(), std::min(length, buffer.size())));
    if (!text) return SamplingError::sysctl(name, EILSEQ);
    return std::move(*text);
}

Result<uint64_t, SamplingError> SysctlReader::exactUInt64(const std::string& name) {
    std::array<uint8_t, 8> buffer{};
    size_t length = buffer.size();
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) return failed(name);
    auto value = SysctlUInt64::decode(std::span<const uint8_t>(buffer.data(), std::min(length, buffer.size())));
    if (!value) return SamplingError::sysctl(name, EINVAL);
    return *value;
}

Result<std::vector<uint8_t>, SamplingError> SysctlReader::bytes(const std::string& name, size_t size) {
    std::vector<uint8_t> buffer(size, 0);
    size_t length = size;
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) return failed(name);
    buffer.resize(std::min(length, size));
    return buffer;
}

}  // namespace orv
