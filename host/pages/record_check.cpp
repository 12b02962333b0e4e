#include "host/pages/record_check.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "host/kernel/control_text.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr uint64_t NS_PER_S = 1000000000;
constexpr int64_t BYTES_PER_SECTOR = 512;  // Whatever the device's own sectors are.

int64_t SizeOfBlockDevice(dev_t device) {
    std::string text;
    const std::string number = std::to_string(major(device)) + ':' + std::to_string(minor(device));
    if (!LoadStringFromFile("/sys/dev/block/" + number + "/size", text)) {
        return 0;
    }
    const auto sectors = ParseNumber<int64_t>(std::string_view(text).substr(0, text.find('\n')));
    return sectors && *sectors >= 0 && *sectors <= INT64_MAX / BYTES_PER_SECTOR ? *sectors * BYTES_PER_SECTOR : 0;
}

}  // namespace

std::optional<FileKind> KindOf(const struct stat& status) {
    if (S_ISREG(status.st_mode)) {
        return FileKind::REGULAR;
    }
    return S_ISBLK(status.st_mode) ? std::optional(FileKind::BLOCK_DEVICE) : std::nullopt;
}

FileIdentity IdentityOf(const struct stat& status) {
    if (S_ISBLK(status.st_mode)) {
        return {status.st_rdev, 0, SizeOfBlockDevice(status.st_rdev), 0};
    }
    // A time that no clock shows is cut to what fits, always in the same way.
    const uint64_t mtimeNs = static_cast<uint64_t>(status.st_mtim.tv_sec) * NS_PER_S + status.st_mtim.tv_nsec;
    return {status.st_dev, status.st_ino, status.st_size, static_cast<int64_t>(mtimeNs)};
}

std::optional<FileIdentity> LookAtPath(const RecordedFile& file) {
    struct stat status = {};
    if (lstat(file.path.c_str(), &status) != 0 || KindOf(status) != file.kind) {
        return std::nullopt;
    }
    return IdentityOf(status);
}

RecordCheck CheckRecord(const PageRecord& record,
                        const std::function<std::optional<FileIdentity>(const RecordedFile&)>& look) {
    RecordCheck check;
    check.isUnchanged.reserve(record.files.size());
    for (const RecordedFile& file : record.files) {
        check.isUnchanged.push_back(look(file) == file.identity);
    }
    const bool holds = !record.isOlder && std::all_of(check.isUnchanged.begin(), check.isUnchanged.end(),
                                                      [](bool isUnchanged) { return isUnchanged; });
    check.state = holds ? RecordState::UPTODATE : RecordState::OLDER;
    return check;
}

}  // namespace ZYRA::Host
