#include "Sampling/MountinfoDecoding.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

namespace orv {

namespace {

std::vector<std::string_view> split(std::string_view line) {
    std::vector<std::string_view> fields;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && line[i] == ' ') ++i;
        if (i == line.size()) break;
        size_t start = i;
        while (i < line.size() && line[i] != ' ') ++i;
        fields.push_back(line.substr(start, i - start));
    }
    return fields;
}

bool isOctal(char c) { return c >= '0' && c <= '7'; }
int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Types that never hold a user's files on a local disk.
constexpr std::array<std::string_view, 27> excludedTypes = {
    // pseudo and memory file systems
    "proc", "sysfs", "tmpfs", "devtmpfs", "devpts", "cgroup", "cgroup2", "overlay", "autofs", "mqueue",
    "debugfs", "tracefs", "securityfs", "pstore", "bpf", "configfs", "fusectl", "hugetlbfs", "binfmt_misc",
    "efivarfs", "ramfs", "rpc_pipefs", "nsfs",
    // network file systems that may name a /dev path as their source
    "nfs", "nfs4", "cifs", "smb3",
};

bool isExcludedType(std::string_view type) {
    if (std::find(excludedTypes.begin(), excludedTypes.end(), type) != excludedTypes.end()) return true;
    // FUSE file systems are network or virtual ones (sshfs, rclone, gvfs)
    // except fuseblk, which drives a local block device (ntfs-3g, exfat).
    return type.starts_with("fuse.") || type == "fuse";
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

std::string MountinfoDecoding::unescapeHex(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' && hexValue(text[i + 2]) >= 0 &&
            hexValue(text[i + 3]) >= 0) {
            out.push_back(char((hexValue(text[i + 2]) << 4) | hexValue(text[i + 3])));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::vector<MountinfoEntry> MountinfoDecoding::entries(std::string_view text) {
    std::vector<MountinfoEntry> entries;
    while (!text.empty()) {
        auto newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);

        // mount-id parent-id major:minor root mount-point options
        // [optional fields…] - type source super-options
        auto fields = split(line);
        auto separator = std::find(fields.begin(), fields.end(), std::string_view("-"));
        if (fields.size() < 6 || separator == fields.end() || separator - fields.begin() < 6 ||
            fields.end() - separator < 3) {
            continue;
        }
        auto device = fields[2];
        auto colon = device.find(':');
        if (colon == std::string_view::npos) continue;
        MountinfoEntry entry;
        auto [majorEnd, majorError] = std::from_chars(device.data(), device.data() + colon, entry.major);
        auto [minorEnd, minorError] =
            std::from_chars(device.data() + colon + 1, device.data() + device.size(), entry.minor);
        if (majorError != std::errc() || minorError != std::errc() || majorEnd != device.data() + colon ||
            minorEnd != device.data() + device.size()) {
            continue;
        }
        entry.root = unescapeOctal(fields[3]);
        entry.mountPoint = unescapeOctal(fields[4]);
        entry.fileSystemType = unescapeOctal(separator[1]);
        entry.source = unescapeOctal(separator[2]);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<MountinfoEntry> MountinfoDecoding::localVolumes(const std::vector<MountinfoEntry>& entries) {
    std::vector<MountinfoEntry> volumes;
    std::map<uint64_t, size_t> byDevice;  // device → position in `volumes`
    for (const auto& entry : entries) {
        if (!entry.source.starts_with("/dev/") || isExcludedType(entry.fileSystemType)) continue;
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
