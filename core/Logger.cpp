#include "core/Logger.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "core/CapturingLogSink.h"

namespace orv {

namespace {
std::mutex sinkMutex;
std::shared_ptr<LogSink>& sinkSlot() {
    static std::shared_ptr<LogSink> sink = LogSink::makePlatformSink();
    return sink;
}
}  // namespace

std::shared_ptr<LogSink> LogSink::current() {
    std::lock_guard lock(sinkMutex);
    return sinkSlot();
}

std::shared_ptr<LogSink> LogSink::install(std::shared_ptr<LogSink> sink) {
    if (!sink) sink = makePlatformSink();
    std::lock_guard lock(sinkMutex);
    std::swap(sinkSlot(), sink);
    return sink;
}

void Logger::log(LogLevel level, std::string_view message) const {
    LogSink::current()->write(subsystem_, category_, level, message);
}

void CapturingLogSink::write(std::string_view subsystem, std::string_view category, LogLevel level,
                             std::string_view message) {
    std::lock_guard lock(mutex_);
    entries_.push_back({std::string(subsystem), std::string(category), level, std::string(message)});
}

std::vector<CapturingLogSink::Entry> CapturingLogSink::entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
}

std::vector<std::string> CapturingLogSink::messages() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> out;
    out.reserve(entries_.size());
    for (const auto& e : entries_) out.push_back(e.message);
    return out;
}

size_t CapturingLogSink::count(std::string_view message) const {
    std::lock_guard lock(mutex_);
    return std::count_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.message == message; });
}

void CapturingLogSink::clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
}

ScopedLogCapture::ScopedLogCapture()
    : sink_(std::make_shared<CapturingLogSink>()), previous_(LogSink::install(sink_)) {}

ScopedLogCapture::~ScopedLogCapture() { LogSink::install(previous_); }

}  // namespace orv
