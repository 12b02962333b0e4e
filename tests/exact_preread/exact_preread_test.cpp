// SPDX-License-Identifier: Apache-2.0
// The controller behind the manager: what an event does depends on the events before it, on the virtual clock.

#include "exact_preread/exact_preread.h"

#include <filesystem>

#include "frame/common/io_sched_event_id.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/resource_type.h"
#include "tests/support/plugin_on_device_test.h"
#include "top_scene/top_scene_manager_rt.h"

namespace ZYRA::ResourceSchedule {
namespace {

const std::string BUNDLE = "com.example.mail";
const std::string SCENE = BUNDLE + "/" + BUNDLE;
const std::string RECORDS = "/data/service/el1/public/ressched/workingset/";
const std::string BIND_BEFORE_PROCESS = "monitor0/workingset.data <- 1000 0 " + SCENE + " " + RECORDS + SCENE;
const Effects PAUSE = {"monitor0/workingset.state <- PAUSED"};
const Effects STOP = {"cgroup.procs <- 42", "monitor0/workingset.state <- STOP"};
const Effects ABORT = {"cgroup.procs <- 42", "monitor0/workingset.state <- ABORT"};

class ExactPrereadTest : public PluginOnDeviceTest {
protected:
    void SetUp() override {
        PluginOnDeviceTest::SetUp();
        std::filesystem::remove_all(RECORDS + BUNDLE);
        Start();
        // No page is served unless a test makes room for it.
        TopSceneManagerRt::GetInstance().Init(0);
        // Leaves the user's last action at the start of a display, so that the tests begin alike.
        Send(RES_TYPE_USER_INPUT, 1, {});
        Page(0);
    }
    void TearDown() override {
        manager_.Deinit();
        work_->ResetCurrentWork();
        PluginOnDeviceTest::TearDown();
    }

    static nlohmann::json Payload(const nlohmann::json& patch = nlohmann::json::object()) {
        nlohmann::json payload = {
            {"uid", "1000"}, {"pid", "42"}, {"clientPid", "42"}, {"bundleName", BUNDLE}, {"pageUrl", "pages/Index"}};
        payload.merge_patch(patch);
        return payload;
    }
    Effects AbilityStart(int64_t value) { return Send(RES_TYPE_ABILITY_START, value, Payload()); }
    Effects ProcessStart(const nlohmann::json& patch = nlohmann::json::object()) {
        return Send(RES_TYPE_PROCESS_START, 0, Payload(patch));
    }
    Effects Page(int64_t status, const nlohmann::json& patch = nlohmann::json::object()) {
        return Send(RES_TYPE_PUSH_PAGE, status, Payload(patch));
    }
    Effects WaitFor(int64_t ms) {
        RunFor(ms);
        return TakeEffects();
    }
    void StartCollecting() {
        AbilityStart(1);
        ProcessStart();
        ASSERT_EQ(work_->workState, WORK_BOUND | WORK_COLLECTING);
    }
    WorkTask Stage() const { return work_->sceneInfo.curTask; }

