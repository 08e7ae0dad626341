#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace orv {

// Closes descriptors on a thread of its own, a batch at a time. A run that
// makes one pass hands it each proc file once read: the kernel's release of
// a file (about a fifth of what opening and reading one costs) then runs on
// the other core beside the reading, instead of all at once when the
// process exits. The thread starts with the first batch; what is still
// pending when the closer is destroyed is closed before it returns.
class DescriptorCloser {
public:
    // Descriptors handed over together; fewer wake the thread more often.
    static constexpr size_t batchSize = 64;

    DescriptorCloser() = default;
    DescriptorCloser(const DescriptorCloser&) = delete;
    DescriptorCloser& operator=(const DescriptorCloser&) = delete;
    ~DescriptorCloser();

    // Takes `fd` (ignored when negative) and closes it soon.
    void close(int fd);
    // Hands what is gathered to the thread now, without waiting for it.
    void flush();

private:
    void run();

    std::vector<int> gathered_;  // the caller's, until a batch is full
    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<int> queued_;  // under mutex_
    bool stopping_ = false;    // under mutex_
    std::thread thread_;
};

}  // namespace orv
