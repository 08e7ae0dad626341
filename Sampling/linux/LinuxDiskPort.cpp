#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unordered_map>

#include "Sampling/DiskPort.h"
#include "Sampling/DiskstatsDecoding.h"
#include "Sampling/MountinfoDecoding.h"
#include "Sampling/linux/KeptFile.h"
#include "core/SamplingError.h"

namespace orv {

namespace {

std::optional<std::string> readLink(const std::filesystem::path& path) {
    std::error_code error;
    auto target = std::filesystem::read_symlink(path, error);
    if (error) return std::nullopt;
    return target.string();
}

std::string lastComponent(std::string_view path) {
    auto slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

// proc/diskstats for the whole physical disks; proc/self/mountinfo,
// statvfs and the udev links under dev/disk for the volumes.
class LinuxDiskPort : public DiskPort {
public:
    explicit LinuxDiskPort(const std::filesystem::path& root)
        : root_(root), diskstats_(root / "proc/diskstats"), mountinfo_(root / "proc/self/mountinfo") {}

    // proc/diskstats is the sampler's primary read: without it there is no
    // throughput to tell, so a failed read throws rather than passing for a
    // machine without disks.
    BlockCounterMap readBlockCounters(CountedDeviceCache<uint64_t>& counted) override {
        auto text = diskstats_.read();
        if (!text) throw SamplingError::fileRead(diskstats_.path().string(), text.error().value());
        DiskstatsEntry::decodeAll(*text, entries_);
        BlockCounterMap out;
        for (const auto& entry : entries_) {
            if (!counted.counts(entry.deviceID(), [&] { return isWholePhysicalDisk(entry.name); })) continue;
            out.insert_or_assign(entry.deviceID(), BlockCounters{entry.bytesRead(), entry.bytesWritten()});
        }
        return out;
    }

    Result<std::vector<std::string>> listVolumes() override {
        auto text = mountinfo_.read();
        if (!text) return text.error();
        sources_.clear();
        std::vector<std::string> paths;
        for (auto& volume : MountinfoDecoding::localVolumes(MountinfoEntry::decodeAll(*text))) {
            paths.push_back(volume.mountPoint);
            sources_.insert_or_assign(volume.mountPoint, std::move(volume));
        }
        return paths;
    }

    std::optional<VolumeResourceValues> resourceValues(const std::string& path) override {
        struct statvfs info;
        if (::statvfs(mountPath(path).c_str(), &info) != 0) return std::nullopt;
        VolumeResourceValues values;
        // Only local block-device file systems are listed.
        values.isLocal = true;
        values.totalCapacity = clampSigned(uint64_t(info.f_blocks) * info.f_frsize);
        values.availableCapacity = clampSigned(uint64_t(info.f_bavail) * info.f_frsize);
        // Linux keeps no figure for space the system could purge on demand.
        values.importantCapacity = std::nullopt;
        if (auto source = sources_.find(path); source != sources_.end()) {
            if (auto device = deviceName(source->second)) {
                values.uuid = linkNamed("dev/disk/by-uuid", *device);
                if (auto label = linkNamed("dev/disk/by-label", *device)) {
                    values.name = MountinfoDecoding::unescapeHex(*label);
                }
            }
        }
        return values;
    }

    std::optional<uint64_t> freeBytes(const std::string& path) override {
        struct statvfs info;
        if (::statvfs(mountPath(path).c_str(), &info) != 0) return std::nullopt;
        return uint64_t(info.f_bavail) * info.f_frsize;
    }

private:
    // A mount path as seen from the port's root.
    std::filesystem::path mountPath(const std::string& path) const {
        return root_ / std::filesystem::path(path).relative_path();
    }

    static int64_t clampSigned(uint64_t value) {
        return value > uint64_t(INT64_MAX) ? INT64_MAX : int64_t(value);
    }

    // A device in sys/block whose sysfs node is not under devices/virtual.
    // Partitions are not in sys/block (their bytes are on their disk); loop
    // (disk images), device-mapper, md, zram and the like are virtual.
    bool isWholePhysicalDisk(std::string_view name) const {
        std::string node(name);
        std::replace(node.begin(), node.end(), '/', '!');  // cciss/c0d0 is sys/block/cciss!c0d0
        auto target = readLink(root_ / "sys/block" / node);
        return target && target->find("devices/virtual/") == std::string::npos;
    }

    // The kernel's name of the mount's block device (vda1, dm-0): from the
    // device number's sysfs link, or else from the source path, which may
    // be a symlink such as /dev/mapper/root.
    std::optional<std::string> deviceName(const MountinfoEntry& mount) const {
        auto number = std::to_string(mount.major) + ":" + std::to_string(mount.minor);
        if (auto target = readLink(root_ / "sys/dev/block" / number)) return lastComponent(*target);
        auto source = root_ / std::filesystem::path(mount.source).relative_path();
        if (auto target = readLink(source)) return lastComponent(*target);
        return lastComponent(mount.source);
    }

    // The entry of a udev link folder whose link points at `device`.
    std::optional<std::string> linkNamed(const char* folder, const std::string& device) const {
        std::error_code error;
        std::filesystem::directory_iterator it(root_ / folder, error);
        if (error) return std::nullopt;
        for (const auto& entry : it) {
            auto target = readLink(entry.path());
            if (target && lastComponent(*target) == device) return entry.path().filename().string();
        }
        return std::nullopt;
    }

    std::filesystem::path root_;
    KeptFile diskstats_;
    KeptFile mountinfo_;
    std::vector<DiskstatsEntry> entries_;
    std::unordered_map<std::string, MountinfoEntry> sources_;
};

}  // namespace

std::unique_ptr<DiskPort> makeDiskPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxDiskPort>(root);
}

}  // namespace orv
