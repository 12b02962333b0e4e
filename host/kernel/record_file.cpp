#include "host/kernel/record_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "host/kernel/control_text.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view HEADER = "workingset-record 1\n";
constexpr std::string_view PAGES_KEY = "pages ";
constexpr std::string_view OLDER_LINE = "older\n";
constexpr size_t LARGEST_FILE = 4096;

constexpr std::array<std::string_view, 3> STATE_TEXTS = {"absent", "uptodate", "older"};

// The path comes out of a command: it must not lead out of the record directory.
bool LeadsUpwards(const std::string& path) {
    return path.find("/../") != std::string::npos || path.ends_with("/..");
}

// Opens a regular file, and nothing else: neither a link nor a pipe that would wait for its other end. On failure errno
// is set.
UniqueFd OpenRegular(const std::string& path, int accessMode) {
    if (LeadsUpwards(path)) {
        errno = ENOENT;
        return UniqueFd();
    }
    UniqueFd file;
    do {
        file.Reset(open(path.c_str(), accessMode | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    } while (!file.Valid() && errno == EINTR);
    struct stat info {};
    if (!file.Valid() || fstat(file.Get(), &info) != 0) {
        return UniqueFd();
    }
    if (!S_ISREG(info.st_mode)) {
        errno = EINVAL;
        return UniqueFd();
    }
    return file;
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

std::optional<Record> ParseRecord(std::string_view text) {
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

std::optional<Record> LoadRecordFile(const std::string& path) {
    const UniqueFd file = OpenRegular(path, O_RDONLY);
    if (!file.Valid()) {
        return std::nullopt;
    }
    std::array<char, LARGEST_FILE> buffer;
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
    return ParseRecord(std::string_view(buffer.data(), size));
}

int SaveRecordFile(const std::string& path, const Record& record) {
    const UniqueFd file = OpenRegular(path, O_WRONLY);
    if (!file.Valid()) {
        return errno;
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
