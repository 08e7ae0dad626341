#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "core/LogSink.h"

namespace orv {

// Keeps every line written to it, so that tests assert the exact messages.
class CapturingLogSink : public LogSink {
public:
    struct Entry {
        std::string subsystem;
        std::string category;
        LogLevel level;
        std::string message;
        friend bool operator==(const Entry&, const Entry&) = default;
    };

    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override;

    std::vector<Entry> entries() const;
    std::vector<std::string> messages() const;
    size_t count(std::string_view message) const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

// Installs a fresh CapturingLogSink for the life of the scope.
class ScopedLogCapture {
public:
    ScopedLogCapture();
    ~ScopedLogCapture();
    ScopedLogCapture(const ScopedLogCapture&) = delete;
    ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;

    CapturingLogSink& sink() { return *sink_; }
    std::vector<std::string> messages() const { return sink_->messages(); }

private:
    std::shared_ptr<CapturingLogSink> sink_;
    std::shared_ptr<LogSink> previous_;
};

}  // namespace orv
