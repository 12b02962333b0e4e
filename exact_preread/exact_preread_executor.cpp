// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/exact_preread_executor.h"

#include "exact_preread/workingset_paths.h"
#include "frame/common/io_sched_log.h"

namespace ZYRA::ResourceSchedule {

ExactPrereadExecutor::ExactPrereadExecutor()
    : isRecordDirectoryExisted_(CheckRecordDirectory()),
      workStateInfo_(WorkStateInfo::GetInstance()),
      commandHandlers_({
          {ExecutorCommand::CMD_START_APP_STARTUP_COLLECT, &ExactPrereadExecutor::StartAppStartupCollectWork},
          {ExecutorCommand::CMD_START_APP_STARTUP_PREREAD, &ExactPrereadExecutor::StartAppStartupPrereadWork},
          {ExecutorCommand::CMD_CONTINUE_APP_STARTUP_COLLECT, &ExactPrereadExecutor::ContinueAppStartupCollectWork},
          {ExecutorCommand::CMD_START_APP_INTRA_PREREAD_COLLECT,
           &ExactPrereadExecutor::StartAppIntraPrereadCollectWork},
          {ExecutorCommand::CMD_PAUSE_COLLECT, &ExactPrereadExecutor::PauseCollectWork},
          {ExecutorCommand::CMD_PAUSE_ALL_COLLECT, &ExactPrereadExecutor::PauseAllCollectWork},
          {ExecutorCommand::CMD_STOP_CURRENT, &ExactPrereadExecutor::StopCurrentWork},
          {ExecutorCommand::CMD_ABORT_CURRENT, &ExactPrereadExecutor::AbortCurrentWork},
      }),
      // Misspelt names included: whoever reads the logs by machine knows them like this.
      commandNames_({
          {ExecutorCommand::CMD_START_APP_STARTUP_COLLECT, "Start_app_start_up_collect"},
          {ExecutorCommand::CMD_START_APP_STARTUP_PREREAD, "Start_app_start_up_preread"},
          {ExecutorCommand::CMD_CONTINUE_APP_STARTUP_COLLECT, "Continue_app_start_up_collect"},
          {ExecutorCommand::CMD_START_APP_INTRA_PREREAD_COLLECT, "Start_app_instra_preread_collect"},
          {ExecutorCommand::CMD_PAUSE_COLLECT, "Pause_collect"},
          {ExecutorCommand::CMD_PAUSE_ALL_COLLECT, "Pasuse_all_collect"},
          {ExecutorCommand::CMD_STOP_CURRENT, "Stop_current"},
          {ExecutorCommand::CMD_ABORT_CURRENT, "Abort_current"},
      }),
      monitorStopCounts_(MONITOR_COUNT, 0) {}

void ExactPrereadExecutor::ExecuteCommand(ExecutorCommand cmd) {
    const auto handler = commandHandlers_.find(cmd);
    if (handler == commandHandlers_.end()) {
        EP_LOGE("unexpected cmd: %{public}d.", static_cast<int>(cmd));
        return;
    }
    if (handler->second(*this) || HasWorkState(WORK_FAILED)) {
        return;
    }
    const auto name = commandNames_.find(cmd);
    EP_LOGE("execute cmd:%{public}d, str: %{public}s failed.", static_cast<int>(cmd),
            name == commandNames_.end() ? "Undefined_cmd" : name->second.c_str());
    SetWorkState(WORK_FAILED);
}

bool ExactPrereadExecutor::StopCurrentWork() {
    if (HasWorkState(WORK_BOUND)) {
        const int8_t monitorIdx = workStateInfo_->monitorIdx;
        if (HasWorkState(WORK_COLLECTING) && !DetachAllProcessFromCgroup(monitorIdx)) {
            return false;
        }
        if (!ChangeMonitorState(monitorIdx, HasWorkState(WORK_FAILED) ? STATE_ABORT : STATE_STOP)) {
            return false;
        }
    }
    workStateInfo_->ResetCurrentWork();
    return true;
}

void ExactPrereadExecutor::ForceStopCurrentWork() {
    const int8_t monitorIdx = workStateInfo_->monitorIdx;
    if (IsMonitor(monitorIdx) && HasWorkState(WORK_BOUND)) {
        if (HasWorkState(WORK_COLLECTING)) {
            DetachAllProcessFromCgroup(monitorIdx);
        }
        // Only what was collected up to a regular pause is worth keeping.
        const bool isComplete =
            HasWorkState(WORK_PAUSED) && !HasWorkState(WORK_FAILED) && workStateInfo_->IsAtPauseCollectTask();
        ChangeMonitorState(monitorIdx, isComplete ? STATE_STOP : STATE_ABORT);
    }
    workStateInfo_->ResetCurrentWork();
}

bool ExactPrereadExecutor::StartAppStartupPrereadWork() {
    if (!CheckAndBindMonitorBeforeWorkStart()) {
        EP_LOGE("check workstate or bind monitor failed.");
        return false;
    }
    if (workStateInfo_->recordState == RecordState::RECORD_STATE_ABSENT) {
        return true;
    }
    EP_LOGD("StartAppStartupPrereadWork");
    RequestPreread();
    if (!ChangeMonitorState(workStateInfo_->monitorIdx, STATE_PAUSED)) {
        return false;
    }
    SetWorkState(WORK_PAUSED);
    return true;
}

bool ExactPrereadExecutor::StartAppStartupCollectWork() {
    if (!CheckAndBindMonitorBeforeWorkStart()) {
        EP_LOGE("check workstate or bind monitor failed.");
        return false;
    }
    if (!ChangeMonitorState(workStateInfo_->monitorIdx, STATE_INWORKING)) {
        return false;
    }
    if (workStateInfo_->recordState == RecordState::RECORD_STATE_UPTODATE) {
        return true;
    }
    EP_LOGD("StartAppStartupCollectWork");
    if (!StartCollect()) {
        return false;
    }
    ClearWorkState(WORK_PAUSED);
    return true;
}

bool ExactPrereadExecutor::ContinueAppStartupCollectWork() {
    if (!HasWorkState(WORK_BOUND | WORK_PAUSED) || HasWorkState(WORK_FAILED) ||
        !IsMonitor(workStateInfo_->monitorIdx)) {
        return false;
    }
    if (!CheckSceneBindingMonitor()) {
        EP_LOGE("the state of binding minitor: %{public}d is invalid", workStateInfo_->monitorIdx);
        return false;
    }
    EP_LOGI("ContinueAppStartupCollectWork");
    if (!StartCollect()) {
        return false;
    }
    ClearWorkState(WORK_PAUSED);
    return true;
}

bool ExactPrereadExecutor::StartAppIntraPrereadCollectWork() {
    if (!CheckAndBindMonitorBeforeWorkStart()) {
        EP_LOGE("check workstate or bind monitor failure.");
        return false;
    }
    if (workStateInfo_->recordState != RecordState::RECORD_STATE_ABSENT) {
        EP_LOGI("can do preread");
        RequestPreread();
    }
    const int8_t monitorIdx = workStateInfo_->monitorIdx;
    if (!ChangeMonitorState(monitorIdx, STATE_INWORKING)) {
        return false;
    }
    if (workStateInfo_->recordState == RecordState::RECORD_STATE_UPTODATE) {
        return true;
    }
    const int32_t pid = workStateInfo_->sceneInfo.pid;
    if (!ClearYoung(monitorIdx, std::to_string(pid))) {
        EP_LOGE("clear young failed, monitor: %{public}d, pid: %{public}d", monitorIdx, pid);
        return false;
    }
    EP_LOGI("need to collect");
    // Unlike the start-up commands, this one leaves WORK_PAUSED as it was.
    return StartCollect();
}

bool ExactPrereadExecutor::PauseCollectWork() {
    if (HasWorkState(WORK_FAILED)) {
        return false;
    }
    if (!HasWorkState(WORK_BOUND | WORK_COLLECTING) || HasWorkState(WORK_PAUSED)) {
        return true;
    }
    if (!ChangeMonitorState(workStateInfo_->monitorIdx, STATE_PAUSED)) {
        return false;
    }
    SetWorkState(WORK_PAUSED);
    return true;
}

bool ExactPrereadExecutor::PauseAllCollectWork() {
    if (HasWorkState(WORK_FAILED)) {
        return false;
    }
    if (!HasWorkState(WORK_BOUND | WORK_COLLECTING)) {
        return true;
    }
    const int8_t monitorIdx = workStateInfo_->monitorIdx;
    if (!DetachAllProcessFromCgroup(monitorIdx) || !ChangeMonitorState(monitorIdx, STATE_PAUSED)) {
        return false;
    }
    SetWorkState(WORK_PAUSED);
    ClearWorkState(WORK_COLLECTING);
    return true;
}

bool ExactPrereadExecutor::AbortCurrentWork() {
    if (HasWorkState(WORK_BOUND)) {
        const int8_t monitorIdx = workStateInfo_->monitorIdx;
        if (HasWorkState(WORK_COLLECTING) && !DetachAllProcessFromCgroup(monitorIdx)) {
            return false;
        }
        if (!ChangeMonitorState(monitorIdx, STATE_ABORT)) {
            return false;
        }
    }
    workStateInfo_->ResetCurrentWork();
    return true;
}

bool ExactPrereadExecutor::StartCollect() {
    const SceneInfo& scene = workStateInfo_->sceneInfo;
    bool isReady = AttachProcessToCgroup(workStateInfo_->monitorIdx, true, scene.pid);
    if (isReady && !CreateSceneRecordFile(scene.sceneName)) {
        EP_LOGE("failed to create scene record file.");
        isReady = false;
    }
    if (!isReady) {
        EP_LOGE("failed to start current scene collect work.");
        return false;
    }
    SetWorkState(WORK_COLLECTING);
    return true;
}

void ExactPrereadExecutor::RequestPreread() {
    AsyncStartPreread(workStateInfo_->sceneInfo, workStateInfo_->monitorIdx);
    SetWorkState(WORK_PREREADING);
}

}  // namespace ZYRA::ResourceSchedule
