#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include "Sampling/BoardIdentifier.h"
#include "core/darwin/CFRef.h"

namespace orv {

namespace {

// Releases an io_object_t once, on every path.
class IOObject {
public:
    explicit IOObject(io_object_t object) : object_(object) {}
    IOObject(const IOObject&) = delete;
    IOObject& operator=(const IOObject&) = delete;
    ~IOObject() { if (object_ != IO_OBJECT_NULL) IOObjectRelease(object_); }
    io_object_t get() const { return object_; }

private:
    io_object_t object_;
};

class PlatformExpertBoardIdentifierPort final : public BoardIdentifierPort {
public:
    std::optional<std::vector<uint8_t>> readBoardIdentifier() override {
        // IOServiceGetMatchingService consumes the matching dictionary.
        IOObject service(IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching("IOPlatformExpertDevice")));
        if (service.get() == IO_OBJECT_NULL) return std::nullopt;
        CFRef<CFTypeRef> property(
            IORegistryEntryCreateCFProperty(service.get(), CFSTR("board-id"), kCFAllocatorDefault, 0));
        if (!property || CFGetTypeID(property.get()) != CFDataGetTypeID()) return std::nullopt;
        auto data = static_cast<CFDataRef>(property.get());
        const UInt8* bytes = CFDataGetBytePtr(data);
        CFIndex length = CFDataGetLength(data);
        if (bytes == nullptr || length <= 0) return std::vector<uint8_t>{};
        return std::vector<uint8_t>(bytes, bytes + length);
    }
};

}  // namespace

std::unique_ptr<BoardIdentifierPort> makeBoardIdentifierPort() {
    return std::make_unique<PlatformExpertBoardIdentifierPort>();
}

}  // namespace orv
