#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

// One line of Linux's proc/self/mountinfo (proc(5)), escapes undone.
struct MountinfoEntry {
    uint32_t major = 0;
    uint32_t minor = 0;
    std::string root;        // the directory of the file system mounted here ("/" unless a bind mount)
    std::string mountPoint;
    std::string fileSystemType;
    std::string source;
    bool readOnly = false;   // "ro" among the mount's or the superblock's options

    // The lines in file order; a malformed line is skipped.
    static std::vector<MountinfoEntry> decodeAll(std::string_view text);

    friend bool operator==(const MountinfoEntry&, const MountinfoEntry&) = default;
};

// The escapes of mount and device names, and which mounts are volumes.
struct MountinfoDecoding {
    // The kernel writes space, tab, newline and backslash in paths as
    // octal escapes (\040, \011, \012, \134).
    static std::string unescapeOctal(std::string_view text);

    // udev's /dev/disk/by-label names write unsafe bytes as \xHH.
    static std::string unescapeHex(std::string_view text);

    // The mounts that are local volumes, in file order: a file system on a
    // block device (a source under /dev/), not a pseudo, network or FUSE
    // network type, not a read-only image (squashfs, as snaps mount one per
    // revision, or anything read-only on a loop device), and each device
    // once (its mount of the whole file system preferred to bind mounts of a
    // directory in it). The same volumes `df -x squashfs -x tmpfs -x
    // devtmpfs` lists from block devices.
    static std::vector<MountinfoEntry> localVolumes(const std::vector<MountinfoEntry>& entries);
};

}  // namespace orv
