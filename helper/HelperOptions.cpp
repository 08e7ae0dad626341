#include "helper/HelperOptions.h"

#include <cmath>
#include <string>

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

}  // namespace

std::optional<HelperOptions> HelperOptions::parse(const std::vector<std::string_view>& arguments, std::string& error) {
    HelperOptions options = defaults();
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view name = arguments[i];
        if (i + 1 >= arguments.size()) {
            error = "missing value after " + std::string(name);
            return std::nullopt;
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
            error = "unknown option " + std::string(name);
            return std::nullopt;
        }
        if (!ok) {
            error = "bad value for " + std::string(name) + ": " + std::string(value);
            return std::nullopt;
        }
    }
    return options;
}

}  // namespace orv
