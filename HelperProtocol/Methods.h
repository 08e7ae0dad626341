#pragma once

#include <optional>
#include <string_view>

namespace orv {

// The helper's requests. A request names its method by the selector the
// application's protocol gives it ("sampleWithReply:"), on every transport:
// the XPC dictionary on macOS, the socket's frame on Linux. Two more are
// served by the Linux helper only (the macOS helper answers the first two):
// `networkBytes`, every process's cumulative network bytes (on macOS the
// application reads the network-statistics framework itself), and
// `listeningPorts`, every user's listening TCP sockets with their owners,
// as the JSON of ListeningPort records.
namespace HelperProtocol {

enum class Method { sample, version, networkBytes, listeningPorts };

inline constexpr std::string_view sampleSelector = "sampleWithReply:";
inline constexpr std::string_view versionSelector = "versionWithReply:";
inline constexpr std::string_view networkBytesSelector = "networkBytesWithReply:";
inline constexpr std::string_view listeningPortsSelector = "listeningPortsWithReply:";

constexpr std::string_view selector(Method method) {
    switch (method) {
        case Method::sample: return sampleSelector;
        case Method::version: return versionSelector;
        case Method::networkBytes: return networkBytesSelector;
        case Method::listeningPorts: return listeningPortsSelector;
    }
    return sampleSelector;
}

constexpr std::optional<Method> method(std::string_view selector) {
    if (selector == sampleSelector) return Method::sample;
    if (selector == versionSelector) return Method::version;
    if (selector == networkBytesSelector) return Method::networkBytes;
    if (selector == listeningPortsSelector) return Method::listeningPorts;
    return std::nullopt;
}

}  // namespace HelperProtocol

}  // namespace orv
