// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exact_preread/exact_preread_executor.h"

namespace ZYRA::ResourceSchedule {
namespace {

TEST(RecordInfoTest, LinesAreTakenByTheirExactKeyAndTheLastOneCounts) {
    struct Row {
        const char* condition;
        std::vector<std::string> lines;
        RecordInfo expected;
    };
    const auto unset = RecordState::RECORD_STATE_UNSET;
    const auto absent = RecordState::RECORD_STATE_ABSENT;
    const auto uptodate = RecordState::RECORD_STATE_UPTODATE;
    const auto older = RecordState::RECORD_STATE_OLDER;
    const Row rows[] = {
        {"complete",
         {"RecordState:older", "Uid: 1000", "Pid: 77", "Name: com.a/com.a"},
         {-1, older, 1000, 77, "com.a/com.a"}},
        {"no lines", {}, {-1, unset, -1, -1, ""}},
        {"current", {"RecordState:uptodate"}, {-1, uptodate, -1, -1, ""}},
        {"blank after the colon", {"RecordState: uptodate"}, {-1, absent, -1, -1, ""}},
        {"something after the word", {"RecordState:uptodate\r"}, {-1, absent, -1, -1, ""}},
        {"no word", {"RecordState:"}, {-1, absent, -1, -1, ""}},
        {"keys of other case or place", {"recordState:older", " Uid: 1", "Pid:2", "Name:x"}, {-1, unset, -1, -1, ""}},
        {"key without its value's blank", {"Uid:", "Name"}, {-1, unset, -1, -1, ""}},
        {"repeated", {"RecordState:older", "Pid: 1", "RecordState:none", "Pid: -2"}, {-1, absent, -1, -2, ""}},
        {"numbers that are none", {"Uid: 12x", "Pid: 2147483648"}, {-1, unset, 0, 0, ""}},
        {"name with blanks", {"Name:  a/b c "}, {-1, unset, -1, -1, " a/b c "}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.condition);
        RecordInfo info;
        for (const std::string& line : row.lines) {
            ExactPrereadExecutor::ParseRecordInfoLine(info, line);
        }
        EXPECT_EQ(info.state, row.expected.state);
        EXPECT_EQ(info.uid, row.expected.uid);
        EXPECT_EQ(info.pid, row.expected.pid);
        EXPECT_EQ(info.sceneName, row.expected.sceneName);
    }
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
