// Declarations of the IOKit interfaces this project calls, for compiling
// the macOS sources with a toolchain whose headers lack the framework. Each
// declaration follows Apple's IOKitLib reference; add only what a source
// file calls.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

// ---- Object types (IOTypes.h)
typedef mach_port_t io_object_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_service_t;
typedef io_object_t io_iterator_t;
typedef UInt32 IOOptionBits;
#define IO_OBJECT_NULL ((io_object_t)0)
typedef char io_name_t[128];
#define kIOServicePlane "IOService"

// ---- Main port (macOS 12 and later)
extern const mach_port_t kIOMainPortDefault;

// ---- Objects and registry entries
kern_return_t IOObjectRelease(io_object_t object);
io_object_t IOIteratorNext(io_iterator_t iterator);
kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry, const io_name_t plane,
                                              io_iterator_t* iterator);
kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry, CFMutableDictionaryRef* properties,
                                                CFAllocatorRef allocator, IOOptionBits options);
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options);

// ---- Service matching
// Consumes one reference to `matching`.
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching);
CFMutableDictionaryRef IOServiceMatching(const char* name);
// Consumes one reference to `matching`.
kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFDictionaryRef matching, io_iterator_t* existing);

// ---- Registry paths, IDs and parents (the system samplers)
typedef char io_string_t[512];
io_registry_entry_t IORegistryEntryFromPath(mach_port_t mainPort, const io_string_t path);
kern_return_t IORegistryEntryGetRegistryEntryID(io_registry_entry_t entry, uint64_t* entryID);
kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const io_name_t plane,
                                            io_registry_entry_t* parent);

#ifdef __cplusplus
}
#endif
