// SPDX-License-Identifier: Apache-2.0
// Any bytes as what a monitor reports of its record, and as the statistics of prereads: of each key the last line
// counts and nothing else does, a number is exactly the text's or 0, and the average size is rounded down.

#include <algorithm>
#include <charconv>

#include "exact_preread/exact_preread_executor.h"
#include "exact_preread/preread_statistics.h"
#include "frame/common/file_system.h"
#include "fuzz/in_sandbox.h"

using namespace ZYRA::ResourceSchedule;

namespace {

// What follows the key on the last line that begins with it, and the fallback when none does.
std::string LastValue(const std::string& bytes, const std::string& key, const std::string& fallback) {
    const std::string text = "\n" + bytes + "\n";
    const size_t at = text.rfind("\n" + key);
    const size_t begin = at + 1 + key.size();
    return at == std::string::npos ? fallback : text.substr(begin, text.find('\n', begin) - begin);
}

template <typename Number>
Number NumberOf(const std::string& text) {
    const char* begin = text.data() + std::min(text.find_first_not_of(" \t\v\f\r"), text.size());
    begin += *begin == '+' && begin[1] != '-' ? 1 : 0;
    Number number = 0;
    const auto [stop, error] = std::from_chars(begin, text.data() + text.size(), number);
    return error == std::errc() && stop == text.data() + text.size() ? number : 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> lines;
    Require(FileSystem::ReadLinesFromFile(FileWith(bytes), lines), "a file can be read");
    RecordInfo info;
    for (const std::string& line : lines) {
        ExactPrereadExecutor::ParseRecordInfoLine(info, line);
    }
    const std::string state = LastValue(bytes, "RecordState:", "\n");
    Require((info.state == RecordState::RECORD_STATE_UNSET) == (state == "\n"), "a state exactly when a line has one");
    Require((info.state == RecordState::RECORD_STATE_UPTODATE) == (state == "uptodate"), "uptodate by its word");
    Require((info.state == RecordState::RECORD_STATE_OLDER) == (state == "older"), "older by its word");
    Require(info.uid == NumberOf<int32_t>(LastValue(bytes, "Uid: ", "-1")), "the last uid");
    Require(info.pid == NumberOf<int32_t>(LastValue(bytes, "Pid: ", "-1")), "the last pid");
    Require(info.sceneName == LastValue(bytes, "Name: ", ""), "the last name, as it stands");

    const PrereadStatistics statistics = ParseStatistics(lines);
    const std::string total = LastValue(bytes, "Size: ", "0");
    const bool isDecimal = total.find_first_not_of("0123456789") == std::string::npos && !total.starts_with('0');
    const auto count = static_cast<uint64_t>(std::max(statistics.succ, 1));
    Require(statistics.succ == NumberOf<int32_t>(LastValue(bytes, "Succ: ", "0")), "the last Succ");
    Require(statistics.fail == NumberOf<int32_t>(LastValue(bytes, "Fail: ", "0")), "the last Fail");
    Require(!isDecimal || total.size() > 19 || statistics.size == NumberOf<uint64_t>(total), "the last Size");
    Require(statistics.succ < 0 || statistics.AverageSize() == statistics.size / count, "the share of each");
    return 0;
}
