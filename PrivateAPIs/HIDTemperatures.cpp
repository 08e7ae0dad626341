#include "PrivateAPIs/HIDTemperatures.h"

namespace orv::HIDTemperatures {

Readings select(size_t count, const std::function<std::optional<std::string>(size_t)>& nameAt,
                const std::function<std::optional<double>(size_t)>& valueAt, std::string_view prefix,
                int64_t limit) {
    Readings out;
    for (size_t i = 0; i < count; ++i) {
        if (static_cast<int64_t>(out.size()) >= limit) break;
        auto name = nameAt(i);
        if (!name || !name->starts_with(prefix) || out.contains(*name)) continue;
        auto value = valueAt(i);
        if (!value) continue;
        out.emplace(std::move(*name), *value);
    }
    return out;
}

}  // namespace orv::HIDTemperatures
