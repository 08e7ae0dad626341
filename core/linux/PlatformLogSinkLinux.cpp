#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>

#include "core/LogSink.h"
#include "core/linux/SystemdLibrary.h"

namespace orv {

namespace {

int priorityOf(LogLevel level) {
    switch (level) {
        case LogLevel::debug: return LOG_DEBUG;
        case LogLevel::info: return LOG_INFO;
        case LogLevel::notice: return LOG_NOTICE;
        case LogLevel::error: return LOG_ERR;
        case LogLevel::fault: return LOG_CRIT;
    }
    return LOG_NOTICE;
}

const char* nameOf(LogLevel level) {
    switch (level) {
        case LogLevel::debug: return "debug";
        case LogLevel::info: return "info";
        case LogLevel::notice: return "notice";
        case LogLevel::error: return "error";
        case LogLevel::fault: return "fault";
    }
    return "notice";
}

// Journald, with the subsystem and category as fields of their own so that
// `journalctl ORVANTINE_SUBSYSTEM=app.orvantine.helper` finds them.
class JournalSink : public LogSink {
public:
    explicit JournalSink(const SystemdLibrary& systemd) : systemd_(systemd) {}

    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override {
        (systemd_.sd_journal_send)("MESSAGE=%.*s", int(message.size()), message.data(),
                        "PRIORITY=%d", priorityOf(level),
                        "ORVANTINE_SUBSYSTEM=%.*s", int(subsystem.size()), subsystem.data(),
                        "ORVANTINE_CATEGORY=%.*s", int(category.size()), category.data(),
                        nullptr);
    }

private:
    const SystemdLibrary& systemd_;
};

class StderrSink : public LogSink {
public:
    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override {
        std::lock_guard lock(mutex_);
        std::fprintf(stderr, "%.*s [%.*s] %s: %.*s\n", int(subsystem.size()), subsystem.data(),
                     int(category.size()), category.data(), nameOf(level), int(message.size()), message.data());
    }

private:
    std::mutex mutex_;
};

}  // namespace

std::shared_ptr<LogSink> LogSink::makePlatformSink() {
    // sd_journal_send reports success even when no journald listens, so the
    // journal's socket decides, not the call's result.
    struct stat st{};
    if (::stat("/run/systemd/journal/socket", &st) == 0 && S_ISSOCK(st.st_mode)) {
        if (const SystemdLibrary* systemd = SystemdLibrary::shared()) return std::make_shared<JournalSink>(*systemd);
    }
    return std::make_shared<StderrSink>();
}

}  // namespace orv
