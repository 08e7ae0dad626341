#include "Sampling/BoardIdentifier.h"

#include <algorithm>
#include <string_view>

#include "core/Utf8.h"

namespace orv {

std::optional<std::string> BoardIdentifier::decode(std::span<const uint8_t> bytes) {
    auto end = std::find(bytes.begin(), bytes.end(), uint8_t{0});
    std::string_view identifier(reinterpret_cast<const char*>(bytes.data()), size_t(end - bytes.begin()));
    if (!isValidUtf8(identifier)) return std::nullopt;
    return std::string(identifier);
}

}  // namespace orv
