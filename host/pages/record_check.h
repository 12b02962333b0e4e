// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <vector>

#include "host/kernel/record_file.h"
#include "host/pages/page_record.h"

namespace ZYRA::Host {

// Whether a record still holds: each of its files must be the one that was recorded, by device, inode, size and time of
// the last change of its content. What this leaves open:
//   - A file that is written in place without a new size, and whose time is set back afterwards, passes for unchanged.
//     A record tells which pages to read ahead, not what is in them, so that the worst of it is reading too much.
//   - The number of a device without a fixed place (a mapper, an overlay, btrfs, tmpfs) may change when the machine
//     boots again, and only then, or when the file system is mounted again. All its files then count as changed, the
//     record is older and gets collected once more. The other way round, a number that has gone to another file system
//     is no risk: inode, size and time would have to be the same as well.

// What stands at a path, as a record keeps it; nothing for what is no regular file, folder or link.
std::optional<FileKind> KindOf(const struct stat& status);

// REQUIRES: KindOf says what it is.
FileIdentity IdentityOf(const struct stat& status);

// Whether this is the recorded file, and unchanged.
bool IsAsRecorded(const struct stat& status, const RecordedFile& file);

// The file that stands where the recorded one stood, a link at the end not followed; nothing when there is none of its
// kind. Thread-safe.
std::optional<FileIdentity> LookAtPath(const RecordedFile& file);

struct RecordCheck {
    std::vector<bool> isUnchanged;  // Of each of the record's files; folders and links always are.
    RecordState state;              // UPTODATE or OLDER.
};

// Compares each regular file of the record with what `look` finds of it; nothing is a file that is gone. The record is
// up to date when no file has changed and it was not known to be older.
RecordCheck CheckRecord(const PageRecord& record,
                        const std::function<std::optional<FileIdentity>(const RecordedFile&)>& look = LookAtPath);

}  // namespace ZYRA::Host
