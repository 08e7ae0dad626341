#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace orv {

// Hands a helper reply to its waiter exactly once, although three parties
// may try: the reply, the error handler and the time limit. The first wins.
class ResumeOnce {
public:
    using Continuation = std::function<void(std::optional<std::string>)>;

    explicit ResumeOnce(Continuation continuation) : continuation_(std::move(continuation)) {}

    void resume(std::optional<std::string> value) {
        Continuation taken;
        {
            std::lock_guard lock(lock_);
            if (!continuation_) return;
            taken = std::move(*continuation_);
            continuation_.reset();
        }
        // Outside the lock: the continuation may take other locks.
        taken(std::move(value));
    }

private:
    std::mutex lock_;
    std::optional<Continuation> continuation_;
};

}  // namespace orv