    std::shared_ptr<WorkStateInfo> work_ = WorkStateInfo::GetInstance();
};

TEST_F(ExactPrereadTest, PayloadsThatCannotBeUsedAreReportedOrIgnored) {
    const struct {
        uint32_t resType;
        int64_t value;
        const char* patch;
        size_t reports;
    } rows[] = {
        {RES_TYPE_ABILITY_START, 1, R"({"uid": null})", 1},
        {RES_TYPE_ABILITY_START, 1, R"({"uid": 1000})", 1},
        {RES_TYPE_ABILITY_START, 1, R"({"uid": "0"})", 1},
        {RES_TYPE_ABILITY_START, 1, R"({"uid": "1000x"})", 1},
        {RES_TYPE_ABILITY_START, 1, R"({"bundleName": "com.ab"})", 1},
        {RES_TYPE_ABILITY_START, 1, "[]", 1},
        {RES_TYPE_PRELOAD, 0, R"({"bundleName": "1com.example"})", 1},
        {RES_TYPE_PROCESS_START, 0, R"({"pid": null})", 1},
        {RES_TYPE_PROCESS_START, 0, R"({"pid": "0"})", 0},
        {RES_TYPE_PROCESS_START, 0, R"({"uid": "-1"})", 0},
        {RES_TYPE_PROCESS_START, 0, R"({"bundleName": "com.ab"})", 0},
        {RES_TYPE_PUSH_PAGE, 0, R"({"pageUrl": null})", 1},
        {RES_TYPE_PUSH_PAGE, 0, R"({"clientPid": 42})", 1},
        {RES_TYPE_PUSH_PAGE, 0, R"({"clientPid": "0"})", 0},
        {RES_TYPE_PUSH_PAGE, 0, R"({"pageUrl": ""})", 0},
        {RES_TYPE_PUSH_PAGE, 0, R"({"bundleName": "com.ab"})", 0},
        {RES_TYPE_BUNDLE_ACTION, 0, R"({"bundleName": {}})", 1},
        {RES_TYPE_BUNDLE_ACTION, 0, R"({"bundleName": "com.ab"})", 0},
    };
    for (const auto& row : rows) {
        const size_t before = CountLogs("] para error.");
        EXPECT_EQ(Send(row.resType, row.value, Payload(nlohmann::json::parse(row.patch))), Effects()) << row.patch;
        EXPECT_EQ(CountLogs("] para error.") - before, row.reports) << row.resType << " " << row.patch;
        EXPECT_FALSE(work_->HasValidScene()) << row.resType << " " << row.patch;
    }
}

// (a) The start that follows a preload within its time is skipped, once; (b) the next one is a warm one; (c) after the
// time a start prereads again.
TEST_F(ExactPrereadTest, PreloadStandsForOneStartWithinItsTime) {
    EXPECT_EQ(Send(RES_TYPE_PRELOAD, 0, Payload()), Effects{BIND_BEFORE_PROCESS});
    RunFor(2999);
    EXPECT_EQ(AbilityStart(1), Effects());
    EXPECT_EQ(CountLogs("preload application has preread, skip current work"), 1u);
    EXPECT_EQ(AbilityStart(0), Effects());

    Send(RES_TYPE_PRELOAD, 0, Payload());
    RunFor(3000);
    EXPECT_EQ(AbilityStart(1), Effects{BIND_BEFORE_PROCESS});
    EXPECT_EQ(CountLogs("preload application has preread, skip current work"), 1u);
}

TEST_F(ExactPrereadTest, ProcessBelongsToTheStartThatWaitsForIt) {
    EXPECT_EQ(ProcessStart(), Effects());
    AbilityStart(1);
    EXPECT_EQ(ProcessStart({{"uid", "1001"}}), Effects());
    EXPECT_EQ(ProcessStart({{"bundleName", BUNDLE + "s"}}), Effects());
    EXPECT_EQ(ProcessStart().back(), "monitor0/cgroup.procs <- 42");
    EXPECT_EQ(ProcessStart({{"pid", "43"}}), Effects());
    EXPECT_EQ(work_->sceneInfo.pid, 42);
}

// (a) Another page extends the time that a start may take; (b) a page that completes again extends the collection;
// (c) then it is paused, and stopped.
TEST_F(ExactPrereadTest, TimeoutsCountFromTheLatestPage) {
    StartCollecting();
    EXPECT_EQ(WaitFor(9999), Effects());
    EXPECT_EQ(Page(0), Effects());
    EXPECT_EQ(WaitFor(9999), Effects());
    EXPECT_EQ(Page(1), Effects());
    EXPECT_EQ(WaitFor(499), Effects());
    EXPECT_EQ(Page(1, {{"pageUrl", "pages/Other"}}), Effects());
    EXPECT_EQ(Page(1, {{"clientPid", "43"}}), Effects());
    EXPECT_EQ(WaitFor(499), Effects());
    EXPECT_EQ(Stage(), WorkTask::DELAY_COLLECT);
    EXPECT_EQ(WaitFor(1), PAUSE);
    EXPECT_EQ(Stage(), WorkTask::PAUSE_COLLECT);
    EXPECT_EQ(WaitFor(4499), Effects());
    EXPECT_EQ(WaitFor(1), STOP);
    EXPECT_FALSE(work_->HasValidScene());
    EXPECT_EQ(WaitFor(60000), Effects());
}

TEST_F(ExactPrereadTest, StartThatNeverShowsAPageIsAborted) {
    StartCollecting();
    EXPECT_EQ(WaitFor(10000), ABORT);
    EXPECT_FALSE(work_->HasValidScene());
}

// (a) The same application goes on undisturbed while the user waits for it; (b) once the user has acted, its next page
// ends what was collected; (c) another application always does.
TEST_F(ExactPrereadTest, WorkEndsWithTheUsersNextActionOrAnotherApplication) {
    StartCollecting();
    RunFor(100);
    EXPECT_EQ(Page(0), Effects());
    RunFor(100);
    EXPECT_EQ(Send(RES_TYPE_USER_INPUT, 1, {}), Effects());
    EXPECT_EQ(Page(0), ABORT);
    EXPECT_EQ(WaitFor(60000), Effects());

    StartCollecting();
    EXPECT_EQ(Page(0, {{"bundleName", "com.other.app"}, {"uid", "1001"}}), ABORT);
    EXPECT_FALSE(work_->HasValidScene());
}

TEST_F(ExactPrereadTest, PageSceneIsNamedByTheAbilityAndTheUrlWithoutSlashes) {
    device_->Apply({{"topAbility", "Main/Entry"}, {"bundles", {{BUNDLE, {{"uid", 1000u}}}}}});
    const auto completes = [this](const std::string& sceneName, const nlohmann::json& patch) {
        SceneInfo scene{1000, 42, WorkTask::COLLECT, false, sceneName};
        work_->BindNewScene(scene);
        Page(1, patch);
        return CountLogs("SendDelayCollectTimeoutEvent appIntra " + sceneName) == 1;
    };
    EXPECT_TRUE(completes(BUNDLE + "/Main.Entry.pages.detail.Index", {{"pageUrl", "pages/detail/Index"}}));
    EXPECT_TRUE(completes(BUNDLE + "/Main.Entry..", {{"pageUrl", "/"}}));
    // The user of an unknown uid is the bundle's, if it is installed.
    EXPECT_TRUE(completes(BUNDLE + "/Main.Entry.a", {{"pageUrl", "a"}, {"uid", "0"}}));
    EXPECT_FALSE(
        completes("com.other.app/Main.Entry.b", {{"pageUrl", "b"}, {"bundleName", "com.other.app"}, {"uid", ""}}));
    EXPECT_EQ(CountLogs("Failed to get bundle info"), 1u);
}

// (a) A page for which there is room is collected at once, and (b) pauses and ends like a start; (c) for another page
// there is no room, and the work on the page before ends all the same.
TEST_F(ExactPrereadTest, PageIsServedWhileThereIsRoomBesideTheSet) {
    TopSceneManagerRt::GetInstance().Init(1);
    const std::string scene = BUNDLE + "/EntryAbility.pages.List";
    Send(RES_TYPE_USER_INPUT, 1, {});
    EXPECT_EQ(Page(0, {{"pageUrl", "pages/List"}}),
              (Effects{"monitor0/workingset.data <- 1000 42 " + scene + " " + RECORDS + scene,
                       "monitor0/workingset.state <- INWORKING", "monitor0/workingset.clearYoung <- 42",
                       "monitor0/cgroup.procs <- 42"}));
    Page(1, {{"pageUrl", "pages/List"}});
    EXPECT_EQ(WaitFor(500), PAUSE);
    Send(RES_TYPE_USER_INPUT, 1, {});
    EXPECT_EQ(Page(0, {{"pageUrl", "pages/Other"}}), STOP);
    EXPECT_FALSE(work_->HasValidScene());
}

// Nothing in the plugin posts the pause of everything; whoever does starts a cycle, which the next page ends.
TEST_F(ExactPrereadTest, PauseOfEverythingRepeatsUntilThePageAfterIt) {
    StartCollecting();
    IOSchedEventUtil::GetInstance().GetIOSchedEventCallback()->OnEventPost(IOSCHED_EVENT_PAUSE_COLLECT_TIMEOUT, 10);
    EXPECT_EQ(WaitFor(9), Effects());
    EXPECT_EQ(WaitFor(1), (Effects{"cgroup.procs <- 42", "monitor0/workingset.state <- PAUSED"}));
    EXPECT_EQ(Stage(), WorkTask::PAUSE_ALL_COLLECT);
    work_->sceneInfo.curTask = WorkTask::COLLECT;
    RunFor(2999);
    EXPECT_EQ(Stage(), WorkTask::COLLECT);
    RunFor(1);
    EXPECT_EQ(Stage(), WorkTask::PAUSE_ALL_COLLECT);
    Page(0);
    EXPECT_EQ(Stage(), WorkTask::COLLECT);
    RunFor(3001);
    EXPECT_EQ(Stage(), WorkTask::COLLECT);
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
