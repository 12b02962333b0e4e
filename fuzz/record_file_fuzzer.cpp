// SPDX-License-Identifier: Apache-2.0
// Any bytes as a record file: they count as no record, or as one whose file would have just these bytes but for zeros
// before the number. Loading leaves the file as it is, and a record saved over any bytes is the one that is loaded
// then.

#include "fuzz/in_sandbox.h"
#include "host/kernel/record_file.h"
#include "platform/file_util.h"

using namespace ZYRA::Host;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string path = FileWith(bytes);
    const auto contentIs = [&path](const std::string& expected) {
        std::string content;
        return ZYRA::LoadStringFromFile(path, content) && content == expected;
    };
    const auto record = LoadRecordFile(path);
    Require(contentIs(bytes), "loading changes nothing");

    const Record kept = record.value_or(Record{RecordState::OLDER, size + 1});
    const bool isSaved = SaveRecordFile(path, kept) == 0;
    const auto loaded = LoadRecordFile(path);
    Require(isSaved && loaded && loaded->state == kept.state && loaded->pages == kept.pages, "what is saved is loaded");
    if (record) {
        const size_t number = bytes.find("pages ") + 6;
        Require(contentIs(bytes.substr(0, number) + bytes.substr(bytes.find_first_not_of('0', number))), "one text");
    }
    return 0;
}
