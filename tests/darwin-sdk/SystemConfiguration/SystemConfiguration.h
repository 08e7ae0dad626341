// Declarations of the SystemConfiguration API we call, for the macOS
// compile check only (see ../README.md). Signatures follow Apple's
// SCDynamicStore and SCDynamicStoreKey references; the schema names are
// CFSTR constants in the SDK, declared here as the strings they are.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef const struct __SCDynamicStore* SCDynamicStoreRef;
typedef struct {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} SCDynamicStoreContext;
typedef void (*SCDynamicStoreCallBack)(SCDynamicStoreRef store, CFArrayRef changedKeys, void* info);

SCDynamicStoreRef SCDynamicStoreCreate(CFAllocatorRef allocator, CFStringRef name, SCDynamicStoreCallBack callout,
                                       SCDynamicStoreContext* context);
CFPropertyListRef SCDynamicStoreCopyValue(SCDynamicStoreRef store, CFStringRef key);
CFStringRef SCDynamicStoreKeyCreateNetworkGlobalEntity(CFAllocatorRef allocator, CFStringRef domain,
                                                       CFStringRef entity);

#define kSCDynamicStoreDomainState CFSTR("State:")
#define kSCEntNetIPv4 CFSTR("IPv4")
#define kSCEntNetIPv6 CFSTR("IPv6")
#define kSCDynamicStorePropNetPrimaryInterface CFSTR("PrimaryInterface")

#ifdef __cplusplus
}
#endif
