// SPDX-License-Identifier: Apache-2.0
// What is drawn of a run, from facts written by hand.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/report/page/report_page.h"
#include "host/report/timeline/run_timeline.h"
#include "host/report/timeline/timeline_json.h"

namespace ZYRA::Host {
namespace {

using nlohmann::json;

constexpr char SCENE[] = "com.a/com.a";
constexpr char LIMIT_SWITCH[] = "/dev/iolimit/iocontrol/iolimit.offon";
constexpr char HEAVY_SWITCH[] = "/dev/iolimit/heavyio/iolimit.offon";

EventStep Event(uint32_t type, int64_t value, const std::string& bundleName) {
    return {type, value, {{"bundleName", bundleName}, {"uid", "7"}}};
}

class ReportTest : public ::testing::Test {
protected:
    void Feed(std::initializer_list<JournalEntry> entries) {
        for (const JournalEntry& entry : entries) {
            timeline_.OnEntry(entry);
        }
    }
    const std::vector<StartStory>& Stories() const { return timeline_.Starts().Stories(); }
    json Timeline() const { return json::parse(TimelineObject(timeline_).dump()); }
    // The rows of a lane: from, to, text.
    static std::string Lane(const json& timeline, const json& lane) {
        std::string text;
        for (const json& span : lane) {
            text += span[0].dump() + '-' + span[1].dump() + ' ' +
                    timeline["texts"].at(span[2].get<size_t>()).get<std::string>() + "; ";
        }
        return text;
    }

