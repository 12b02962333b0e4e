// SPDX-License-Identifier: Apache-2.0
// Any bytes as a page record, as they are and below the right checksum: they are refused with a reason, or are the one
// text of a record whose files are told apart and whose ranges lie within them, no page twice.

#include <set>
#include <tuple>
#include <vector>

#include "fuzz/require.h"
#include "host/pages/page_record.h"

using namespace ZYRA::Host;

namespace {

void CheckDecoding(const std::string& text) {
    std::string reason;
    const auto record = DecodeRecord(text, reason);
    Require(record.has_value() == reason.empty(), "a record or a reason");
    if (!record) {
        return;
    }
    Require(EncodeRecord(*record) == text, "one text");
    std::set<std::tuple<FileKind, uint64_t, uint64_t>> keys;
    for (const auto& [kind, identity, path] : record->files) {
        Require(keys.insert({kind, identity.device, identity.inode}).second, "a file once");
        Require(identity.size >= 0 && path[0] == '/' && path.size() <= LONGEST_RECORDED_PATH, "a possible file");
    }
    std::vector<PageSet> taken(record->files.size());
    for (const auto& [file, pages] : record->ranges) {
        const auto size = static_cast<uint64_t>(record->files.at(file).identity.size);
        const auto added = taken[file].Add(pages);
        Require(added.size() == 1 && added[0] == pages, "no range without pages, and no page twice");
        Require(pages.first + pages.count - 1 <= (size - 1) / BYTES_PER_PAGE && size > 0, "ranges within their file");
    }
    Require(record->Pages() <= MOST_RECORD_PAGES, "pages are bounded");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckDecoding(text);
    CheckDecoding(SealRecordBody(text.size() < RECORD_BODY_OFFSET ? text : text.substr(RECORD_BODY_OFFSET)));
    return 0;
}
