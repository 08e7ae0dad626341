#pragma once

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

namespace orv {

// The check that an object confined to one thread is used only there. The
// first thread that uses it owns it: the sampling executor's thread in the
// program, the test's own thread for a sampler no other thread can reach.
// A use from any other thread is a programming error, reported by throwing
// std::logic_error before any state is touched.
class ThreadConfinement {
public:
    explicit ThreadConfinement(const char* owner) : owner_(owner) {}

    void check() {
        const auto self = std::this_thread::get_id();
        std::thread::id expected{};
        if (owner_thread_.compare_exchange_strong(expected, self) || expected == self) return;
        throw std::logic_error(std::string(owner_) + " used off the thread it is confined to");
    }

private:
    const char* owner_;
    std::atomic<std::thread::id> owner_thread_{};
};

}  // namespace orv
