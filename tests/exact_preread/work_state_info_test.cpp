// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/work_state_info.h"

#include <gtest/gtest.h>

namespace ZYRA::ResourceSchedule {
namespace {

TEST(WorkStateInfoTest, SceneIsValidOnlyWithUserProcessStageAndName) {
    struct Row {
        SceneInfo scene;
        bool isValid;
    };
    const Row rows[] = {
        {{}, false},
        {{1000, 0, WorkTask::APP_STARTUP_PREREAD, true, "com.a/com.a"}, true},
        {{1000, 0, WorkTask::NONE, true, "com.a/com.a"}, false},
        {{-1, 0, WorkTask::COLLECT, false, "com.a/com.a"}, false},
        {{1000, -1, WorkTask::COLLECT, false, "com.a/com.a"}, false},
        {{1000, 42, WorkTask::COLLECT, false, ""}, false},
    };
    for (Row row : rows) {
        WorkStateInfo info;
        info.BindNewScene(row.scene);
        EXPECT_EQ(info.HasValidScene(), row.isValid) << info.Dump();
    }
}

TEST(WorkStateInfoTest, ApplicationIsMatchedByUserAndPrefixOfTheSceneName) {
    WorkStateInfo info;
    SceneInfo scene{1000, 0, WorkTask::COLLECT, true, "com.ab/com.ab"};
    info.BindNewScene(scene);

    EXPECT_TRUE(info.IsBelongToSameApp(1000, "com.ab"));
    EXPECT_TRUE(info.IsBelongToSameApp(1000, "com.a"));
    EXPECT_TRUE(info.IsBelongToSameApp(1000, ""));
    EXPECT_FALSE(info.IsBelongToSameApp(1001, "com.ab"));
    EXPECT_FALSE(info.IsBelongToSameApp(1000, "ab/com.ab"));
    EXPECT_FALSE(info.IsBelongToSameApp(1000, "com.ab/com.ab.c"));
}

TEST(WorkStateInfoTest, BindingKeepsTheMonitorAndResettingForgetsEverything) {
    const std::string initial =
        "WorkStateInfo: {sceneInfo: [uid: -1,pid: -1,isColdBoot: 0,sceneName: ],  monitorIdx: -1,workState: "
        "0,recordState: 0}";
    WorkStateInfo info;
    EXPECT_EQ(info.Dump(), initial);

    info.monitorIdx = 1;
    info.workState = WORK_BOUND | WORK_FAILED;
    info.recordState = RecordState::RECORD_STATE_OLDER;
    info.isPreloadPrereaded = true;
    SceneInfo scene{1000, 42, WorkTask::PAUSE_COLLECT, true, "com.a/com.a"};
    info.BindNewScene(scene);
    EXPECT_EQ(scene.sceneName, "");
    EXPECT_TRUE(info.IsAtPauseCollectTask());
    EXPECT_TRUE(info.isPreloadPrereaded);
    EXPECT_EQ(info.Dump(),
              "WorkStateInfo: {sceneInfo: [uid: 1000,pid: 42,isColdBoot: 1,sceneName: com.a/com.a],  monitorIdx: "
              "1,workState: 129,recordState: 3}");

    info.ResetCurrentWork();
    EXPECT_EQ(info.Dump(), initial);
    EXPECT_EQ(info.sceneInfo.curTask, WorkTask::NONE);
    EXPECT_FALSE(info.isPreloadPrereaded);
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
