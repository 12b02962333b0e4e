// SPDX-License-Identifier: Apache-2.0
// Who was limited and why not the others, from facts written by hand.

#include "host/report/limit_summary.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <string>

#include "host/report/summary_json.h"
#include "host/report/summary_text.h"
#include "host/services/device_state.h"

namespace ZYRA::Host {
namespace {

constexpr char LIMITED[] = "/dev/iolimit/iocontrol/";
constexpr char HEAVY[] = "/dev/iolimit/heavyio/";
constexpr char UNLIMITED[] = "/dev/iolimit/ionormal/";

class LimitSummaryTest : public ::testing::Test {
protected:
    void SetUp() override {
        DeviceState state;
        for (const int32_t pid : {11, 12, 13, 14, 15, 16, 17, 18, 19}) {
            state.processes[pid] = {pid * 10, {"com.a" + std::to_string(pid)}, false, false};
        }
        state.processes[17].bundles.clear();
        DeviceServices::GetInstance().Set(std::move(state));
    }
    void At(int64_t timeUs, JournalFact fact) { limits_.OnEntry({timeUs, std::move(fact)}); }
    void Log(int64_t timeUs, const std::string& text) { At(timeUs, LogEntry{LogLevel::INFO, "IOSched", text}); }
    // A request of the plugin, which the kernel carries out or refuses.
    void Write(int64_t timeUs, const std::string& file, const std::string& content, int error = 0) {
        At(timeUs, RequestEntry{false, 8, 2, {{"filePath", file}, {"content", content}}});
        At(timeUs, FileWriteEntry{file, content, error});
    }
    void Switch(int64_t timeUs, const std::string& state) {
        Write(timeUs, std::string(LIMITED) + "iolimit.offon", state);
        Write(timeUs, std::string(HEAVY) + "iolimit.offon", state);
    }
    void Move(int64_t timeUs, const std::string& group, const std::string& pid) {
        Write(timeUs, group + "cgroup.procs", pid);
    }
    void Read(int64_t timeUs) {
        At(timeUs, RequestEntry{true, 0, 3, {{"filePath", std::string(LIMITED) + "cgroup.procs"}}});
    }
    void Choose(int64_t timeUs, std::initializer_list<int> pids) {
        Log(timeUs, "[GetBackgroundAppInfo:]GetBackgroundAppInfo");
        for (const int pid : pids) {
            Log(timeUs, "[GetBackgroundAppInfo:]uid " + std::to_string(pid * 10) + " pid" + std::to_string(pid) +
                            (pid == 12 ? " com.a must limit" : " is x y is not system app, must limit"));
        }
    }

