#include "Sampling/linux/DescriptorCloser.h"

#include <unistd.h>

namespace orv {

DescriptorCloser::~DescriptorCloser() {
    flush();
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable()) thread_.join();
    // Never started (nothing was flushed to it) or stopped before the last
    // batch: whatever is left is closed here.
    for (int fd : queued_) ::close(fd);
}

void DescriptorCloser::close(int fd) {
    if (fd < 0) return;
    gathered_.push_back(fd);
    if (gathered_.size() >= batchSize) flush();
}

void DescriptorCloser::flush() {
    if (gathered_.empty()) return;
    {
        std::lock_guard lock(mutex_);
        queued_.insert(queued_.end(), gathered_.begin(), gathered_.end());
        if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
    }
    gathered_.clear();
    wake_.notify_one();
}

void DescriptorCloser::run() {
    std::vector<int> closing;
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !queued_.empty(); });
        if (queued_.empty()) return;
        closing.swap(queued_);
        lock.unlock();
        for (int fd : closing) ::close(fd);
        closing.clear();
        lock.lock();
    }
}

}  // namespace orv
