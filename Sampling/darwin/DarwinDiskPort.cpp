#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <mach/kern_return.h>
#include <sys/mount.h>
#include <sys/param.h>

#include <string>
#include <vector>

#include "Sampling/BlockStorageProperties.h"
#include "Sampling/DiskPort.h"
#include "Sampling/darwin/IOObjectRef.h"
#include "core/SamplingError.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv {

namespace {

std::optional<PropertyValue> property(io_registry_entry_t entry, CFStringRef key) {
    CFRef<CFTypeRef> value(IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0));
    return propertyValueFromCF(value.get());
}

std::optional<PropertyValue> resource(CFDictionaryRef values, CFStringRef key) {
    return propertyValueFromCF(CFDictionaryGetValue(values, key));
}

// IOBlockStorageDriver statistics through IOKit; the mounted volumes by
// getfsstat, with URL resource values for their identity and capacity.
class DarwinDiskPort : public DiskPort {
public:
    DarwinDiskPort() : matching_(IOServiceMatching("IOBlockStorageDriver")) {}

    // The registry's list of block-storage drivers is the sampler's primary
    // read: when the registry refuses it, the sample throws rather than
    // passing for a machine without disks.
    BlockCounterMap readBlockCounters(CountedDeviceCache<uint64_t>& counted) override {
        // IOServiceMatching fails only when it cannot allocate.
        if (!matching_) throw SamplingError::kernel(KERN_RESOURCE_SHORTAGE);
        CFRetain(matching_.get());  // the call consumes one reference; the dictionary is kept
        io_iterator_t iterator = IO_OBJECT_NULL;
        if (kern_return_t result = IOServiceGetMatchingServices(kIOMainPortDefault, matching_.get(), &iterator);
            result != KERN_SUCCESS) {
            throw SamplingError::kernel(result);
        }
        IOObjectRef drivers(iterator);
        BlockCounterMap out;
        while (io_object_t next = IOIteratorNext(drivers.get())) {
            IOObjectRef driver(next);
            uint64_t id = 0;
            if (IORegistryEntryGetRegistryEntryID(driver.get(), &id) != KERN_SUCCESS) continue;
            // A driver on a disk image's virtual interconnect does not count.
            const bool counts = counted.counts(id, [&] {
                io_registry_entry_t parentEntry = IO_OBJECT_NULL;
                if (IORegistryEntryGetParentEntry(driver.get(), kIOServicePlane, &parentEntry) != KERN_SUCCESS) {
                    return true;
                }
                IOObjectRef parent(parentEntry);
                auto characteristics = property(parent.get(), CFSTR("Protocol Characteristics"));
                return !BlockStorageProperties::isVirtualInterconnect(characteristics ? &*characteristics : nullptr);
            });
            if (!counts) continue;
            auto statistics = property(driver.get(), CFSTR("Statistics"));
            if (auto counters = BlockStorageProperties::counters(statistics ? &*statistics : nullptr)) {
                out.insert_or_assign(id, *counters);
            }
        }
        return out;
    }

    // The volumes a file browser shows: MNT_DONTBROWSE marks the hidden ones
    // (the system's own volumes, recovery, VM).
    Result<std::vector<std::string>> listVolumes() override {
        std::vector<std::string> paths;
        int count = getfsstat(nullptr, 0, MNT_NOWAIT);
        if (count < 0) return lastError();
        if (count == 0) return paths;
        std::vector<struct statfs> mounts(size_t(count) + 4);
        count = getfsstat(mounts.data(), int(mounts.size() * sizeof(struct statfs)), MNT_NOWAIT);
        if (count < 0) return lastError();
        for (int i = 0; i < count && size_t(i) < mounts.size(); ++i) {
            if (mounts[size_t(i)].f_flags & MNT_DONTBROWSE) continue;
            paths.emplace_back(mounts[size_t(i)].f_mntonname);
        }
        return paths;
    }

    std::optional<VolumeResourceValues> resourceValues(const std::string& path) override {
        CFRef<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
            kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), CFIndex(path.size()), true));
        if (!url) return std::nullopt;
        CFURLClearResourcePropertyCache(url.get());
        const void* keys[] = {kCFURLVolumeIsLocalKey,       kCFURLVolumeNameKey,
                              kCFURLVolumeUUIDStringKey,    kCFURLVolumeTotalCapacityKey,
                              kCFURLVolumeAvailableCapacityForImportantUsageKey, kCFURLVolumeAvailableCapacityKey};
        CFRef<CFArrayRef> keyArray(CFArrayCreate(kCFAllocatorDefault, keys, 6, &kCFTypeArrayCallBacks));
        CFRef<CFDictionaryRef> values(CFURLCopyResourcePropertiesForKeys(url.get(), keyArray.get(), nullptr));
        if (!values) return std::nullopt;

        VolumeResourceValues out;
        if (auto v = resource(values.get(), kCFURLVolumeIsLocalKey)) out.isLocal = v->boolean();
        if (auto v = resource(values.get(), kCFURLVolumeNameKey); v && v->string()) out.name = *v->string();
        if (auto v = resource(values.get(), kCFURLVolumeUUIDStringKey); v && v->string()) out.uuid = *v->string();
        if (auto v = resource(values.get(), kCFURLVolumeTotalCapacityKey)) out.totalCapacity = v->integer();
        if (auto v = resource(values.get(), kCFURLVolumeAvailableCapacityForImportantUsageKey)) {
            out.importantCapacity = v->integer();
        }
        if (auto v = resource(values.get(), kCFURLVolumeAvailableCapacityKey)) out.availableCapacity = v->integer();
        return out;
    }

    std::optional<uint64_t> freeBytes(const std::string& path) override {
        struct statfs info;
        if (statfs(path.c_str(), &info) != 0) return std::nullopt;
        return uint64_t(info.f_bavail) * uint64_t(info.f_bsize);
    }

private:
    CFRef<CFMutableDictionaryRef> matching_;
};

}  // namespace

std::unique_ptr<DiskPort> makeDiskPort(const std::filesystem::path&) { return std::make_unique<DarwinDiskPort>(); }

}  // namespace orv
