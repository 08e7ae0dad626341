#include <gtest/gtest.h>

#include <cstdio>

#include <algorithm>

#include <utility>

#include <sstream>

#include <map>

#include <cerrno>
#include <fstream>
#include <thread>

#include "Sampling/DiskPort.h"
#include "Sampling/DiskSampler.h"
#include "core/SamplingError.h"
#include "support/TempDir.h"

namespace orv {
namespace {

uint64_t device(uint32_t major, uint32_t minor) { return (uint64_t(major) << 32) | minor; }

// A machine with an NVMe disk (two partitions), a SATA disk, a loop device
// holding a disk image, device-mapper on top of a partition, and md.
void buildBlockTree(const test::TempDir& root) {
    root.symlink("sys/block/nvme0n1", "../devices/pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0/nvme0n1");
    root.symlink("sys/block/sda", "../devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda");
    root.symlink("sys/block/loop0", "../devices/virtual/block/loop0");
    root.symlink("sys/block/dm-0", "../devices/virtual/block/dm-0");
    root.symlink("sys/block/md0", "../devices/virtual/block/md0");
    root.write("proc/diskstats",
               " 259       0 nvme0n1 100 0 1000 0 50 0 2000 0 0 0 0 0 0 0 0 0 0\n"
               " 259       1 nvme0n1p1 10 0 400 0 5 0 800 0 0 0 0 0 0 0 0 0 0\n"
               " 259       2 nvme0n1p2 10 0 600 0 5 0 1200 0 0 0 0 0 0 0 0 0 0\n"
               "   8       0 sda 1 0 10 0 1 0 20 0 0 0 0\n"
               "   8       1 sda1 1 0 10 0 1 0 20 0 0 0 0\n"
               "   7       0 loop0 9 0 99999 0 9 0 99999 0 0 0 0\n"
               " 253       0 dm-0 9 0 555 0 9 0 555 0 0 0 0\n"
               "   9       0 md0 9 0 777 0 9 0 777 0 0 0 0\n");
}

TEST(LinuxDiskPort, CountsOnlyWholePhysicalDisks) {
    test::TempDir root;
    buildBlockTree(root);
    auto port = makeDiskPort(root.path());
    CountedDeviceCache<uint64_t> counted;
    counted.beginPass();
    auto counters = port->readBlockCounters(counted);
    counted.endPass();
    ASSERT_EQ(counters.size(), 2u);
    EXPECT_EQ(counters.at(device(259, 0)), (BlockCounters{1000u * 512, 2000u * 512}));
    EXPECT_EQ(counters.at(device(8, 0)), (BlockCounters{10u * 512, 20u * 512}));
    // The left-out devices are remembered so sysfs is not asked again.
    EXPECT_TRUE(counted.contains(device(7, 0)));
    EXPECT_TRUE(counted.contains(device(259, 1)));
}

TEST(LinuxDiskPort, MissingDiskstatsIsAFileReadErrorNamingThePath) {
    test::TempDir root;
    CountedDeviceCache<uint64_t> counted;
    try {
        (void)makeDiskPort(root.path())->readBlockCounters(counted);
        FAIL() << "expected a SamplingError";
    } catch (const SamplingError& error) {
        EXPECT_EQ(error, SamplingError::fileRead((root.path() / "proc/diskstats").string(), ENOENT));
    }
}

TEST(LinuxDiskPort, MissingMountinfoIsAListingError) {
    test::TempDir root;
    EXPECT_FALSE(makeDiskPort(root.path())->listVolumes());
}

void buildMounts(const test::TempDir& root) {
    root.mkdir("data disk");
    root.mkdir("boot");
    root.mkdir("srv");
    root.write("proc/self/mountinfo",
               "22 27 0:21 / /proc rw - proc proc rw\n"
               "27 1 259:2 / / rw,relatime - ext4 /dev/nvme0n1p2 rw\n"
               "28 27 259:1 / /boot rw - vfat /dev/nvme0n1p1 rw\n"
               "29 27 8:1 / /data\\040disk rw - ext4 /dev/sda1 rw\n"
               "30 27 8:1 /exports /srv rw - ext4 /dev/sda1 rw\n"
               "31 27 0:40 / /mnt/nas rw - nfs4 nas:/vol rw\n");
    root.symlink("sys/dev/block/259:2", "../../devices/pci0000:00/nvme/nvme0/nvme0n1/nvme0n1p2");
    root.symlink("sys/dev/block/259:1", "../../devices/pci0000:00/nvme/nvme0/nvme0n1/nvme0n1p1");
    root.symlink("dev/disk/by-uuid/1b2c-root", "../../nvme0n1p2");
    root.symlink("dev/disk/by-uuid/A1B2-C3D4", "../../nvme0n1p1");
    root.symlink("dev/disk/by-uuid/55aa-data", "../../sda1");
    root.symlink("dev/disk/by-label/My\\x20Data", "../../sda1");
}

TEST(LinuxDiskPort, ListsLocalVolumesWithEscapesUndoneAndBindMountsOnce) {
    test::TempDir root;
    buildMounts(root);
    auto paths = makeDiskPort(root.path())->listVolumes();
    ASSERT_TRUE(paths);
    EXPECT_EQ(*paths, (std::vector<std::string>{"/", "/boot", "/data disk"}));
}

TEST(LinuxDiskPort, VolumeIdentityFromUdevLinks) {
    test::TempDir root;
    buildMounts(root);
    auto port = makeDiskPort(root.path());
    ASSERT_TRUE(port->listVolumes());
    auto rootValues = port->resourceValues("/");
    ASSERT_TRUE(rootValues);
    EXPECT_EQ(rootValues->uuid, "1b2c-root");
    EXPECT_FALSE(rootValues->name);  // no label: the sampler names it after the path
    EXPECT_EQ(rootValues->isLocal, true);
    EXPECT_FALSE(rootValues->importantCapacity);
    EXPECT_GT(*rootValues->totalCapacity, 0);
    // sda1 has no sys/dev/block link here; its source path names it.
    auto data = port->resourceValues("/data disk");
    ASSERT_TRUE(data);
    EXPECT_EQ(data->uuid, "55aa-data");
    EXPECT_EQ(data->name, "My Data");
}

TEST(LinuxDiskPort, SamplerOrdersRootFirstThenByName) {
    test::TempDir root;
    buildMounts(root);
    root.write("proc/diskstats", "");
    DiskSampler sampler(makeDiskPort(root.path()));
    auto volumes = sampler.sampleNow().volumes;
    ASSERT_EQ(volumes.size(), 3u);
    EXPECT_EQ(volumes[0].id, "1b2c-root");
    EXPECT_EQ(volumes[0].name, "/");
    EXPECT_EQ(volumes[1].name, "boot");
    EXPECT_EQ(volumes[2].name, "My Data");
}

TEST(LinuxDiskPort, SamplerWithoutDiskstatsThrowsRatherThanReportingNoThroughput) {
    test::TempDir root;
    buildMounts(root);
    DiskSampler sampler(makeDiskPort(root.path()));
    EXPECT_THROW(sampler.sampleNow(), SamplingError);
}

TEST(LinuxDiskPort, UnmountedPathHasNoValues) {
    test::TempDir root;
    auto port = makeDiskPort(root.path());
    EXPECT_FALSE(port->resourceValues("/no/such/mount"));
    EXPECT_FALSE(port->freeBytes("/no/such/mount"));
}

// df's own rule: `df -x squashfs -x tmpfs -x devtmpfs` lists one line per
// mounted file system; those on block devices are the volumes, with the
// same size to the kilobyte.
TEST(LinuxDiskPort, LiveVolumesAreDfsBlockDeviceFileSystems) {
    FILE* pipe = popen("df -P -k -x squashfs -x tmpfs -x devtmpfs 2>/dev/null", "r");
    ASSERT_NE(pipe, nullptr);
    std::map<std::string, uint64_t> df;  // mount point → 1K-blocks
    char line[4096];
    bool header = true;
    while (fgets(line, sizeof line, pipe)) {
        if (std::exchange(header, false)) continue;
        std::istringstream fields(line);
        std::string source, used, available, percent, mountPoint;
        uint64_t blocks = 0;
        fields >> source >> blocks >> used >> available >> percent;
        std::getline(fields >> std::ws, mountPoint);
        if (!source.starts_with("/dev/")) continue;
        if (source.starts_with("/dev/loop")) continue;  // df cannot tell read-only images; checked below
        df[mountPoint] = blocks;
    }
    if (pclose(pipe) == -1 || df.empty()) GTEST_SKIP() << "df lists no block-device file system here";
    auto port = makeDiskPort("/");
    auto paths = port->listVolumes();
    ASSERT_TRUE(paths);
    for (const auto& [mountPoint, blocks] : df) {
        SCOPED_TRACE(mountPoint);
        ASSERT_NE(std::find(paths->begin(), paths->end(), mountPoint), paths->end());
        auto values = port->resourceValues(mountPoint);
        ASSERT_TRUE(values && values->totalCapacity);
        EXPECT_EQ(uint64_t(*values->totalCapacity) / 1024, blocks);
    }
}

TEST(LinuxDiskPort, LiveRootVolumeComesFirst) {
    DiskSampler sampler(makeDiskPort("/"));
    auto volumes = sampler.sampleNow().volumes;
    if (volumes.empty()) GTEST_SKIP() << "no local block-device volume is mounted here";
    std::ifstream mountinfo("/proc/self/mountinfo");
    bool rootIsLocal = false;
    for (std::string line; std::getline(mountinfo, line);) {
        if (line.find(" / / ") != std::string::npos && line.find(" - ") != std::string::npos &&
            line.find(" /dev/", line.find(" - ")) != std::string::npos) {
            rootIsLocal = true;
        }
    }
    if (!rootIsLocal) GTEST_SKIP() << "the root file system is not on a block device here";
    EXPECT_EQ(sampler.baselines().count("/"), 1u);
    EXPECT_EQ(volumes[0].id, sampler.baselines().at("/").id);
}

}  // namespace
}  // namespace orv
