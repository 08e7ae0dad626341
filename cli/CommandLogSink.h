#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/LogSink.h"

namespace orv::cli {

// The commands' log: informational lines, which some samplers write on
// every pass (a machine without a GPU says so each time it is asked), are
// dropped; the rest goes to the platform's sink, or, while `hold` is on
// (a full-screen view owns the terminal), is kept and written when it ends.
class CommandLogSink final : public LogSink {
public:
    explicit CommandLogSink(std::shared_ptr<LogSink> next);
    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override;
    void hold(bool held);

    // Installs one for the life of the scope.
    class Scope {
    public:
        Scope();
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        CommandLogSink& sink() { return *sink_; }

    private:
        std::shared_ptr<CommandLogSink> sink_;
        std::shared_ptr<LogSink> previous_;
    };

private:
    struct Line {
        std::string subsystem, category;
        LogLevel level;
        std::string message;
    };
    static constexpr size_t heldLimit = 100;

    std::shared_ptr<LogSink> next_;
    std::mutex mutex_;
    bool held_ = false;
    std::vector<Line> heldLines_;
};

}  // namespace orv::cli
