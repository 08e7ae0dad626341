#include <dispatch/dispatch.h>
#include <pthread.h>

#include "PrivateAPIs/SerialQueue.h"

namespace orv {

struct SerialQueue::Impl {
    dispatch_queue_t queue = nullptr;
    ~Impl() {
        if (queue) dispatch_release(queue);
    }
};

namespace {

// A key whose value on the queue marks its own work, for isCurrent.
char currentKey;

class DarwinTimer : public SerialQueue::Timer {
public:
    explicit DarwinTimer(dispatch_source_t source) : source_(source) {}
    ~DarwinTimer() override { dispatch_release(source_); }
    void cancel() override { dispatch_source_cancel(source_); }

private:
    dispatch_source_t source_;
};

}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), impl_(std::make_shared<Impl>()) {
    dispatch_queue_attr_t attributes =
        dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL, QOS_CLASS_UTILITY, 0);
    impl_->queue = dispatch_queue_create(label_.c_str(), attributes);
    dispatch_queue_set_specific(impl_->queue, &currentKey, this, nullptr);
}

SerialQueue::~SerialQueue() = default;

void SerialQueue::async(std::function<void()> work) {
    dispatch_async(impl_->queue, ^{ work(); });
}

std::shared_ptr<SerialQueue::Timer> SerialQueue::after(std::chrono::nanoseconds delay, std::function<void()> work) {
    dispatch_source_t source = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, impl_->queue);
    dispatch_source_set_timer(source, dispatch_time(DISPATCH_TIME_NOW, delay.count()), DISPATCH_TIME_FOREVER, 0);
    // The handlers hold their own reference, given back once cancelled.
    dispatch_retain(source);
    dispatch_source_set_event_handler(source, ^{
        work();
        dispatch_source_cancel(source);
    });
    dispatch_source_set_cancel_handler(source, ^{ dispatch_release(source); });
    dispatch_resume(source);
    return std::make_shared<DarwinTimer>(source);
}

bool SerialQueue::isCurrent() const { return dispatch_get_specific(&currentKey) == this; }

void* SerialQueue::nativeHandle() const { return impl_->queue; }

}  // namespace orv
