#include "cli/StopRequest.h"

#include <algorithm>
#include <cctype>

#include "core/TextDecoding.h"

namespace orv::cli {

namespace {

std::optional<int32_t> positive(std::string_view text) {
    auto value = TextDecoding::parseNumber<int32_t>(text);
    if (!value || *value <= 0) return std::nullopt;
    return value;
}

}  // namespace

std::optional<StopRequest> StopRequest::parse(std::string_view argument) {
    if (argument.empty()) return std::nullopt;
    if (std::all_of(argument.begin(), argument.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); })) {
        auto pid = positive(argument);
        if (!pid) return std::nullopt;
        return StopRequest{Kind::process, *pid, {}};
    }
    if (argument.starts_with("group:")) {
        auto group = positive(argument.substr(6));
        if (!group) return std::nullopt;
        return StopRequest{Kind::processGroup, *group, {}};
    }
    if (argument.starts_with("container:")) {
        if (argument.size() == 10) return std::nullopt;
        return StopRequest{Kind::container, 0, std::string(argument.substr(10))};
    }
    if (argument.starts_with('/')) {
        // The folder as `devservers` prints it, without a trailing slash.
        while (argument.size() > 1 && argument.ends_with('/')) argument.remove_suffix(1);
        return StopRequest{Kind::project, 0, std::string(argument)};
    }
    return StopRequest{Kind::app, 0, std::string(argument)};
}

}  // namespace orv::cli
