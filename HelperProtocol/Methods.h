#pragma once

#include <optional>
#include <string_view>

namespace orv {

// The helper's two requests. A request names its method by the selector
// the application's protocol gives it ("sampleWithReply:"), on every
// transport: the XPC dictionary on macOS, the socket's frame on Linux.
namespace HelperProtocol {

enum class Method { sample, version };

inline constexpr std::string_view sampleSelector = "sampleWithReply:";
inline constexpr std::string_view versionSelector = "versionWithReply:";

constexpr std::string_view selector(Method method) {
    return method == Method::sample ? sampleSelector : versionSelector;
}

constexpr std::optional<Method> method(std::string_view selector) {
    if (selector == sampleSelector) return Method::sample;
    if (selector == versionSelector) return Method::version;
    return std::nullopt;
}

}  // namespace HelperProtocol

}  // namespace orv
