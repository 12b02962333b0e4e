// SPDX-License-Identifier: Apache-2.0
// What is told of a run, from facts written by hand.

#include "host/report/summary.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "host/replay/journal_writer.h"
#include "host/report/summary_text.h"
#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

constexpr char SCENE[] = "com.a/com.a";
constexpr char STATE_0[] = "/dev/workingset/monitor0/workingset.state";
constexpr char PROCS_0[] = "/dev/workingset/monitor0/cgroup.procs";
constexpr char PROCS_ROOT[] = "/dev/workingset/cgroup.procs";

RequestEntry PrereadRequest(const char* monitor) {
    return {false, 8, 0, {{"index", monitor}}};
}

void Feed(Summary& summary, std::initializer_list<JournalEntry> entries) {
    for (const JournalEntry& entry : entries) {
        summary.OnEntry(entry);
    }
}

// (a) A scene with an older record is bound, prereaded, its process attached, collected, paused and stopped; (b) bound
// again it is found up to date, so that nothing is attached and the start is given up.
TEST(SummaryTest, FollowsTheWorkOnAScene) {
    Summary summary;
    Feed(summary, {
                      {1000, BindEntry{0, 7, 0, SCENE, "older"}},
                      {2000, PrereadRequest("0")},
                      {2000, FileWriteEntry{STATE_0, "PAUSED"}},
                      {2000, MonitorEntry{0, "PAUSED"}},
                      {3000, PrereadEntry{0, SCENE, 4096, ""}},
                      {4000, BindEntry{0, 7, 12, SCENE, "older"}},
                      {4000, MonitorEntry{0, "INWORKING"}},
                      {5000, FileWriteEntry{PROCS_0, "12"}},
                      {8000, MonitorEntry{0, "PAUSED"}},
                      {9000, FileWriteEntry{PROCS_ROOT, "12"}},
                      {10000, FileWriteEntry{STATE_0, "STOP"}},
                      {10000, MonitorEntry{0, "OUTOFWORK"}},
                      {10000, RecordEntry{SCENE, 5200}},
                      {20000, BindEntry{0, 7, 0, SCENE, "uptodate"}},
                      {20000, PrereadRequest("0")},
                      {20000, PrereadEntry{0, SCENE, 0, "2"}},
                      {25000, FileWriteEntry{STATE_0, "ABORT"}},
                      {30000, PluginStep{false}},
                  });
    const WorkTimeline& work = summary.Monitors()[0].work;
    EXPECT_EQ(work.TotalUs(WorkState::IDLE), 1000 + 10000 + 5000);
    EXPECT_EQ(work.TotalUs(WorkState::BOUND), 1000);
    EXPECT_EQ(work.TotalUs(WorkState::PREREADING), 3000 + 5000);
    EXPECT_EQ(work.TotalUs(WorkState::COLLECTING), 3000);
    EXPECT_EQ(work.TotalUs(WorkState::PAUSED), 2000);
    EXPECT_EQ(summary.Monitors()[1].work.TotalUs(WorkState::IDLE), 30000);

    const SceneSummary& scene = summary.Scenes().at(SCENE);
    EXPECT_EQ(scene.bound, 2u);
    EXPECT_EQ(scene.recordStates, (std::map<std::string, uint64_t>{{"older", 1}, {"uptodate", 1}}));
    EXPECT_EQ(scene.records, 1u);
    EXPECT_EQ(scene.pages, 5200u);
    EXPECT_EQ(scene.prereads, 1u);
    EXPECT_EQ(scene.failedPrereads, 1u);
    EXPECT_EQ(scene.bytes, 4096u);
}

TEST(SummaryTest, WorkFollowsTheProcessThatMovesToTheOtherMonitor) {
    Summary summary;
    Feed(summary, {
                      {0, MonitorEntry{0, "INWORKING"}},
                      {0, MonitorEntry{1, "INWORKING"}},
                      {0, BindEntry{0, 7, 12, SCENE, "absent"}},
                      {0, BindEntry{1, 7, 12, "com.b/com.b", "absent"}},
                      {0, FileWriteEntry{PROCS_0, "12"}},
                      {10, FileWriteEntry{"/dev/workingset/monitor1/cgroup.procs", "12", EIO}},
                      {20, FileWriteEntry{"/dev/workingset/monitor1/cgroup.procs", "12"}},
                      {50, PluginStep{false}},
                  });
    EXPECT_EQ(summary.Monitors()[0].work.TotalUs(WorkState::COLLECTING), 20);
    EXPECT_EQ(summary.Monitors()[1].work.TotalUs(WorkState::COLLECTING), 30);
    EXPECT_EQ(summary.Monitors()[0].states.First().front().state, "INWORKING");
}

TEST(SummaryTest, LongTimelinesKeepTheirEndsAndEveryTotal) {
    StateTimeline states("OUTOFWORK");
    for (int64_t timeUs = 10; timeUs <= 1000; timeUs += 10) {
        states.ChangeTo(timeUs, timeUs % 20 == 0 ? "OUTOFWORK" : "PAUSED");
        states.ChangeTo(timeUs, states.Current());
    }
    states.AdvanceTo(1005);
    EXPECT_EQ(states.First().size() + states.LeftOut() + states.Last().size(), 101u);
    EXPECT_EQ(states.First().back().timeUs, 50);
    EXPECT_EQ(states.Last().front().timeUs, 970);
    EXPECT_EQ(states.TotalUs().at("OUTOFWORK"), 505);
    EXPECT_EQ(states.TotalUs().at("PAUSED"), 500);
}