    Findings findings_;
    LimitSummary& limits_ = findings_.limits;
};

// (a) Three processes get into the limited group, and one of them ends; (b) at a start, each fate is that of one
// process; (c) a second start pushes the lift out; (d) a slide is lifted for one group only.
TEST_F(LimitSummaryTest, TellsTheFateOfEveryProcess) {
    for (const char* pid : {"13", "14", "15"}) {
        Move(0, LIMITED, pid);
    }
    At(0, DeviceStep{{{"processes", {{"15", nullptr}}}}});
    const EventStep start{27, 1, {{"bundleName", "com.a18"}, {"uid", "180"}}};
    At(1000000, start);
    Choose(1000000, {11, 12, 13, 14, 15, 16, 19});
    Move(1000000, UNLIMITED, "18");
    Log(1000000, "[UnLimitForegroundPid:]UID 180 PID 18 has been written");
    Read(1000000);
    Move(1000000, LIMITED, "11");
    Move(1000000, HEAVY, "12");
    Write(1000000, std::string(LIMITED) + "cgroup.procs", "19", ESRCH);
    Move(1000000, UNLIMITED, "13");
    Log(1000000, "[IsRemoveSuspendPid:]UID 160 PID 16 has been frozen");
    Switch(1000000, "1");
    At(1500000, DeviceStep{{{"processes", {{"12", nullptr}}}}});
    At(2000000, start);
    Choose(2000000, {});
    Switch(2000000, "1");
    Switch(5000000, "0");
    At(6000000, EventStep{11, 1, {}});
    At(6000000, EventStep{11, 0, {}});
    Choose(6000000, {14});
    Read(6000000);
    Switch(6000000, "1");
    Write(7000000, std::string(LIMITED) + "iolimit.offon", "0");
    Write(7000000, std::string(HEAVY) + "iolimit.offon", "0", EIO);
    At(8000000, PluginStep{false});

    const std::string text = SummaryText(findings_, false);
    const std::string expected =
        "Background IO\n"
        "  limited for 6.000 s: 2 starts, 1 slide\n"
        "  1.000 s start of com.a18 (uid 180), lifted at 5.000 s\n"
        "    limited          11 com.a11\n"
        "    heavy IO         12 com.a12\n"
        "    released         13 com.a13\n"
        "    refused          19 com.a19\n"
        "    limited already  14 com.a14\n"
        "    white-listed     15 com.a15\n"
        "    frozen           16 com.a16\n"
        "    foreground       18 com.a18\n"
        "    system           17 (no bundle)\n"
        "  2.000 s start of com.a18 (uid 180), lifted at 5.000 s\n"
        "    system           11 com.a11 [in iocontrol], 12 com.a12, 13 com.a13, 14 com.a14 [in "
        "iocontrol], "
        "15 com.a15, 16 com.a16, 17 (no bundle), 18 com.a18, 19 com.a19\n"
        "  6.000 s slide, not lifted\n"
        "    limited already  14 com.a14\n"
        "    system           11 com.a11 [in iocontrol], ";
    EXPECT_NE(text.find(expected), std::string::npos) << text;

    const auto json = nlohmann::json::parse(SummaryJson(findings_))["limits"];
    EXPECT_EQ(json["switches"]["iocontrol"], (nlohmann::json{{"onUs", 5000000}, {"times", 2}}));
    EXPECT_EQ(json["switches"]["heavyio"]["onUs"], 6000000);
    EXPECT_EQ(json["onUs"], 6000000);
    EXPECT_EQ(json["starts"], 2);
    // It has ended since, and stays told as it was.
    EXPECT_EQ(json["first"][0]["processes"][1]["group"], "heavyio");
    EXPECT_EQ(json["fates"]["frozen"], 1);
    EXPECT_EQ(json["first"][0]["liftedUs"], 5000000);
    EXPECT_EQ(
        json["first"][0]["processes"][5],
        (nlohmann::json{{"pid", 16}, {"uid", 160}, {"bundleName", "com.a16"}, {"fate", "frozen"}, {"group", ""}}));
    EXPECT_TRUE(json["first"][2]["liftedUs"].is_null());
}

// (a) The members could not be read, so that a white-listed process of the limited group is left there; (b) the
// switches are not switched on; (c) without the app manager nobody is seen, and a lift that is late is not that of this
// start.
TEST_F(LimitSummaryTest, TellsWhatWasRefused) {
    Move(0, LIMITED, "14");
    At(1, EventStep{27, 1, {{"bundleName", "com.a18"}, {"uid", "180"}}});
    Choose(1, {14});
    Read(1);
    At(1, RefusedEntry{0, 3, "EIO"});
    Write(1, std::string(LIMITED) + "iolimit.offon", "1", EIO);
    Write(1, std::string(HEAVY) + "iolimit.offon", "1", EIO);
    At(2, EventStep{11, 1, {}});
    Read(2);
    At(2, RequestEntry{false, 8, 2, {{"filePath", std::string(LIMITED) + "iolimit.offon"}, {"content", "1"}}});
    At(3, FileWriteEntry{std::string(LIMITED) + "iolimit.offon", "0"});
    At(3, FileWriteEntry{std::string(LIMITED) + "iolimit.offon", "1\n"});
    At(4, PluginStep{false});
    ASSERT_EQ(limits_.Triggers().size(), 2u);
    const LimitTrigger& start = limits_.Triggers()[0];
    EXPECT_FALSE(start.isSwitchedOn);
    EXPECT_EQ(start.processes[3].fate, LimitFate::WHITE_LISTED);
    EXPECT_EQ(start.processes[3].group, "iocontrol");
    const LimitTrigger& slide = limits_.Triggers()[1];
    EXPECT_TRUE(slide.isSlide && slide.isSwitchedOn && !slide.liftedUs && slide.processes.empty());
    EXPECT_NE(SummaryText(findings_, false).find("start of com.a18 (uid 180), not switched on"), std::string::npos);
}

TEST_F(LimitSummaryTest, ManyTriggersAreCountedAndTheFirstAreTold) {
    for (int64_t timeUs = 0; timeUs < 200; ++timeUs) {
        At(timeUs, EventStep{27, 0, {{"bundleName", "com.a\n1"}, {"uid", ""}}});
        Choose(timeUs, {11});
        Read(timeUs);
        Move(timeUs, LIMITED, "11");
        Switch(timeUs, "1");
    }
    At(200, PluginStep{false});
    const std::string text = SummaryText(findings_, false);
    for (const char* told : {"start of com.a\\n1 (no uid), not lifted", "and 194 more; in all, processes were",
                             "limited          200×", "system           1600×"}) {
        EXPECT_NE(text.find(told), std::string::npos) << told << "\n" << text;
    }
    EXPECT_EQ(limits_.Triggers().size(), LimitSummary::MOST_TRIGGERS);
    EXPECT_EQ(limits_.LimitedSwitch().times, 1u);
}

}  // namespace
}  // namespace ZYRA::Host
