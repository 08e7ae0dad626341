#pragma once

#include <boost/describe/enum.hpp>
#include <optional>
#include <string_view>

namespace orv {

// The language runtime a developer server runs on; written as the case name.
enum class DevRuntime { node, python, go, ruby, java, bun, deno, rust, other };
BOOST_DESCRIBE_ENUM(DevRuntime, node, python, go, ruby, java, bun, deno, rust, other)

// The runtime whose raw value is `raw`; absent for any other string.
std::optional<DevRuntime> devRuntimeFromRawValue(std::string_view raw);

// The raw value ("node", "python", …).
std::string_view rawValue(DevRuntime runtime);

}  // namespace orv
