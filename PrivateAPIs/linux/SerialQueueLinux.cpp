#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "PrivateAPIs/SerialQueue.h"

namespace orv {

// One thread that runs due work in order of its deadline, then of arrival.
struct SerialQueue::Impl : std::enable_shared_from_this<SerialQueue::Impl> {
    using Clock = std::chrono::steady_clock;
    struct Key {
        Clock::time_point due;
        uint64_t order;
        bool operator<(const Key& other) const { return due != other.due ? due < other.due : order < other.order; }
    };

    std::mutex mutex;
    std::condition_variable changed;
    std::map<Key, std::function<void()>> work;
    uint64_t next = 0;
    bool stopping = false;
    std::thread thread;
    std::thread::id runner;

    Key put(Clock::time_point due, std::function<void()> item) {
        std::lock_guard lock(mutex);
        Key key{due, next++};
        work.emplace(key, std::move(item));
        changed.notify_one();
        return key;
    }

    void run() {
        std::unique_lock lock(mutex);
        for (;;) {
            if (stopping) return;
            if (work.empty()) {
                changed.wait(lock);
                continue;
            }
            auto first = work.begin();
            if (first->first.due > Clock::now()) {
                changed.wait_until(lock, first->first.due);
                continue;
            }
            auto item = std::move(first->second);
            work.erase(first);
            lock.unlock();
            // Work owns its failures; one that escapes must not end the
            // thread that every later callback needs.
            try {
                item();
            } catch (...) {
            }
            item = nullptr;  // what it captured goes before the lock is taken
            lock.lock();
        }
    }
};

namespace {

class LinuxTimer : public SerialQueue::Timer {
public:
    LinuxTimer(std::weak_ptr<SerialQueue::Impl> impl, SerialQueue::Impl::Key key) : impl_(std::move(impl)), key_(key) {}
    void cancel() override {
        if (auto impl = impl_.lock()) {
            std::lock_guard lock(impl->mutex);
            impl->work.erase(key_);
        }
    }

private:
    std::weak_ptr<SerialQueue::Impl> impl_;
    SerialQueue::Impl::Key key_;
};

}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), impl_(std::make_shared<Impl>()) {
    // The thread owns the Impl too, so that a queue released from its own
    // work can finish that work.
    impl_->thread = std::thread([impl = impl_] { impl->run(); });
    impl_->runner = impl_->thread.get_id();
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard lock(impl_->mutex);
        impl_->stopping = true;
        impl_->work.clear();
        impl_->changed.notify_one();
    }
    // Released from its own work (a callback dropping the last owner): the
    // thread ends by itself once that work returns.
    if (std::this_thread::get_id() == impl_->runner) {
        impl_->thread.detach();
    } else {
        impl_->thread.join();
    }
}

void SerialQueue::async(std::function<void()> work) { impl_->put(Impl::Clock::now(), std::move(work)); }

std::shared_ptr<SerialQueue::Timer> SerialQueue::after(std::chrono::nanoseconds delay, std::function<void()> work) {
    auto key = impl_->put(Impl::Clock::now() + delay, std::move(work));
    return std::make_shared<LinuxTimer>(impl_, key);
}

bool SerialQueue::isCurrent() const { return std::this_thread::get_id() == impl_->runner; }

void* SerialQueue::nativeHandle() const { return nullptr; }

}  // namespace orv
