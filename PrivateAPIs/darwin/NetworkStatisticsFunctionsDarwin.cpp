#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

#include "PrivateAPIs/NetworkStatisticsMonitor.h"

// The framework is private: these are the signatures of exactly what we
// call, the blocks as it takes them.
extern "C" {
typedef void* NStatManagerRef;
typedef void* NStatSourceRef;
typedef NStatManagerRef (*NStatManagerCreateFunction)(CFAllocatorRef, dispatch_queue_t,
                                                      void (^)(NStatSourceRef, void*));
typedef void (*NStatManagerFunction)(NStatManagerRef);
typedef void (*NStatManagerQueryFunction)(NStatManagerRef, void (^)(void));
typedef void (*NStatSourceDictionaryBlockFunction)(NStatSourceRef, void (^)(CFDictionaryRef));
typedef void (*NStatSourceRemovedBlockFunction)(NStatSourceRef, void (^)(void));
}

namespace orv {

namespace {

template <class F>
F as(void* symbol) {
    return reinterpret_cast<F>(symbol);
}

// The CFString a data symbol points at, retained for the life of the process.
const void* retainedKey(void* symbol) { return CFRetain(*static_cast<CFStringRef*>(symbol)); }

std::optional<int64_t> readValue(NetworkStatisticsMonitor::Dictionary dictionary, const void* key) {
    CFTypeRef value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), key);
    if (!value) return std::nullopt;
    if (CFGetTypeID(value) == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? 1 : 0;
    if (CFGetTypeID(value) == CFNumberGetTypeID()) {
        int64_t number = 0;
        if (!CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) return std::nullopt;
        return number;
    }
    return std::nullopt;
}

}  // namespace

std::optional<NetworkStatisticsMonitor::Functions> NetworkStatisticsMonitor::functionsFrom(const Symbols& s) {
    using Manager = ManagerRef;
    using Source = SourceRef;
    auto create = as<NStatManagerCreateFunction>(s[0]);
    auto destroy = as<NStatManagerFunction>(s[1]);
    auto addAllTCP = as<NStatManagerFunction>(s[2]);
    auto addAllUDP = as<NStatManagerFunction>(s[3]);
    auto queryCounts = as<NStatManagerQueryFunction>(s[4]);
    auto queryUpdate = as<NStatManagerQueryFunction>(s[5]);
    auto setCounts = as<NStatSourceDictionaryBlockFunction>(s[6]);
    auto setDescription = as<NStatSourceDictionaryBlockFunction>(s[7]);
    auto setRemoved = as<NStatSourceRemovedBlockFunction>(s[8]);

    Functions functions;
    functions.create = [create](SerialQueue& queue, std::function<void(Source)> added) -> Manager {
        auto queueHandle = static_cast<dispatch_queue_t>(queue.nativeHandle());
        return reinterpret_cast<Manager>(create(kCFAllocatorDefault, queueHandle, ^(NStatSourceRef source, void*) {
            added(reinterpret_cast<Source>(source));
        }));
    };
    functions.destroy = [destroy](Manager manager) { destroy(reinterpret_cast<NStatManagerRef>(manager)); };
    functions.addAllTCP = [addAllTCP](Manager manager) { addAllTCP(reinterpret_cast<NStatManagerRef>(manager)); };
    functions.addAllUDP = [addAllUDP](Manager manager) { addAllUDP(reinterpret_cast<NStatManagerRef>(manager)); };
    functions.queryCounts = [queryCounts](Manager manager, std::function<void()> done) {
        queryCounts(reinterpret_cast<NStatManagerRef>(manager), ^{ done(); });
    };
    functions.queryUpdate = [queryUpdate](Manager manager, std::function<void()> done) {
        queryUpdate(reinterpret_cast<NStatManagerRef>(manager), ^{ done(); });
    };
    functions.setCountsBlock = [setCounts](Source source, std::function<void(Dictionary)> block) {
        setCounts(reinterpret_cast<NStatSourceRef>(source), ^(CFDictionaryRef dictionary) { block(dictionary); });
    };
    functions.setDescriptionBlock = [setDescription](Source source, std::function<void(Dictionary)> block) {
        setDescription(reinterpret_cast<NStatSourceRef>(source), ^(CFDictionaryRef dictionary) { block(dictionary); });
    };
    functions.setRemovedBlock = [setRemoved](Source source, std::function<void()> block) {
        setRemoved(reinterpret_cast<NStatSourceRef>(source), ^{ block(); });
    };
    functions.keys = Keys{retainedKey(s[9]), retainedKey(s[10]), retainedKey(s[11]), retainedKey(s[12]),
                          retainedKey(s[13])};
    functions.readValue = readValue;
    return functions;
}

}  // namespace orv
