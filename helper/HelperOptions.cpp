#include "helper/HelperOptions.h"

#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "core/TextDecoding.h"

namespace orv {

namespace {

std::optional<Duration> seconds(std::string_view text) {
    const auto value = TextDecoding::parseNumber<double>(text);
    if (!value || !std::isfinite(*value) || *value < 0 || *value > 1e6) return std::nullopt;
    return Duration::nanoseconds(int64_t(std::llround(*value * 1e9)));
}

std::optional<unsigned> octalMode(std::string_view text) {
    const auto value = TextDecoding::parseNumber<unsigned>(text, 8);
    if (!value || *value > 0777) return std::nullopt;
    return value;
}

Result<HelperOptions, std::string> refused(std::string description) {
    return Result<HelperOptions, std::string>(boost::system::in_place_error, std::move(description));
}

}  // namespace

Result<HelperOptions, std::string> HelperOptions::parse(const std::vector<std::string_view>& arguments) {
    HelperOptions options = defaults();
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view name = arguments[i];
        if (i + 1 >= arguments.size()) {
            return refused("missing value after " + std::string(name));
        }
        const std::string_view value = arguments[++i];
        bool ok = true;
        if (name == "--socket") {
            ok = !value.empty();
            options.socketPath = std::string(value);
        } else if (name == "--group") {
            ok = !value.empty();
            options.admittedGroup = std::string(value);
        } else if (name == "--socket-mode") {
            auto mode = octalMode(value);
            ok = mode.has_value();
            if (mode) options.socketMode = *mode;
        } else if (name == "--startup-seconds") {
            auto d = seconds(value);
            ok = d.has_value();
            if (d) options.startupLimit = *d;
        } else if (name == "--idle-seconds") {
            auto d = seconds(value);
            ok = d.has_value();
            if (d) options.idleLimit = *d;
        } else {
            return refused("unknown option " + std::string(name));
        }
        if (!ok) {
            return refused("bad value for " + std::string(name) + ": " + std::string(value));
        }
    }
    return options;
}

}  // namespace orv
