#pragma once

#include <optional>
#include <string_view>

namespace orv {

// The helper's requests. A request names its method by the selector the
// application's protocol gives it ("sampleWithReply:"), on every transport:
// the XPC dictionary on macOS, the socket's frame on Linux. The third, the
// per-process network bytes, only the Linux helper answers: on macOS the
// application reads the network-statistics framework itself.
namespace HelperProtocol {

enum class Method { sample, version, networkBytes };

inline constexpr std::string_view sampleSelector = "sampleWithReply:";
inline constexpr std::string_view versionSelector = "versionWithReply:";
inline constexpr std::string_view networkBytesSelector = "networkBytesWithReply:";

constexpr std::string_view selector(Method method) {
    switch (method) {
        case Method::sample: return sampleSelector;
        case Method::version: return versionSelector;
        case Method::networkBytes: return networkBytesSelector;
    }
    return sampleSelector;
}

constexpr std::optional<Method> method(std::string_view selector) {
    if (selector == sampleSelector) return Method::sample;
    if (selector == versionSelector) return Method::version;
    if (selector == networkBytesSelector) return Method::networkBytes;
    return std::nullopt;
}

}  // namespace HelperProtocol

}  // namespace orv
