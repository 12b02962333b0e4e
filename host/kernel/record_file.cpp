// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/record_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "host/kernel/control_text.h"
#include "host/kernel/scene_line.h"
#include "host/runtime/confined_folder.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view HEADER = "workingset-record 1\n";
constexpr std::string_view PAGES_KEY = "pages ";
constexpr std::string_view OLDER_LINE = "older\n";
// What is as long as this holds no record.
constexpr size_t TOO_LONG = 4096;

constexpr std::array<std::string_view, 3> STATE_TEXTS = {"absent", "uptodate", "older"};

// The path comes out of a command: it must not lead out of the record directory, whatever stands there.
int OpenRecord(const std::string& path, int accessMode, UniqueFd& file) {
    return ConfinedFolder(std::string(RECORD_DIRECTORY)).Open(path, accessMode, file);
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

}  // namespace

std::string_view RecordStateText(RecordState state) {
    return STATE_TEXTS[static_cast<size_t>(state)];
}

std::optional<RecordState> RecordStateFromText(std::string_view text) {
    for (const RecordState state : {RecordState::ABSENT, RecordState::UPTODATE, RecordState::OLDER}) {
        if (text == RecordStateText(state)) {
            return state;
        }
    }
    return std::nullopt;
}

std::optional<Record> ParseRecordText(std::string_view text) {
    if (!TakePrefix(text, HEADER) || !TakePrefix(text, PAGES_KEY)) {
        return std::nullopt;
    }
    const size_t lineEnd = text.find('\n');
    if (lineEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const std::optional<uint64_t> pages = ParseNumber<uint64_t>(text.substr(0, lineEnd));
    text.remove_prefix(lineEnd + 1);
    const bool older = TakePrefix(text, OLDER_LINE);
    if (!pages || *pages == 0 || !text.empty()) {
        return std::nullopt;
    }
    return Record{older ? RecordState::OLDER : RecordState::UPTODATE, *pages};
}

std::optional<Record> LoadRecordFile(const std::string& path) {
    UniqueFd file;
    if (OpenRecord(path, O_RDONLY, file) != 0) {
        return std::nullopt;
    }
    std::array<char, TOO_LONG> buffer;
    size_t size = 0;
    while (size < buffer.size()) {
        const ssize_t got = read(file.Get(), buffer.data() + size, buffer.size() - size);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        size += static_cast<size_t>(got);
    }
    // What fills the buffer may go on behind it.
    return size < buffer.size() ? ParseRecordText(std::string_view(buffer.data(), size)) : std::nullopt;
}

int SaveRecordFile(const std::string& path, const Record& record) {
    UniqueFd file;
    if (const int error = OpenRecord(path, O_WRONLY, file); error != 0) {
        return error;
    }
    std::string text(HEADER);
    text.append(PAGES_KEY).append(std::to_string(record.pages)).append("\n");
    if (record.state == RecordState::OLDER) {
        text.append(OLDER_LINE);
    }
    // Written over the old text and cut afterwards: a full disk then leaves the old record rather than none.
    ssize_t written = 0;
    do {
        written = pwrite(file.Get(), text.data(), text.size(), 0);
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        return errno;
    }
    if (static_cast<size_t>(written) != text.size()) {
        return EIO;
    }
    return ftruncate(file.Get(), static_cast<off_t>(text.size())) == 0 ? 0 : errno;
}

}  // namespace ZYRA::Host
