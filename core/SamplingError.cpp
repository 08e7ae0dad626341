#include "core/SamplingError.h"

#include <fmt/format.h>

#include <system_error>

namespace orv {

namespace {

// strerror's text without strerror's shared buffer.
std::string errnoText(int32_t errnoValue) { return std::generic_category().message(errnoValue); }

struct Describe {
    std::string operator()(const SamplingError::Kernel& k) const { return fmt::format("kernel({})", k.code); }
    std::string operator()(const SamplingError::Sysctl& s) const {
        return fmt::format("sysctl(name: \"{}\", errno: {})", s.name, s.errnoValue);
    }
    std::string operator()(const SamplingError::FileRead& f) const {
        return fmt::format("fileRead(path: \"{}\", errno: {}: {})", f.path, f.errnoValue, errnoText(f.errnoValue));
    }
    std::string operator()(const SamplingError::Netlink& n) const {
        return fmt::format("netlink(request: \"{}\", errno: {}: {})", n.request, n.errnoValue, errnoText(n.errnoValue));
    }
};

}  // namespace

SamplingError::SamplingError(Value value) : value_(std::move(value)), description_(std::visit(Describe{}, value_)) {}

}  // namespace orv
