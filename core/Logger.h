#pragma once

#include <fmt/format.h>
#include <string>
#include <string_view>

#include "core/LogSink.h"

namespace orv {

// A log by subsystem and category, as the unified log names them, for
// example Logger("app.orvantine.helper", "helper").
class Logger {
public:
    Logger(std::string subsystem, std::string category)
        : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

    void log(LogLevel level, std::string_view message) const;
    void debug(std::string_view message) const { log(LogLevel::debug, message); }
    void info(std::string_view message) const { log(LogLevel::info, message); }
    void notice(std::string_view message) const { log(LogLevel::notice, message); }
    void error(std::string_view message) const { log(LogLevel::error, message); }
    void fault(std::string_view message) const { log(LogLevel::fault, message); }

    const std::string& subsystem() const { return subsystem_; }
    const std::string& category() const { return category_; }

private:
    std::string subsystem_;
    std::string category_;
};

}  // namespace orv