    RunTimeline timeline_;
};

// (a) A start without a record is collected, though another application does the same on the other monitor; (b) the
// next one is preread and given up for another scene before its limits are lifted; (c) the third is overtaken by the
// fourth, which comes to nothing.
TEST_F(ReportTest, StoriesTellWhatCameOfEachColdStart) {
    Feed({
        {1000, Event(27, 1, "com.a")},
        {1000, BindEntry{0, 7, 0, SCENE, "absent"}},
        {1100, BindEntry{1, 8, 0, "com.b/com.b", "absent"}},
        {1200, FileWriteEntry{LIMIT_SWITCH, "1"}},
        {1200, FileWriteEntry{HEAVY_SWITCH, "1"}},
        {1250, Event(10, 1, "com.b")},
        {1300, Event(4, 0, "com.a")},
        {1300, MonitorEntry{1, "INWORKING"}},
        {1400, MonitorEntry{0, "INWORKING"}},
        {1500, Event(10, 0, "com.a")},
        {1600, Event(10, 1, "com.a")},
        {1650, Event(10, 1, "com.a")},
        {1700, FileWriteEntry{LIMIT_SWITCH, "0", 5}},
        {1700, FileWriteEntry{HEAVY_SWITCH, "0"}},
        {1800, FileWriteEntry{LIMIT_SWITCH, "0"}},
        {1850, MonitorEntry{1, "OUTOFWORK"}},
        {1900, RecordEntry{SCENE, 5200}},
        {1900, MonitorEntry{0, "OUTOFWORK"}},
        {5000, Event(27, 1, "com.a")},
        {5000, BindEntry{0, 7, 0, SCENE, "uptodate"}},
        {5100, PrereadEntry{0, SCENE, 4096, ""}},
        {5150, PrereadEntry{0, SCENE, 0, "2"}},
        {5200, Event(27, 0, "com.b")},
        {5200, BindEntry{0, 8, 0, "com.b/com.b", "absent"}},
        {5300, FileWriteEntry{LIMIT_SWITCH, "1"}},
        {5500, Event(10, 1, "com.a")},
        {9000, Event(27, 1, "com.a")},
        {9100, Event(27, 1, "com.a")},
        {9100 + StartStories::LONGEST_US + 1, Event(10, 1, "com.a")},
    });
    ASSERT_EQ(Stories().size(), 4u);
    const json starts = json::parse(StartsObject(timeline_.Starts()).dump())["stories"];
    EXPECT_EQ(starts[0], json::parse(R"({"timeUs":1000,"bundleName":"com.a","uid":"7","monitor":0,"scene":"com.a/com.a",
        "recordState":"absent","boundAfterUs":0,"prereadAfterUs":null,"prereadBytes":0,"prereadError":"","collectedAfterUs":400,
        "recordAfterUs":900,"recordPages":5200,"workEndedAfterUs":900,"processAfterUs":300,"pageAfterUs":500,"pageShownAfterUs":600,
        "limitedAfterUs":200,"limitedForUs":600})"));
    EXPECT_EQ(Stories()[1].prereadBytes, 4096u);
    EXPECT_EQ(Stories()[1].prereadUs, 5100);
    EXPECT_EQ(Stories()[1].workEndedUs, 5200);
    EXPECT_EQ(Stories()[1].pageShownUs, 5500);
    EXPECT_EQ(starts[1]["limitedForUs"], nullptr);
    EXPECT_FALSE(Stories()[2].pageShownUs || Stories()[3].pageShownUs || Stories()[3].boundUs);
}

TEST_F(ReportTest, LanesHoldWhatLastedForHowLong) {
    const auto task = [](uint64_t id, TaskEntry::Phase phase, const char* queue, const char* name) {
        return TaskEntry{id, phase, queue, name, 0};
    };
    using Phase = TaskEntry::Phase;
    Feed({
        {0, MonitorEntry{0, "OUTOFWORK"}},
        {10, BindEntry{0, 7, 0, SCENE, "older"}},
        {10, task(1, Phase::SUBMITTED, "main", "first")},
        {11, task(2, Phase::SUBMITTED, "other", "second")},
        {12, task(1, Phase::BEGUN, "main", "first")},
        {13, task(2, Phase::CANCELLED, "other", "second")},
        {14, task(1, Phase::ENDED, "main", "first")},
        {15, task(3, Phase::SUBMITTED, "main", "third")},
        {20, BindEntry{0, 7, 12, SCENE, "older"}},
        {20, MonitorEntry{0, "INWORKING"}},
        {20, FileWriteEntry{LIMIT_SWITCH, "1"}},
        {25, FileWriteEntry{LIMIT_SWITCH, "1"}},
        {30, MonitorEntry{0, "OUTOFWORK"}},
        {35, FileWriteEntry{LIMIT_SWITCH, "0"}},
        {40, BindEntry{0, 7, 0, "com.b/x", "absent"}},
        {45, BindEntry{0, 7, 0, "com.c/x", "absent"}},
        {50, EventStep{15, 0, {}}},
        {50, EventStep{15, 1, {}}},
        {50, PluginStep{false}},
    });
    const json timeline = Timeline();
    EXPECT_EQ(Lane(timeline, timeline["monitors"][0]["states"]), "0-20 OUTOFWORK; 20-30 INWORKING; 30-50 OUTOFWORK; ");
    EXPECT_EQ(Lane(timeline, timeline["monitors"][0]["scenes"]), "10-30 com.a/com.a; 40-45 com.b/x; 45-50 com.c/x; ");
    EXPECT_EQ(Lane(timeline, timeline["monitors"][1]["states"]), "0-50 OUTOFWORK; ");
    EXPECT_EQ(Lane(timeline, timeline["switches"]["iocontrol"]), "20-35 on; ");
    EXPECT_EQ(timeline["events"]["names"], json({{"15/0", "bundle removed"}, {"15/1", "bundle came or changed"}}));
    std::string tasks;
    for (const json& queue : timeline["queues"]) {
        for (const json& row : queue["tasks"]) {
            tasks +=
                queue["name"].get<std::string>() + ' ' + timeline["texts"].at(row[3].get<size_t>()).get<std::string>();
            for (const size_t cell : {0, 1, 2, 4}) {
                tasks += ' ' + row[cell].dump();
            }
            tasks += "; ";
        }
    }
    EXPECT_EQ(tasks, "main first 10 12 14 0; main third 15 -1 -1 0; other second 11 -1 -1 1; ");
}

// A run with more than can be drawn is drawn up to there, what went on then included.
TEST_F(ReportTest, ALongRunIsDrawnUpToAMomentThatIsTold) {
    Feed({{0, FileWriteEntry{LIMIT_SWITCH, "1"}}, {1, TaskEntry{1, TaskEntry::Phase::SUBMITTED, "main", "t", 0}}});
    JournalEntry event{1, Event(9, 1, "com.a")};
    while (timeline_.LeftOut() == 0) {
        ++event.timeUs;
        timeline_.OnEntry(event);
    }
    const int64_t timeUs = event.timeUs;
    Feed({{timeUs + 5, TaskEntry{1, TaskEntry::Phase::BEGUN, "main", "t", 0}},
          {timeUs + 7, FileWriteEntry{LIMIT_SWITCH, "0"}},
          {timeUs + 7, Event(9, 1, "com.a")}});
    EXPECT_EQ(timeline_.UntilUs(), timeUs);
    EXPECT_EQ(timeline_.LeftOut(), 3u);
    const TimelineSpan& limited = timeline_.Switches().at("iocontrol").at(0);
    EXPECT_EQ(limited.toUs, -1);
    EXPECT_EQ(timeline_.Queues().at(0).tasks.at(0).begunUs, -1);
    EXPECT_EQ(timeline_.Events().size() + timeline_.Marks().size() + 2, RunTimeline::MOST_ITEMS);
}

// Names of a device are anybody's.
TEST_F(ReportTest, ThePageHoldsAnyNameAsItIs) {
    const std::string hostile = "</script><!-- {{JS}} & \"\xff\" \xe2\x80\xa8";
    Findings findings;
    const JournalEntry entry{1, BindEntry{0, 7, 0, "com.a/" + hostile, hostile}};
    timeline_.OnEntry(entry);
    findings.summary.OnEntry(entry);
    const std::string page = ReportPage(hostile, findings, timeline_);
    const std::string begin = "<script type=\"application/json\" id=\"data\">";
    const size_t at = page.find(begin) + begin.size();
    const std::string text = page.substr(at, page.find("</script>", at) - at);
    EXPECT_EQ(text.find('<'), std::string::npos);
    const json data = json::parse(text);
    const std::string readable = "</script><!-- {{JS}} & \"\xef\xbf\xbd\" \xe2\x80\xa8";
    EXPECT_EQ(data["scenario"], readable);
    EXPECT_TRUE(data["summary"]["scenes"].contains("com.a/" + readable));
    EXPECT_NE(page.find("<title>&lt;/script>&lt;!-- {{JS}} &amp; \""), std::string::npos);
    EXPECT_NE(page.find("'use strict'", at), std::string::npos);
    EXPECT_EQ(page.substr(page.size() - 8), "</html>\n");
}

}  // namespace
}  // namespace ZYRA::Host
