#include <os/log.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "core/LogSink.h"

namespace orv {

namespace {

os_log_type_t typeOf(LogLevel level) {
    switch (level) {
        case LogLevel::debug: return OS_LOG_TYPE_DEBUG;
        case LogLevel::info: return OS_LOG_TYPE_INFO;
        case LogLevel::notice: return OS_LOG_TYPE_DEFAULT;
        case LogLevel::error: return OS_LOG_TYPE_ERROR;
        case LogLevel::fault: return OS_LOG_TYPE_FAULT;
    }
    return OS_LOG_TYPE_DEFAULT;
}

// One os_log_t per (subsystem, category), created on first use and kept:
// the system caches them anyway, and they are never released.
class UnifiedLogSink : public LogSink {
public:
    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override {
        std::string text(message);
        os_log_with_type(handle(subsystem, category), typeOf(level), "%{public}s", text.c_str());
    }

private:
    os_log_t handle(std::string_view subsystem, std::string_view category) {
        std::lock_guard lock(mutex_);
        auto key = std::make_pair(std::string(subsystem), std::string(category));
        auto it = logs_.find(key);
        if (it == logs_.end()) {
            it = logs_.emplace(key, os_log_create(key.first.c_str(), key.second.c_str())).first;
        }
        return it->second;
    }

    std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, os_log_t> logs_;
};

}  // namespace

std::shared_ptr<LogSink> LogSink::makePlatformSink() { return std::make_shared<UnifiedLogSink>(); }

}  // namespace orv
