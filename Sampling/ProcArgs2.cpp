#include "Sampling/ProcArgs2.h"

#include <string_view>

#include "core/ByteDecoding.h"

namespace orv {

std::optional<std::vector<std::string>> ProcArgs2::decode(std::span<const uint8_t> bytes) {
    auto argc = ByteDecoding::loadNative<int32_t>(bytes, 0);
    if (!argc || *argc < 0) return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()) + 4, bytes.size() - 4);
    size_t at = text.find('\0');  // end of the executable path
    if (at == std::string_view::npos) return std::nullopt;
    while (at < text.size() && text[at] == '\0') ++at;
    std::vector<std::string> arguments;
    for (int32_t i = 0; i < *argc; ++i) {
        const size_t end = text.find('\0', at);
        if (end == std::string_view::npos) return std::nullopt;
        arguments.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    return arguments;
}

}  // namespace orv
