#include "core/SamplingError.h"

#include <fmt/format.h>

namespace orv {

SamplingError::SamplingError(std::variant<Kernel, Sysctl> value) : value_(std::move(value)) {
    if (auto* k = std::get_if<Kernel>(&value_)) {
        description_ = fmt::format("kernel({})", k->code);
    } else {
        const auto& s = std::get<Sysctl>(value_);
        description_ = fmt::format("sysctl(name: \"{}\", errno: {})", s.name, s.errnoValue);
    }
}

}  // namespace orv
