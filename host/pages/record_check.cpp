// SPDX-License-Identifier: Apache-2.0
#include "host/pages/record_check.h"

#include <algorithm>

namespace ZYRA::Host {

namespace {

constexpr uint64_t NS_PER_S = 1000000000;

}  // namespace

std::optional<FileKind> KindOf(const struct stat& status) {
    if (S_ISREG(status.st_mode)) {
        return FileKind::REGULAR;
    }
    if (S_ISDIR(status.st_mode)) {
        return FileKind::FOLDER;
    }
    return S_ISLNK(status.st_mode) ? std::optional(FileKind::LINK) : std::nullopt;
}

FileIdentity IdentityOf(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return {status.st_dev, status.st_ino, 0, 0};
    }
    // A time that no clock shows is cut to what fits, always in the same way.
    const uint64_t mtimeNs = static_cast<uint64_t>(status.st_mtim.tv_sec) * NS_PER_S + status.st_mtim.tv_nsec;
    return {status.st_dev, status.st_ino, status.st_size, static_cast<int64_t>(mtimeNs)};
}

bool IsAsRecorded(const struct stat& status, const RecordedFile& file) {
    return KindOf(status) == file.kind && IdentityOf(status) == file.identity;
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
        check.isUnchanged.push_back(file.kind != FileKind::REGULAR || look(file) == file.identity);
    }
    const bool holds = !record.isOlder && std::all_of(check.isUnchanged.begin(), check.isUnchanged.end(),
                                                      [](bool isUnchanged) { return isUnchanged; });
    check.state = holds ? RecordState::UPTODATE : RecordState::OLDER;
    return check;
}

}  // namespace ZYRA::Host
