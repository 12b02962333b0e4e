// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ZYRA::Host {

// What is known of a scene's pages: nothing, or a record that still holds, or one made before some of its files
// changed.
enum class RecordState : uint8_t { ABSENT, UPTODATE, OLDER };

// "absent", "uptodate", "older".
std::string_view RecordStateText(RecordState state);
std::optional<RecordState> RecordStateFromText(std::string_view text);

struct Record {
    RecordState state = RecordState::ABSENT;
    uint64_t pages = 0;
};

// A record file holds a few lines of text:
//   workingset-record 1
//   pages 5200
//   older               (only where the record was known to be older)
// The first line names the format and its version. Only files below the record directory are touched, and no link on
// the way from there is followed.

// The record that such a text holds, if it is one.
std::optional<Record> ParseRecordText(std::string_view text);

// The record in the file; nothing when there is no such regular file or it holds no record.
std::optional<Record> LoadRecordFile(const std::string& path);

// Replaces the content of an existing regular file; the file is never created. Returns 0 or an errno.
int SaveRecordFile(const std::string& path, const Record& record);

}  // namespace ZYRA::Host
