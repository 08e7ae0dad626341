#include "Sampling/MountinfoDecoding.h"

#include <algorithm>
#include <array>
#include <map>

#include "core/TextDecoding.h"

namespace orv {

namespace {

bool isOctal(char c) { return c >= '0' && c <= '7'; }

// Types that never hold a user's files on a local disk.
constexpr std::array<std::string_view, 28> excludedTypes = {
    // pseudo and memory file systems
    "proc", "sysfs", "tmpfs", "devtmpfs", "devpts", "cgroup", "cgroup2", "overlay", "autofs", "mqueue",
    "debugfs", "tracefs", "securityfs", "pstore", "bpf", "configfs", "fusectl", "hugetlbfs", "binfmt_misc",
    "efivarfs", "ramfs", "rpc_pipefs", "nsfs",
    // read-only images (snaps, live media): never written, always full
    "squashfs",
    // network file systems that may name a /dev path as their source
    "nfs", "nfs4", "cifs", "smb3",
};

bool isExcludedType(std::string_view type) {
    if (std::find(excludedTypes.begin(), excludedTypes.end(), type) != excludedTypes.end()) return true;
    // FUSE file systems are network or virtual ones (sshfs, rclone, gvfs)
    // except fuseblk, which drives a local block device (ntfs-3g, exfat).
    return type.starts_with("fuse.") || type == "fuse";
}

// "ro" as one of a comma-separated option list.
bool hasReadOnly(std::string_view options) {
    while (!options.empty()) {
        if (TextDecoding::takeUntil(options, ',') == "ro") return true;
    }
    return false;
}

}  // namespace

std::string MountinfoDecoding::unescapeOctal(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) && isOctal(text[i + 2]) &&
            isOctal(text[i + 3])) {
            out.push_back(char(((text[i + 1] - '0') << 6) | ((text[i + 2] - '0') << 3) | (text[i + 3] - '0')));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string MountinfoDecoding::unescapeHex(std::string_view text) { return TextDecoding::unescapeHex(text); }

std::vector<MountinfoEntry> MountinfoEntry::decodeAll(std::string_view text) {
    // proc(5): "mount-id parent-id major:minor root mount-point options
    // [optional fields…] - type source super-options". Paths escape their
    // blanks, so " - " only ever marks the end of the optional fields.
    enum Field : size_t { kMountID, kParentID, kDevice, kRoot, kMountPoint, kOptions, kFieldsBeforeOptional };
    enum FieldAfterSeparator : size_t { kType, kSource, kSuperOptions, kFieldsAfterSeparatorRead };
    constexpr std::string_view separator = " - ";

    std::vector<MountinfoEntry> entries;
    for (std::string_view line : TextDecoding::Lines(text)) {
        const auto at = line.find(separator);
        if (at == std::string_view::npos) continue;
        std::array<std::string_view, kFieldsBeforeOptional> fields;
        std::array<std::string_view, kFieldsAfterSeparatorRead> after;
        if (TextDecoding::splitFields(line.substr(0, at), fields) < kFieldsBeforeOptional ||
            TextDecoding::splitFields(line.substr(at + separator.size()), after) < kSuperOptions) {
            continue;
        }
        std::string_view minorText = fields[kDevice];
        std::string_view majorText = TextDecoding::takeUntil(minorText, ':');
        auto major = TextDecoding::parseNumber<uint32_t>(majorText);
        auto minor = TextDecoding::parseNumber<uint32_t>(minorText);
        if (!major || !minor) continue;
        MountinfoEntry entry;
        entry.major = *major;
        entry.minor = *minor;
        entry.root = MountinfoDecoding::unescapeOctal(fields[kRoot]);
        entry.mountPoint = MountinfoDecoding::unescapeOctal(fields[kMountPoint]);
        entry.fileSystemType = MountinfoDecoding::unescapeOctal(after[kType]);
        entry.source = MountinfoDecoding::unescapeOctal(after[kSource]);
        entry.readOnly = hasReadOnly(fields[kOptions]) || hasReadOnly(after[kSuperOptions]);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<MountinfoEntry> MountinfoDecoding::localVolumes(const std::vector<MountinfoEntry>& entries) {
    std::vector<MountinfoEntry> volumes;
    std::map<uint64_t, size_t> byDevice;  // device → position in `volumes`
    for (const auto& entry : entries) {
        if (!entry.source.starts_with("/dev/") || isExcludedType(entry.fileSystemType)) continue;
        if (entry.readOnly && entry.source.starts_with("/dev/loop")) continue;
        const uint64_t device = (uint64_t(entry.major) << 32) | entry.minor;
        auto [found, inserted] = byDevice.emplace(device, volumes.size());
        if (inserted) {
            volumes.push_back(entry);
        } else if (volumes[found->second].root != "/" && entry.root == "/") {
            // A bind mount of a directory came first; the whole file system wins.
            volumes[found->second] = entry;
        }
    }
    return volumes;
}

}  // namespace orv
