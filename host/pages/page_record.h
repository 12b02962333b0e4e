// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/pages/page_set.h"

namespace ZYRA::Host {

// What tells whether a file is the one that it was. See record_check.h.
struct FileIdentity {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;  // In bytes.
    int64_t mtimeNs = 0;

    bool operator==(const FileIdentity&) const = default;
};

// Folders and links are what was read on the way to files: looked at ahead, they need not be read any more. They have
// no pages, and of their identity only device and inode are kept.
enum class FileKind : uint8_t { REGULAR, FOLDER, LINK };

struct RecordedFile {
    FileKind kind = FileKind::REGULAR;
    FileIdentity identity;
    std::string path;  // Absolute.

    bool operator==(const RecordedFile&) const = default;
};

struct RecordedRange {
    uint32_t file = 0;  // An index into the record's files.
    PageRange pages;

    bool operator==(const RecordedRange&) const = default;
};

// The file pages that a scene touches.
struct PageRecord {
    int64_t madeAtS = 0;   // Seconds since the epoch.
    bool isOlder = false;  // Known not to hold any more, whatever the files look like.
    std::vector<RecordedFile> files;
    std::vector<RecordedRange> ranges;  // In the order of the first touch.

    // How many pages the ranges hold together.
    uint64_t Pages() const;
    // How many regular files there are.
    uint64_t RegularFiles() const;

    bool operator==(const PageRecord&) const = default;
};

// The pages that a file of so many bytes has; none for a size below 0.
constexpr uint64_t PagesOf(int64_t bytes) {
    return bytes <= 0 ? 0 : (static_cast<uint64_t>(bytes) - 1) / BYTES_PER_PAGE + 1;
}

// A record beyond these is refused, whoever made it.
constexpr size_t MOST_RECORD_BYTES = size_t{4} << 20;
constexpr uint64_t MOST_RECORD_PAGES = uint64_t{1} << 28;
constexpr size_t LONGEST_RECORDED_PATH = 4096;

// The bytes of a record; docs/formats.md tells what they are. Each record has one text and each text one record.
// REQUIRES: what DecodeRecord demands.
std::string EncodeRecord(const PageRecord& record);

// Reads what EncodeRecord has written. Returns nothing, and sets `reason` to a few words, for anything else: damage of
// whatever kind, an unknown version, and what is no record although its checksum is right. A record that is returned
// has
//   - files of different identity, none smaller than nothing, with an absolute path without zero bytes,
//   - ranges of at least one page that lie within their file, and no page of a file twice,
// and is within the bounds above.
std::optional<PageRecord> DecodeRecord(std::string_view text, std::string& reason);

// The text of a record with this body: its first line and the right checksum before it.
std::string SealRecordBody(std::string_view body);

// Where the body begins in the text of a record.
constexpr size_t RECORD_BODY_OFFSET = 22;

}  // namespace ZYRA::Host
