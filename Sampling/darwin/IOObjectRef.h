#pragma once

#include <IOKit/IOKitLib.h>

#include <utility>

namespace orv {

// Owns one io_object_t (a service, registry entry or iterator) and releases
// it once, in one place.
class IOObjectRef {
public:
    IOObjectRef() = default;
    explicit IOObjectRef(io_object_t object) : object_(object) {}
    IOObjectRef(const IOObjectRef&) = delete;
    IOObjectRef& operator=(const IOObjectRef&) = delete;
    IOObjectRef(IOObjectRef&& other) noexcept : object_(std::exchange(other.object_, IO_OBJECT_NULL)) {}
    IOObjectRef& operator=(IOObjectRef&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~IOObjectRef() { reset(); }

    io_object_t get() const { return object_; }
    explicit operator bool() const { return object_ != IO_OBJECT_NULL; }
    void reset() {
        if (object_ != IO_OBJECT_NULL) IOObjectRelease(object_);
        object_ = IO_OBJECT_NULL;
    }

private:
    io_object_t object_ = IO_OBJECT_NULL;
};

}  // namespace orv
