// SPDX-License-Identifier: Apache-2.0
#include "host/pages/page_record.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace ZYRA::Host {

namespace {

constexpr std::string_view FORMAT = "page-record ";
constexpr std::string_view VERSION = "1\n";
constexpr size_t CHECKSUM_BYTES = 8;
constexpr size_t HEADER_BYTES = FORMAT.size() + VERSION.size();
static_assert(RECORD_BODY_OFFSET == HEADER_BYTES + CHECKSUM_BYTES);

constexpr uint64_t OLDER_FLAG = 1;
// The least that one of them takes, which bounds how many there can be in what is left.
constexpr size_t LEAST_FILE_BYTES = 5;
constexpr size_t LEAST_RANGE_BYTES = 2;

// FNV-1a, 64 bits. Each step can be undone, so that two texts of which one byte differs never have the same sum.
uint64_t ChecksumOf(std::string_view body) {
    constexpr uint64_t BASIS = 0xcbf29ce484222325;
    constexpr uint64_t PRIME = 0x100000001b3;
    uint64_t sum = BASIS;
    for (const std::string_view part : {FORMAT, VERSION, body}) {
        for (const char byte : part) {
            sum = (sum ^ static_cast<unsigned char>(byte)) * PRIME;
        }
    }
    return sum;
}

// Small numbers of either sign as small numbers.
uint64_t ZigZag(int64_t number) {
    return (static_cast<uint64_t>(number) << 1) ^ (number < 0 ? UINT64_MAX : 0);
}

int64_t UnZigZag(uint64_t code) {
    return static_cast<int64_t>((code >> 1) ^ ((code & 1) != 0 ? UINT64_MAX : 0));
}

// Seven bits a byte, the lowest first, the highest bit set on all but the last.
void PutNumber(std::string& text, uint64_t number) {
    for (; number >= 0x80; number >>= 7) {
        text += static_cast<char>((number & 0x7F) | 0x80);
    }
    text += static_cast<char>(number);
}

// Where ranges are expected to begin: each file goes on where its last range ended, and the file is said where it
// changes. The encoder and the decoder keep the same.
struct RangePlace {
    explicit RangePlace(size_t files) : ends(files, 0) {}

    std::vector<uint64_t> ends;
    uint64_t file = UINT64_MAX;
};

class BodyReader {
public:
    explicit BodyReader(std::string_view body) : rest_(body) {}

    // What was read so far goes into `record`. Returns "" or why this is no body of a record.
    std::string_view Read(PageRecord& record) {
        uint64_t flags = 0;
        uint64_t madeAt = 0;
        if (!TakeNumber(flags) || flags > OLDER_FLAG || !TakeNumber(madeAt)) {
            return "bad head";
        }
        record.isOlder = flags == OLDER_FLAG;
        record.madeAtS = UnZigZag(madeAt);
        std::string_view reason = ReadFiles(record.files);
        reason = reason.empty() ? ReadRanges(record) : reason;
        return reason.empty() && !rest_.empty() ? "bytes behind its end" : reason;
    }

private:
    bool TakeNumber(uint64_t& number) {
        number = 0;
        for (unsigned shift = 0; shift < 64 && !rest_.empty(); shift += 7) {
            const uint64_t byte = static_cast<unsigned char>(rest_.front());
            rest_.remove_prefix(1);
            number |= (byte & 0x7F) << shift;
            if ((byte & 0x80) == 0) {
                // One way to write a number: no zeros on top, and nothing beyond 64 bits.
                return (byte != 0 || shift == 0) && (shift < 63 || byte == 1);
            }
        }
        return false;
    }

    bool TakeCount(size_t leastBytes, uint64_t& count) {
        return TakeNumber(count) && count <= rest_.size() / leastBytes;
    }

    std::string_view ReadFiles(std::vector<RecordedFile>& files) {
        uint64_t count = 0;
        if (!TakeCount(LEAST_FILE_BYTES, count)) {
            return "bad number of files";
        }
        files.resize(count);
        for (RecordedFile& file : files) {
            if (const std::string_view reason = ReadFile(file); !reason.empty()) {
                return reason;
            }
        }
        std::vector<std::tuple<FileKind, uint64_t, uint64_t>> keys;
        keys.reserve(files.size());
        for (const auto& [kind, identity, path] : files) {
            keys.emplace_back(kind, identity.device, identity.inode);
        }
        std::sort(keys.begin(), keys.end());
        return std::adjacent_find(keys.begin(), keys.end()) == keys.end() ? "" : "a file twice";
    }

    std::string_view ReadFile(RecordedFile& file) {
        uint64_t kind = 0;
        uint64_t size = 0;
        uint64_t mtime = 0;
        if (!TakeNumber(kind) || kind > static_cast<uint64_t>(FileKind::LINK) || !TakeNumber(file.identity.device) ||
            !TakeNumber(file.identity.inode)) {
            return "bad file";
        }
        file.kind = static_cast<FileKind>(kind);
        if (file.kind == FileKind::REGULAR && (!TakeNumber(size) || size > INT64_MAX || !TakeNumber(mtime))) {
            return "bad file";
        }
        file.identity.size = static_cast<int64_t>(size);
        file.identity.mtimeNs = UnZigZag(mtime);
        uint64_t length = 0;
        if (!TakeCount(1, length) || length > LONGEST_RECORDED_PATH) {
            return "bad length of a path";
        }
        file.path = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return file.path.starts_with('/') && file.path.find('\0') == std::string::npos ? "" : "bad path";
    }

