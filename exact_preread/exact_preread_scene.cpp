// SPDX-License-Identifier: Apache-2.0
// The way of a scene through its stages: from the start of its work to the time-outs that end it.

#include "exact_preread/exact_preread.h"
#include "exact_preread/scene_name.h"
#include "frame/common/io_sched_event_id.h"
#include "frame/common/io_sched_log.h"
#include "platform/clock.h"
#include "top_scene/top_scene_manager.h"
#include "top_scene/top_scene_manager_rt.h"

namespace ZYRA::ResourceSchedule {

void ExactPreread::TryStopPreviousWork(int32_t uid, const std::string& bundleName) {
    const bool hasValidScene = workStateInfo_->HasValidScene();
    const bool isInputLater = lastInputTime_ > lastDisplayStartTime_;
    if (!hasValidScene || (!isInputLater && workStateInfo_->IsBelongToSameApp(uid, bundleName))) {
        return;
    }
    EP_LOGI("TryStopPreviousWork HasValidScene: %{public}d, lastInputTime_ > lastDisplayStartTime_: %{public}d",
            hasValidScene, isInputLater);
    executor_->ForceStopCurrentWork();
    RemoveAllEvents();
    workStateInfo_->isPreloadPrereaded = false;
}

void ExactPreread::BindNewScene(int32_t uid, int32_t pid, WorkTask task, bool isColdBoot,
                                const std::string& sceneName) {
    SceneInfo scene{uid, pid, task, isColdBoot, sceneName};
    workStateInfo_->BindNewScene(scene);
}

void ExactPreread::EnterCollect() {
    RemoveEvent(IOSCHED_EVENT_START_COLLECT_TIMEOUT);
    workStateInfo_->sceneInfo.curTask = WorkTask::COLLECT;
    PostEvent(IOSCHED_EVENT_START_COLLECT_TIMEOUT, startCollectTimeout_);
}

void ExactPreread::EnterDelayCollect() {
    RemoveEvent(IOSCHED_EVENT_START_COLLECT_TIMEOUT);
    RemoveEvent(IOSCHED_EVENT_DELAY_COLLECT_TIMEOUT);
    workStateInfo_->sceneInfo.curTask = WorkTask::DELAY_COLLECT;
    PostEvent(IOSCHED_EVENT_DELAY_COLLECT_TIMEOUT, delayCollectTimeout_);
}

void ExactPreread::StartAppStartupPrereadWork(int32_t uid, int32_t pid, bool isColdBoot, const std::string& sceneName) {
    EP_LOGI("appStartupScene %{public}s", sceneName.c_str());
    BindNewScene(uid, pid, WorkTask::APP_STARTUP_PREREAD, isColdBoot, sceneName);
    executor_->ExecuteCommand(ExecutorCommand::CMD_START_APP_STARTUP_PREREAD);
}

void ExactPreread::StartAppStartupCollectWork(int32_t uid, int32_t pid, bool isColdBoot, const std::string& sceneName) {
    // The scene was bound before its process existed, so with a pid of 0.
    if (workStateInfo_->sceneInfo.curTask != WorkTask::APP_STARTUP_PREREAD ||
        !workStateInfo_->IsCurrentScene(uid, 0, sceneName)) {
        EP_LOGD(
            "ignore process create complete event, uid:%{public}u, pid:%{public}d, isColdBoot:%{public}d, "
            "sceneName:%{public}s",
            static_cast<uint32_t>(uid), pid, isColdBoot, sceneName.c_str());
        return;
    }
    EP_LOGI("appStartupScene %{public}s", sceneName.c_str());
    BindNewScene(uid, pid, WorkTask::APP_STARTUP_PREREAD, isColdBoot, sceneName);
    EnterCollect();
    lastDisplayStartTime_ = Clock::NowMs();
    executor_->ExecuteCommand(ExecutorCommand::CMD_START_APP_STARTUP_COLLECT);
}

void ExactPreread::HandlePushPageStart(int32_t uid, int32_t pid, const std::string& bundleName,
                                       const std::string& abilityName, const std::string& pageUrl) {
    TryStopPreviousWork(uid, bundleName);
    lastDisplayStartTime_ = Clock::NowMs();
    EP_LOGD("update lastDisplayStartTime_ %{public}lu", static_cast<unsigned long>(lastDisplayStartTime_));

    const std::string startupScene = StartupSceneName(bundleName);
    if (isAppStartupEnabled_ && workStateInfo_->IsCurrentScene(uid, pid, startupScene)) {
        EP_LOGI("ContinueAppStartupCollectWork %{public}s", startupScene.c_str());
        ContinueAppStartupCollectWork();
        return;
    }
    const std::string pageScene = PageSceneName(bundleName, abilityName, pageUrl);
    if (isAppIntraEnabled_ && TopSceneManagerRt::GetInstance().IsTopNScene(pageScene)) {
        EP_LOGI("StartAppIntraPrereadCollectWork %{public}s", pageScene.c_str());
        StartAppIntraPrereadCollectWork(uid, pid, false, pageScene);
    }
    TopSceneManager::GetInstance().HandleSceneInEvent(pageScene);
}

void ExactPreread::ContinueAppStartupCollectWork() {
    RemoveAllEvents();
    workStateInfo_->isPreloadPrereaded = false;
    EnterCollect();
    // EnterCollect has just left every pause stage, so the executor is not told to continue from here: a page that
    // follows the first one only extends the collection that runs.
    if (workStateInfo_->IsAtPauseCollectTask()) {
        workStateInfo_->sceneInfo.curTask = WorkTask::COLLECT;
        executor_->ExecuteCommand(ExecutorCommand::CMD_CONTINUE_APP_STARTUP_COLLECT);
    }
}

void ExactPreread::StartAppIntraPrereadCollectWork(int32_t uid, int32_t pid, bool /*isColdBoot*/,
                                                   const std::string& sceneName) {
    // A page is never a cold boot, whatever the caller says.
    BindNewScene(uid, pid, WorkTask::COLLECT, false, sceneName);
    EnterCollect();
    executor_->ExecuteCommand(ExecutorCommand::CMD_START_APP_INTRA_PREREAD_COLLECT);
}

void ExactPreread::HandlePushPageComplete(int32_t uid, int32_t pid, const std::string& bundleName,
                                          const std::string& abilityName, const std::string& pageUrl) {
    const std::string startupScene = StartupSceneName(bundleName);
    if (isAppStartupEnabled_ && workStateInfo_->IsCurrentScene(uid, pid, startupScene)) {
        EP_LOGI("SendDelayCollectTimeoutEvent appStart %{public}s", startupScene.c_str());
        EnterDelayCollect();
        return;
    }
    const std::string pageScene = PageSceneName(bundleName, abilityName, pageUrl);
    if (isAppIntraEnabled_ && workStateInfo_->IsCurrentScene(uid, pid, pageScene)) {
        EP_LOGI("SendDelayCollectTimeoutEvent appIntra %{public}s", pageScene.c_str());
        EnterDelayCollect();
    }
}

void ExactPreread::HandleStartCollectTimeout() {
    executor_->ExecuteCommand(ExecutorCommand::CMD_ABORT_CURRENT);
}

void ExactPreread::HandleDelayCollectTimeout() {
    RemoveEvent(IOSCHED_EVENT_START_COLLECT_TIMEOUT);
    RemoveEvent(IOSCHED_EVENT_PAUSE_ALL_COLLECT_TIMEOUT);
    executor_->ExecuteCommand(ExecutorCommand::CMD_PAUSE_COLLECT);
    workStateInfo_->sceneInfo.curTask = WorkTask::PAUSE_COLLECT;
    PostEvent(IOSCHED_EVENT_PAUSE_ALL_COLLECT_TIMEOUT, pauseCollectTimeout_ - delayCollectTimeout_);
}

void ExactPreread::HandlePauseAllCollectTimeout() {
    workStateInfo_->sceneInfo.curTask = WorkTask::STOP_COLLECT;
    executor_->ExecuteCommand(ExecutorCommand::CMD_STOP_CURRENT);
}

// Nothing posts this event first; once something does, it keeps itself going.
void ExactPreread::HandlePauseCollectTimeout() {
    RemoveEvent(IOSCHED_EVENT_PAUSE_COLLECT_TIMEOUT);
    executor_->ExecuteCommand(ExecutorCommand::CMD_PAUSE_ALL_COLLECT);
    workStateInfo_->sceneInfo.curTask = WorkTask::PAUSE_ALL_COLLECT;
    PostEvent(IOSCHED_EVENT_PAUSE_COLLECT_TIMEOUT, pauseAllCollectTimeout_ - pauseCollectTimeout_);
}

void ExactPreread::HandlePreloadTTL() {
    EP_LOGD("HandlePreloadTTL");
    workStateInfo_->isPreloadPrereaded = false;
}

}  // namespace ZYRA::ResourceSchedule
