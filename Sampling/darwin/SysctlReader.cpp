#include "Sampling/SysctlReader.h"

#include <sys/sysctl.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "Sampling/SysctlDecoding.h"
#include "core/SamplingError.h"

namespace orv {

int64_t SysctlReader::integer(const std::string& name) {
    std::array<uint8_t, 8> buffer{};
    size_t length = buffer.size();
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) {
        throw SamplingError::sysctl(name, errno);
    }
    return SysctlInteger::decode(std::span<const uint8_t, 8>(buffer), length);
}

std::string SysctlReader::string(const std::string& name) {
    size_t length = 0;
    if (sysctlbyname(name.c_str(), nullptr, &length, nullptr, 0) != 0) throw SamplingError::sysctl(name, errno);
    std::vector<uint8_t> buffer(length, 0);
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) throw SamplingError::sysctl(name, errno);
    auto text = SysctlString::decode(std::span<const uint8_t>(buffer.data(), std::min(length, buffer.size())));
    if (!text) throw SamplingError::sysctl(name, EILSEQ);
    return *text;
}

uint64_t SysctlReader::exactUInt64(const std::string& name) {
    std::array<uint8_t, 8> buffer{};
    size_t length = buffer.size();
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) throw SamplingError::sysctl(name, errno);
    auto value = SysctlUInt64::decode(std::span<const uint8_t>(buffer.data(), std::min(length, buffer.size())));
    if (!value) throw SamplingError::sysctl(name, EINVAL);
    return *value;
}

std::vector<uint8_t> SysctlReader::bytes(const std::string& name, size_t size) {
    std::vector<uint8_t> buffer(size, 0);
    size_t length = size;
    if (sysctlbyname(name.c_str(), buffer.data(), &length, nullptr, 0) != 0) throw SamplingError::sysctl(name, errno);
    buffer.resize(std::min(length, size));
    return buffer;
}

}  // namespace orv
