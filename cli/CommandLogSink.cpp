#include "cli/CommandLogSink.h"

namespace orv::cli {

CommandLogSink::CommandLogSink(std::shared_ptr<LogSink> next) : next_(std::move(next)) {}

void CommandLogSink::write(std::string_view subsystem, std::string_view category, LogLevel level,
                           std::string_view message) {
    if (level < LogLevel::notice) return;
    std::unique_lock lock(mutex_);
    if (held_) {
        // A failing part logs when it starts failing, so a long session
        // holds few lines; past the limit the oldest are enough.
        if (heldLines_.size() < heldLimit) {
            heldLines_.push_back(Line{std::string(subsystem), std::string(category), level, std::string(message)});
        }
        return;
    }
    lock.unlock();
    next_->write(subsystem, category, level, message);
}

void CommandLogSink::hold(bool held) {
    std::vector<Line> lines;
    {
        std::lock_guard lock(mutex_);
        held_ = held;
        if (!held) lines.swap(heldLines_);
    }
    for (const auto& line : lines) next_->write(line.subsystem, line.category, line.level, line.message);
}

CommandLogSink::Scope::Scope()
    : sink_(std::make_shared<CommandLogSink>(LogSink::current())), previous_(LogSink::install(sink_)) {}

CommandLogSink::Scope::~Scope() {
    sink_->hold(false);
    LogSink::install(previous_);
}

}  // namespace orv::cli
