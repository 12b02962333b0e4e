// SPDX-License-Identifier: Apache-2.0
// Which monitor serves the current scene.

#include <cerrno>

#include "exact_preread/exact_preread_executor.h"
#include "exact_preread/workingset_paths.h"
#include "frame/common/file_system.h"
#include "frame/common/io_sched_log.h"
#include "platform/file_util.h"

namespace ZYRA::ResourceSchedule {

namespace {

// A monitor that is found busy once more than this is taken over.
constexpr uint8_t MAX_STOP_COUNT = 3;

// Room for the two numbers of a scene line, and its blanks.
constexpr size_t NUMBERS_SIZE = 32;

}  // namespace

bool ExactPrereadExecutor::CheckAndBindMonitorBeforeWorkStart() {
    if (HasWorkState(WORK_FAILED)) {
        return false;
    }
    if (HasWorkState(WORK_BOUND) && IsMonitor(workStateInfo_->monitorIdx)) {
        // The record state that was read when the monitor was bound goes on to hold.
        const bool isWritten = WriteSceneInfoToMonitor(workStateInfo_->sceneInfo, workStateInfo_->monitorIdx);
        if (!isWritten) {
            EP_LOGE("failed to write scene to prev monitor: %{public}s", workStateInfo_->Dump().c_str());
        }
        return isWritten;
    }
    int8_t monitorIdx = -1;
    if (!GetAvailableMonitor(monitorIdx)) {
        EP_LOGE("get invalid monitorIdx: %{public}d", monitorIdx);
        return false;
    }
    if (!BindCurrentSceneToMonitor(monitorIdx)) {
        EP_LOGE("failed to bind new scene to monitor:%{public}d.", monitorIdx);
        return false;
    }
    workStateInfo_->monitorIdx = monitorIdx;
    workStateInfo_->workState = WORK_BOUND;
    return true;
}

bool ExactPrereadExecutor::GetAvailableMonitor(int8_t& monitorIdx) {
    for (int8_t idx = 0; idx < MONITOR_COUNT; ++idx) {
        std::string state;
        if (!GetMonitorState(idx, state)) {
            EP_LOGE("failed to get monitor: %{public}d state.", idx);
            continue;
        }
        uint8_t& stopCount = monitorStopCounts_[static_cast<size_t>(idx)];
        if (state != STATE_OUTOFWORK && state != STATE_ABORT) {
            if (++stopCount <= MAX_STOP_COUNT) {
                continue;
            }
            EP_LOGI("detect minitor: %{public}d at stop state > %{public}d times, restore it", idx, MAX_STOP_COUNT);
            ResetMonitorInInvalidState(idx);
        }
        stopCount = 0;
        monitorIdx = idx;
        return true;
    }
    return false;
}

bool ExactPrereadExecutor::BindCurrentSceneToMonitor(int8_t monitorIdx) {
    if (!IsMonitor(monitorIdx)) {
        EP_LOGE("param error: monitorIdx:%{public}d ", monitorIdx);
        return false;
    }
    if (!WriteSceneInfoToMonitor(workStateInfo_->sceneInfo, monitorIdx)) {
        EP_LOGE("failed to write scene info to monitor:%{public}d", monitorIdx);
        return false;
    }
    RecordState recordState = RecordState::RECORD_STATE_UNSET;
    if (!GetRecordInfo(monitorIdx, recordState)) {
        EP_LOGE("failed to read record info: monitor: %{public}d", monitorIdx);
        return false;
    }
    workStateInfo_->recordState = recordState;
    return true;
}

bool ExactPrereadExecutor::WriteSceneInfoToMonitor(const SceneInfo& scene, int8_t monitorIdx) {
    if (!IsMonitor(monitorIdx)) {
        EP_LOGE("param error: monitorIdx:%{public}d ", monitorIdx);
        return false;
    }
    std::string line;
    line.reserve(NUMBERS_SIZE + sizeof(RECORD_DIRECTORY) + 2 * scene.sceneName.size());
    line.append(std::to_string(scene.uid)).append(" ").append(std::to_string(scene.pid)).append(" ");
    line.append(scene.sceneName).append(" ").append(RECORD_DIRECTORY).append(scene.sceneName);
    std::string realPath;
    if (!FileSystem::GetRealPath(MonitorFile(monitorIdx, DATA_FILE), realPath)) {
        EP_LOGE("failed to get real path, errno: %{public}d", errno);
        return false;
    }
    if (!SaveStringToFile(realPath, line, false)) {
        EP_LOGE("failed to bind scene:%{public}s to monitor: %{public}d.", scene.sceneName.c_str(), monitorIdx);
        return false;
    }
    return true;
}

bool ExactPrereadExecutor::CheckSceneBindingMonitor() {
    const int8_t monitorIdx = workStateInfo_->monitorIdx;
    std::string state;
    if (!GetMonitorState(monitorIdx, state)) {
        EP_LOGE("failed to get monitor: %{public}d state.", monitorIdx);
        return false;
    }
    if (state == STATE_PAUSED) {
        return true;
    }
    EP_LOGE("the state of minitor: %{public}d is invalid, restore it", monitorIdx);
    ResetMonitorInInvalidState(monitorIdx);
    return false;
}

bool ExactPrereadExecutor::ResetMonitorInInvalidState(int8_t monitorIdx) {
    if (!DetachAllProcessFromCgroup(monitorIdx)) {
        EP_LOGW("ResetMonitor %{public}d, detach all pids failed.", monitorIdx);
        return false;
    }
    if (!ChangeMonitorState(monitorIdx, STATE_ABORT)) {
        EP_LOGW("ResetMonitor %{public}d, abort failed.", monitorIdx);
        return false;
    }
    EP_LOGI("ResetMonitor %{public}d InInvalidState success", monitorIdx);
    return true;
}

}  // namespace ZYRA::ResourceSchedule
