#include <gtest/gtest.h>

#include "Sampling/DiskstatsDecoding.h"
#include "Sampling/MountinfoDecoding.h"

namespace orv {
namespace {

TEST(DiskstatsEntry, ReadsDeviceNumbersNamesAndSectors) {
    std::vector<DiskstatsEntry> entries;
    DiskstatsEntry::decodeAll(
        " 259       0 nvme0n1 1000 0 8000 10 2000 0 16000 20 0 30 40 0 0 0 0 0 0\n"
        " 259       1 nvme0n1p1 10 0 80 1 20 0 160 2 0 3 4 0 0 0 0\n"
        "   7       0 loop0 5 0 40 0 0 0 0 0 0 0 0\n"
        " 253       0 dm-0 9 0 72 0 1 0 8 0 0 0 0\n",
        entries);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[0].name, "nvme0n1");
    EXPECT_EQ(entries[0].deviceID(), (uint64_t(259) << 32) | 0);
    EXPECT_EQ(entries[0].bytesRead(), 8000u * 512);
    EXPECT_EQ(entries[0].bytesWritten(), 16000u * 512);
    EXPECT_EQ(entries[1].deviceID(), (uint64_t(259) << 32) | 1);
}

TEST(DiskstatsEntry, ShortOrGarbageLinesAreSkipped) {
    std::vector<DiskstatsEntry> entries;
    DiskstatsEntry::decodeAll("8 0 sda 1 2 3\n8 16 sdb 1 0 x 0 0 0 0\n8 32 sdc 1 0 4 0 0 0 6 0\n", entries);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "sdc");
}

TEST(MountinfoDecoding, UndoesOctalEscapesInPaths) {
    auto entries = MountinfoEntry::decodeAll(
        "36 25 8:1 / /media/My\\040Disk rw,relatime shared:1 - ext4 /dev/sdb1 rw\n");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].mountPoint, "/media/My Disk");
    EXPECT_EQ(entries[0].major, 8u);
    EXPECT_EQ(entries[0].minor, 1u);
    EXPECT_EQ(entries[0].fileSystemType, "ext4");
    EXPECT_EQ(entries[0].source, "/dev/sdb1");
}

TEST(MountinfoDecoding, OptionalFieldsBeforeTheSeparatorAreAllowed) {
    auto entries = MountinfoEntry::decodeAll("1 0 8:2 / / rw master:1 shared:2 unbindable - xfs /dev/sda2 rw\n");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].fileSystemType, "xfs");
}

TEST(MountinfoDecoding, MalformedLinesAreSkipped) {
    auto entries = MountinfoEntry::decodeAll("garbage\n1 0 8:x / / rw - ext4 /dev/sda rw\n1 0 8:1 / / rw ext4\n");
    EXPECT_TRUE(entries.empty());
}

TEST(MountinfoDecoding, UndoesUdevHexEscapes) {
    EXPECT_EQ(MountinfoDecoding::unescapeHex("My\\x20Disk\\x2f2"), "My Disk/2");
    EXPECT_EQ(MountinfoDecoding::unescapeHex("trailing\\x2"), "trailing\\x2");
}

TEST(MountinfoDecoding, LocalVolumesLeaveOutPseudoNetworkAndFuseNetworkTypes) {
    auto entries = MountinfoEntry::decodeAll(
        "22 27 0:21 / /proc rw - proc proc rw\n"
        "27 1 254:0 / / rw - ext4 /dev/vda rw\n"
        "30 27 0:27 / /run rw - tmpfs tmpfs rw\n"
        "40 27 0:50 / /mnt/nas rw - nfs4 server:/export rw\n"
        "41 27 0:51 / /mnt/ssh rw - fuse.sshfs user@host:/ rw\n"
        "42 27 8:17 / /mnt/win rw - fuseblk /dev/sdb1 rw\n"
        "43 27 0:60 / /mnt/smb rw - cifs //server/share rw\n");
    auto volumes = MountinfoDecoding::localVolumes(entries);
    ASSERT_EQ(volumes.size(), 2u);
    EXPECT_EQ(volumes[0].mountPoint, "/");
    EXPECT_EQ(volumes[1].mountPoint, "/mnt/win");
}

TEST(MountinfoDecoding, ReadOnlyImagesAreNotVolumes) {
    auto entries = MountinfoEntry::decodeAll(
        "27 1 254:0 / / rw - ext4 /dev/vda rw\n"
        "60 27 7:1 / /snap/core22/1380 ro,nodev,relatime shared:30 - squashfs /dev/loop1 ro,errors=continue\n"
        "61 27 7:2 / /snap/firefox/4173 ro,nodev,relatime shared:31 - squashfs /dev/loop2 ro\n"
        "62 27 7:3 / /mnt/image rw,relatime - ext4 /dev/loop3 ro\n"
        "63 27 7:4 / /mnt/scratch rw,relatime - ext4 /dev/loop4 rw\n"
        "64 27 8:17 / /mnt/archive ro,relatime - ext4 /dev/sdb1 ro\n"
        "65 27 11:0 / /media/cdrom ro,relatime - iso9660 /dev/sr0 ro\n");
    auto volumes = MountinfoDecoding::localVolumes(entries);
    std::vector<std::string> paths;
    for (const auto& volume : volumes) paths.push_back(volume.mountPoint);
    // A read-write image and read-only real disks stay.
    EXPECT_EQ(paths, (std::vector<std::string>{"/", "/mnt/scratch", "/mnt/archive", "/media/cdrom"}));
    EXPECT_TRUE(entries[2].readOnly);
    EXPECT_TRUE(entries[3].readOnly);  // read-only by the superblock's options
    EXPECT_FALSE(entries[4].readOnly);
}

TEST(MountinfoDecoding, BindMountsOfOneDeviceCountOnce) {
    auto entries = MountinfoEntry::decodeAll(
        "50 27 8:3 /srv/data /var/data rw - ext4 /dev/sda3 rw\n"
        "51 27 8:3 / /srv rw - ext4 /dev/sda3 rw\n"
        "52 27 8:3 / /mnt/again rw - ext4 /dev/sda3 rw\n");
    auto volumes = MountinfoDecoding::localVolumes(entries);
    ASSERT_EQ(volumes.size(), 1u);
    EXPECT_EQ(volumes[0].mountPoint, "/srv");
}

}  // namespace
}  // namespace orv
