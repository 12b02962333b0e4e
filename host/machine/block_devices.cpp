// SPDX-License-Identifier: Apache-2.0
#include "host/machine/block_devices.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

namespace fs = std::filesystem;

// Whatever the disk's own sectors are.
constexpr uint64_t BYTES_PER_SECTOR = 512;

std::string Number(unsigned major, unsigned minor) {
    return std::to_string(major) + ":" + std::to_string(minor);
}

std::optional<dev_t> ParseNumber(const std::string& text) {
    unsigned major = 0;
    unsigned minor = 0;
    if (std::sscanf(text.c_str(), "%u:%u", &major, &minor) != 2) {
        return std::nullopt;
    }
    return makedev(major, minor);
}

std::vector<std::string> LinesOf(const std::string& file) {
    std::string text;
    // What could be read is used.
    LoadStringFromFile(file, text);
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// ID PARENT MAJOR:MINOR ROOT POINT OPTIONS [TAG...] - TYPE SOURCE OPTIONS
std::optional<dev_t> NumberOfMount(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word >> word >> word;
    return ParseNumber(word);
}

std::optional<dev_t> DeviceOfMount(const std::string& line) {
    const std::optional<dev_t> device = NumberOfMount(line);
    if (!device || major(*device) != 0) {
        return device;
    }
    std::istringstream words(line);
    std::string word;
    while (words >> word && word != "-") {
    }
    struct stat status = {};
    const bool isNode =
        words >> word >> word && word.starts_with('/') && stat(word.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
    return isNode ? std::optional(status.st_rdev) : std::nullopt;
}

void AddOnce(const BlockDevice& disk, std::vector<BlockDevice>& disks) {
    if (std::none_of(disks.begin(), disks.end(), [&disk](const BlockDevice& other) {
            return other.major == disk.major && other.minor == disk.minor;
        })) {
        disks.push_back(disk);
    }
}

void AddDisksBelow(const BlockDevice& disk, const std::string& sysRoot, std::vector<BlockDevice>& found) {
    const fs::path folder = sysRoot + "/dev/block/" + Number(disk.major, disk.minor);
    std::error_code error;
    bool isStacked = fs::exists(folder / "loop/backing_file", error);
    for (fs::directory_iterator entry(folder / "slaves", error), end; !error && entry != end; entry.increment(error)) {
        isStacked = true;
        std::string number;
        LoadStringFromFile(entry->path() / "dev", number);
        const std::optional<dev_t> device = ParseNumber(number);
        if (const auto below = device ? DiskOf(*device, sysRoot) : std::nullopt) {
            AddDisksBelow(*below, sysRoot, found);
        }
    }
    if (!isStacked) {
        AddOnce(disk, found);
    }
}

}  // namespace

std::optional<BlockDevice> DiskOf(dev_t device, const std::string& sysRoot) {
    std::error_code error;
    fs::path folder = fs::canonical(sysRoot + "/dev/block/" + Number(major(device), minor(device)), error);
    if (error) {
        return std::nullopt;
    }
    if (fs::exists(folder / "partition", error)) {
        folder = folder.parent_path();
    }
    std::string number;
    if (!LoadStringFromFile(folder / "dev", number)) {
        return std::nullopt;
    }
    const std::optional<dev_t> disk = ParseNumber(number);
    return disk ? std::optional(BlockDevice{major(*disk), minor(*disk), folder.filename()}) : std::nullopt;
}

std::vector<BlockDevice> MountedDisks(const std::string& sysRoot, const std::string& mountInfo) {
    std::vector<BlockDevice> disks;
    for (const std::string& line : LinesOf(mountInfo)) {
        const std::optional<dev_t> device = DeviceOfMount(line);
        const std::optional<BlockDevice> disk = device ? DiskOf(*device, sysRoot) : std::nullopt;
        std::error_code ignored;
        if (disk && fs::exists(sysRoot + "/class/bdi/" + Number(disk->major, disk->minor), ignored)) {
            AddOnce(*disk, disks);
        }
    }
    return disks;
}

std::vector<BlockDevice> DisksBelow(const std::vector<BlockDevice>& disks, const std::string& sysRoot) {
    std::vector<BlockDevice> found;
    for (const BlockDevice& disk : disks) {
        AddDisksBelow(disk, sysRoot, found);
    }
    return found;
}

std::vector<std::string> MountedReadAheadFiles(const std::string& sysRoot, const std::string& mountInfo) {
    std::set<std::pair<unsigned, unsigned>> mounted;
    for (const BlockDevice& disk : MountedDisks(sysRoot, mountInfo)) {
        mounted.emplace(disk.major, disk.minor);
    }
    for (const std::string& line : LinesOf(mountInfo)) {
        if (const std::optional<dev_t> device = NumberOfMount(line); device && major(*device) == 0) {
            mounted.emplace(0, minor(*device));
        }
    }
    std::vector<std::string> files;
    std::error_code error;
    for (fs::directory_iterator entry(sysRoot + "/class/bdi", error), end; !error && entry != end;
         entry.increment(error)) {
        // One that is not called after a number is of some file system.
        const std::optional<dev_t> number = ParseNumber(entry->path().filename());
        if (!number || mounted.contains({major(*number), minor(*number)})) {
            files.push_back(entry->path() / "read_ahead_kb");
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::optional<uint64_t> BytesRead(const BlockDevice& disk, const std::string& sysRoot) {
    std::string text;
    if (!LoadStringFromFile(sysRoot + "/dev/block/" + Number(disk.major, disk.minor) + "/stat", text)) {
        return std::nullopt;
    }
    // Reads, reads that were merged, sectors read, ...
    std::istringstream words(text);
    uint64_t count = 0;
    words >> count >> count >> count;
    return words ? std::optional(count * BYTES_PER_SECTOR) : std::nullopt;
}

}  // namespace ZYRA::Host
