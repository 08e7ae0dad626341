#pragma once

#include <optional>
#include <string_view>

namespace orv {

// The helper's requests. A request names its method by the selector the
// application's protocol gives it ("sampleWithReply:"), on every
// transport: the XPC dictionary on macOS, the socket's frame on Linux.
// `listeningPorts` (every user's listening TCP sockets with their owners,
// as the JSON of ListeningPort records) is served by the Linux helper
// only; the macOS helper answers the first two.
namespace HelperProtocol {

enum class Method { sample, version, listeningPorts };

inline constexpr std::string_view sampleSelector = "sampleWithReply:";
inline constexpr std::string_view versionSelector = "versionWithReply:";
inline constexpr std::string_view listeningPortsSelector = "listeningPortsWithReply:";

constexpr std::string_view selector(Method method) {
    switch (method) {
        case Method::sample: return sampleSelector;
        case Method::version: return versionSelector;
        case Method::listeningPorts: return listeningPortsSelector;
    }
    return sampleSelector;
}

constexpr std::optional<Method> method(std::string_view selector) {
    if (selector == sampleSelector) return Method::sample;
    if (selector == versionSelector) return Method::version;
    if (selector == listeningPortsSelector) return Method::listeningPorts;
    return std::nullopt;
}

}  // namespace HelperProtocol

}  // namespace orv