TEST(SummaryTest, TextIsWhatPeopleRead) {
    Findings findings;
    Summary& summary = findings.summary;
    Feed(summary, {
                      {0, EventStep{27, 1, nullptr}},
                      {10000, BindEntry{0, 7, 0, SCENE, "absent"}},
                      {10000, MonitorEntry{0, "PAUSED"}},
                      {15000, FileWriteEntry{STATE_0, "STOP", EIO}},
                      {15000, FileWriteEntry{STATE_0, "STOP", EIO}},
                      {15000, RefusedEntry{8, 2, "/etc/passwd: EPERM"}},
                      {16000, PrereadEntry{0, SCENE, 21299200, ""}},
                      {16000, PrereadEntry{7, "", 0, "2"}},
                      {20000, LogEntry{LogLevel::ERROR, "TAG", "two\nlines"}},
                      {20000, LogEntry{LogLevel::WARN, "TAG", "of no interest"}},
                      {20000, SysEventEntry{"RSS", "FAULT_X", EventLogType::FAULT, {{"UID", 7}, {"WHY", "x"}}}},
                      {1000000, PluginStep{false}},
                  });
    findings.result = {ReplayOutcome::DONE, "", false, 2, 2, 1000000, 2500, 3};
    EXPECT_EQ(SummaryText(findings, false),
              "Scenes\n"
              "  scene        bound  record found  records made  pages  prereads  failed    bytes\n"
              "  com.a/com.a      1        absent             0      -         1       0  21.3 MB\n"
              "  1 scene          1                           0                1       0  21.3 MB\n"
              "\n"
              "Learning\n"
              "  0 trainings\n"
              "  0 of 500 scenes in the set, published 0 times\n"
              "  0 flushes of 0 names, 0 failed\n"
              "  0 openings of 0 page scenes, 0 served: 0 from the set, 0 beside it\n"
              "\n"
              "Background IO\n"
              "  never limited\n"
              "\n"
              "Failures\n"
              "  refused write   2× /dev/workingset/monitor0/workingset.state: EIO\n"
              "  refused request 1× 8/2 /etc/passwd: EPERM\n"
              "  failed preread  1× monitor 7 without a scene: 2\n"
              "  fault event     1× FAULT_X UID=7 WHY=x\n"
              "  error line      1× TAG: two\\nlines\n"
              "\n"
              "Monitor states\n"
              "  monitor 0  0.000 s OUTOFWORK → 0.010 s PAUSED\n"
              "    in total OUTOFWORK 0.010 s, PAUSED 0.990 s\n"
              "  monitor 1  0.000 s OUTOFWORK\n"
              "    in total OUTOFWORK 1.000 s\n"
              "\n"
              "Time in each work state\n"
              "  monitor     idle    bound  prereading  collecting   paused\n"
              "  0        0.010 s  0.990 s     0.000 s     0.000 s  0.000 s\n"
              "  1        1.000 s  0.000 s     0.000 s     0.000 s  0.000 s\n"
              "\n"
              "System events\n"
              "  0.020 s FAULT_X UID=7 WHY=x\n"
              "\n"
              "Counts\n"
              "  1 event, 12 journal entries, 3 tasks run, 1.000 s virtual time, 0.003 s wall time\n");
    EXPECT_NE(SummaryText(findings, true).find("\x1b[1mScenes\x1b[0m"), std::string::npos);
    findings.result.isInterrupted = true;
    EXPECT_EQ(SummaryText(findings, false).find("interrupted after 2 of 2 steps\n\nScenes\n"), 0u);
}

// Of more scenes than people read, those with the most work are told, and the sum is that of all.
TEST(SummaryTest, LongTablesAreCutWhereLittleWasDone) {
    Findings findings;
    Summary& summary = findings.summary;
    for (int scene = 0; scene < 100; ++scene) {
        for (int times = 0; times <= scene % 50; ++times) {
            const std::string name = "com.a/scene" + std::to_string(scene);
            Feed(summary, {{0, BindEntry{0, 7, 0, name, "absent"}}, {0, BindEntry{0, 7, 0, "com.b/other", "absent"}}});
        }
    }
    const std::string text = SummaryText(findings, false);
    EXPECT_EQ(text.find("scene36 "), std::string::npos);
    for (const char* told : {"com.b/other", "com.a/scene38 ", "com.a/scene99 ", "101 scenes in all"}) {
        EXPECT_NE(text.find(told), std::string::npos) << told;
    }
}

TEST(JournalWriterTest, WritesEveryLineAndTellsTheFirstFailedWrite) {
    constexpr int LINES = 5000;
    const auto writeAll = [](OutputFile& file) {
        JournalWriter writer(file);
        for (int i = 0; i < LINES; ++i) {
            writer.OnEntry({i, SpanEntry{"span", true}});
        }
        return file.Finish();
    };
    const std::string path = ::testing::TempDir() + "journal_" + std::to_string(getpid());
    const auto file = OutputFile::Create(path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(writeAll(*file), 0);
    std::string text;
    EXPECT_TRUE(LoadStringFromFile(path, text));
    unlink(path.c_str());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), LINES);
    EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2) + 1),
              "{\"t\":4999,\"kind\":\"span\",\"name\":\"span\",\"phase\":\"begin\"}\n");

    const auto full = OutputFile::Create("/dev/full");
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(writeAll(*full), ENOSPC);
    EXPECT_EQ(OutputFile::Create("/nowhere/journal"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace ZYRA::Host
