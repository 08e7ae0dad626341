#include "helper/ListenerDelegate.h"

#include <cstdlib>

namespace orv {

namespace {

// The counters cannot overflow in practice; if they ever did, wrapping would
// make a stale timer look current, so it is fatal instead.
int64_t checkedAdd(int64_t a, int64_t b) {
    int64_t out;
    if (__builtin_add_overflow(a, b, &out)) std::abort();
    return out;
}

}  // namespace

ListenerDelegate::ListenerDelegate(std::shared_ptr<HelperService> service, std::string clientRequirement,
                                   TimerQueue& timers, Lifetime lifetime)
    : service_(std::move(service)),
      clientRequirement_(std::move(clientRequirement)),
      timers_(timers),
      lifetime_(std::move(lifetime)) {}

void ListenerDelegate::armStartupRule() {
    std::weak_ptr<ListenerDelegate> weak = weak_from_this();
    timers_.schedule(lifetime_.startupLimit, [weak] {
        if (auto self = weak.lock()) self->startupCheck();
    });
}

void ListenerDelegate::startupCheck() {
    int64_t generation;
    {
        std::lock_guard guard(lock_);
        if (connections_ != 0) return;
        generation = generation_;
    }
    // Quietly: nobody ever asked for this helper.
    if (generation == 0) lifetime_.exit(0);
}

void ListenerDelegate::connectionAccepted() {
    std::lock_guard guard(lock_);
    connections_ = checkedAdd(connections_, 1);
    generation_ = checkedAdd(generation_, 1);
}

void ListenerDelegate::connectionEnded() {
    int64_t before;
    int64_t generation;
    {
        std::lock_guard guard(lock_);
        before = connections_;
        connections_ = checkedAdd(connections_, -1);
        generation_ = checkedAdd(generation_, 1);
        generation = generation_;
    }
    if (before != 1) return;
    std::weak_ptr<ListenerDelegate> weak = weak_from_this();
    timers_.schedule(lifetime_.idleLimit, [weak, generation] {
        if (auto self = weak.lock()) self->idleCheck(generation);
    });
}

void ListenerDelegate::idleCheck(int64_t armedAt) {
    {
        std::lock_guard guard(lock_);
        if (connections_ != 0) return;
        if (generation_ != armedAt) return;
    }
    log_.info("Orvantine has been gone 10 s; exiting");
    lifetime_.exit(0);
}

int64_t ListenerDelegate::connections() const {
    std::lock_guard guard(lock_);
    return connections_;
}

int64_t ListenerDelegate::generation() const {
    std::lock_guard guard(lock_);
    return generation_;
}

}  // namespace orv
