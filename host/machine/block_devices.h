// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// A whole disk, or what stands for one: of a mapped or a loop device the device itself, not the disks below it.
struct BlockDevice {
    unsigned major;
    unsigned minor;
    std::string name;
};

// `sysRoot` is where sysfs is mounted. Nothing here is changed, and every function may be called from any thread.

// The disk of a device number as stat(2) gives it for a file: that of a partition is the disk it is on. Nothing for
// file systems that are on no block device or that number themselves.
std::optional<BlockDevice> DiskOf(dev_t device, const std::string& sysRoot = "/sys");

// The disks of all that is mounted, each once, in the order of the mounts; those without read-ahead of their own are
// left out. A file system that numbers itself is found by the device node that it was mounted from, which exists before
// the process enters the sandbox only.
std::vector<BlockDevice> MountedDisks(const std::string& sysRoot = "/sys",
                                      const std::string& mountInfo = "/proc/self/mountinfo");

// The disks that these are on in the end, each once: what is read from a mapped device is read from those below it as
// well. For a loop device there is none, since its file is on a disk that is mounted itself.
std::vector<BlockDevice> DisksBelow(const std::vector<BlockDevice>& disks, const std::string& sysRoot = "/sys");

// The settings that hold the read-ahead of all that is mounted, in KiB: those of the disks, and those of file systems
// with a read-ahead of their own, such as btrfs and those of networks.
std::vector<std::string> MountedReadAheadFiles(const std::string& sysRoot = "/sys",
                                               const std::string& mountInfo = "/proc/self/mountinfo");

// What has been read from the disk since it is there. Nothing for a disk that is gone.
std::optional<uint64_t> BytesRead(const BlockDevice& disk, const std::string& sysRoot = "/sys");

}  // namespace ZYRA::Host
