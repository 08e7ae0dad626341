#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace orv {

// Owns one CoreFoundation reference and releases it once, in one place.
template <class T>
class CFRef {
public:
    CFRef() = default;
    // Takes over a reference from a Create or Copy call.
    explicit CFRef(T ref) : ref_(ref) {}
    CFRef(const CFRef& other) : ref_(other.ref_) { if (ref_) CFRetain(ref_); }
    CFRef(CFRef&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    CFRef& operator=(CFRef other) noexcept { std::swap(ref_, other.ref_); return *this; }
    ~CFRef() { if (ref_) CFRelease(ref_); }

    // Retains a reference obtained from a Get call.
    static CFRef retained(T ref) { if (ref) CFRetain(ref); return CFRef(ref); }

    T get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }

private:
    T ref_ = nullptr;
};

}  // namespace orv