    std::string_view ReadRanges(PageRecord& record) {
        uint64_t count = 0;
        if (!TakeCount(LEAST_RANGE_BYTES, count)) {
            return "bad number of ranges";
        }
        record.ranges.resize(count);
        RangePlace place(record.files.size());
        uint64_t pages = 0;
        for (RecordedRange& range : record.ranges) {
            if (const std::string_view reason = ReadRange(record.files, place, range); !reason.empty()) {
                return reason;
            }
            pages += range.pages.count;
            if (pages > MOST_RECORD_PAGES) {
                return "too many pages";
            }
        }
        return HasPageTwice(record.ranges) ? "a page twice" : "";
    }

    std::string_view ReadRange(const std::vector<RecordedFile>& files, RangePlace& place, RecordedRange& range) {
        uint64_t head = 0;
        uint64_t step = 0;
        if (!TakeNumber(head)) {
            return "bad range";
        }
        if ((head & 1) != 0) {
            const uint64_t before = place.file;
            if (!TakeNumber(place.file) || place.file == before) {
                return "bad range";
            }
        }
        if (place.file >= files.size()) {
            return "a range of no file";
        }
        if (!TakeNumber(step)) {
            return "bad range";
        }
        uint64_t& end = place.ends[place.file];
        range.file = static_cast<uint32_t>(place.file);
        range.pages = {end + static_cast<uint64_t>(UnZigZag(step)), (head >> 1) + 1};
        const uint64_t filePages = PagesOf(files[place.file].identity.size);
        if (range.pages.first >= filePages || range.pages.count > filePages - range.pages.first) {
            return "a range beyond the end of its file";
        }
        end = range.pages.first + range.pages.count;
        return "";
    }

    static bool HasPageTwice(std::vector<RecordedRange> ranges) {
        std::sort(ranges.begin(), ranges.end(), [](const RecordedRange& left, const RecordedRange& right) {
            return std::tie(left.file, left.pages.first) < std::tie(right.file, right.pages.first);
        });
        const auto overlaps = [](const RecordedRange& left, const RecordedRange& right) {
            return left.file == right.file && right.pages.first - left.pages.first < left.pages.count;
        };
        return std::adjacent_find(ranges.begin(), ranges.end(), overlaps) != ranges.end();
    }

    std::string_view rest_;
};

}  // namespace

uint64_t PageRecord::Pages() const {
    uint64_t pages = 0;
    for (const RecordedRange& range : ranges) {
        pages += range.pages.count;
    }
    return pages;
}

uint64_t PageRecord::RegularFiles() const {
    const auto count = std::count_if(files.begin(), files.end(),
                                     [](const RecordedFile& file) { return file.kind == FileKind::REGULAR; });
    return static_cast<uint64_t>(count);
}

std::string SealRecordBody(std::string_view body) {
    std::string text(FORMAT);
    text += VERSION;
    const uint64_t sum = ChecksumOf(body);
    for (size_t at = 0; at < CHECKSUM_BYTES; ++at) {
        text += static_cast<char>(sum >> (8 * at));
    }
    return text += body;
}

std::string EncodeRecord(const PageRecord& record) {
    std::string body;
    PutNumber(body, record.isOlder ? OLDER_FLAG : 0);
    PutNumber(body, ZigZag(record.madeAtS));
    PutNumber(body, record.files.size());
    for (const auto& [kind, identity, path] : record.files) {
        PutNumber(body, static_cast<uint64_t>(kind));
        PutNumber(body, identity.device);
        PutNumber(body, identity.inode);
        if (kind == FileKind::REGULAR) {
            PutNumber(body, static_cast<uint64_t>(identity.size));
            PutNumber(body, ZigZag(identity.mtimeNs));
        }
        PutNumber(body, path.size());
        body += path;
    }
    PutNumber(body, record.ranges.size());
    RangePlace place(record.files.size());
    for (const auto& [file, pages] : record.ranges) {
        const bool isOther = file != std::exchange(place.file, file);
        PutNumber(body, ((pages.count - 1) << 1) | (isOther ? 1 : 0));
        if (isOther) {
            PutNumber(body, file);
        }
        PutNumber(body, ZigZag(static_cast<int64_t>(pages.first - place.ends[file])));
        place.ends[file] = pages.first + pages.count;
    }
    return SealRecordBody(body);
}

std::optional<PageRecord> DecodeRecord(std::string_view text, std::string& reason) {
    const auto refuse = [&reason](std::string_view why) {
        reason = why;
        return std::nullopt;
    };
    if (!text.starts_with(FORMAT)) {
        return refuse("not a page record");
    }
    if (text.size() > MOST_RECORD_BYTES) {
        return refuse("too long");
    }
    if (text.substr(FORMAT.size(), VERSION.size()) != VERSION) {
        return refuse("unknown version");
    }
    if (text.size() < RECORD_BODY_OFFSET) {
        return refuse("cut off");
    }
    const std::string_view body = text.substr(RECORD_BODY_OFFSET);
    const uint64_t sum = ChecksumOf(body);
    for (size_t at = 0; at < CHECKSUM_BYTES; ++at) {
        if (text[HEADER_BYTES + at] != static_cast<char>(sum >> (8 * at))) {
            return refuse("wrong checksum");
        }
    }
    PageRecord record;
    if (const std::string_view why = BodyReader(body).Read(record); !why.empty()) {
        return refuse(why);
    }
    return record;
}

}  // namespace ZYRA::Host
