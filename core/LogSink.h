#pragma once

#include <memory>
#include <string_view>

#include "core/LogLevel.h"

namespace orv {

// Where log lines go. The process has one current sink: the platform's
// (journald or stderr on Linux, os_log on macOS) unless a test installs a
// CapturingLogSink.
class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(std::string_view subsystem, std::string_view category, LogLevel level,
                       std::string_view message) = 0;

    // The sink every Logger writes to; never null.
    static std::shared_ptr<LogSink> current();
    // Replaces the current sink (nullptr restores the platform's) and
    // returns the previous one.
    static std::shared_ptr<LogSink> install(std::shared_ptr<LogSink> sink);
    // The platform's own sink.
    static std::shared_ptr<LogSink> makePlatformSink();
};

}  // namespace orv
