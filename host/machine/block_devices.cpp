#include "host/machine/block_devices.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <system_error>

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

// ID PARENT MAJOR:MINOR ROOT POINT OPTIONS [TAG...] - TYPE SOURCE OPTIONS
std::optional<dev_t> DeviceOfMount(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word >> word >> word;
    const std::optional<dev_t> device = ParseNumber(word);
    if (!device || major(*device) != 0) {
        return device;
    }
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
    std::string mounts;
    // What could be read is used.
    LoadStringFromFile(mountInfo, mounts);
    std::istringstream lines(mounts);
    std::vector<BlockDevice> disks;
    for (std::string line; std::getline(lines, line);) {
        const std::optional<dev_t> device = DeviceOfMount(line);
        const std::optional<BlockDevice> disk = device ? DiskOf(*device, sysRoot) : std::nullopt;
        std::error_code ignored;
        if (disk && fs::exists(ReadAheadFile(*disk, sysRoot), ignored)) {
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

std::string ReadAheadFile(const BlockDevice& disk, const std::string& sysRoot) {
    return sysRoot + "/class/bdi/" + Number(disk.major, disk.minor) + "/read_ahead_kb";
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
