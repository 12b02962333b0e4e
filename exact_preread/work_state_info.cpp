// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/work_state_info.h"

#include <utility>

#include "platform/delayed_singleton.h"

namespace ZYRA::ResourceSchedule {

std::shared_ptr<WorkStateInfo> WorkStateInfo::GetInstance() {
    return DelayedSingleton<WorkStateInfo>::GetInstance();
}

bool WorkStateInfo::HasValidScene() const {
    return sceneInfo.uid != -1 && sceneInfo.pid != -1 && sceneInfo.curTask != WorkTask::NONE &&
           !sceneInfo.sceneName.empty();
}

bool WorkStateInfo::IsBelongToSameApp(int32_t uid, const std::string& bundleName) const {
    return uid == sceneInfo.uid && sceneInfo.sceneName.starts_with(bundleName);
}

bool WorkStateInfo::IsCurrentScene(int32_t uid, int32_t pid, const std::string& sceneName) const {
    return uid == sceneInfo.uid && pid == sceneInfo.pid && sceneName == sceneInfo.sceneName;
}

bool WorkStateInfo::IsAtPauseCollectTask() const {
    return sceneInfo.curTask == WorkTask::PAUSE_COLLECT || sceneInfo.curTask == WorkTask::PAUSE_ALL_COLLECT;
}

void WorkStateInfo::BindNewScene(SceneInfo& scene) {
    sceneInfo.uid = scene.uid;
    sceneInfo.pid = scene.pid;
    sceneInfo.curTask = scene.curTask;
    sceneInfo.isColdBoot = scene.isColdBoot;
    sceneInfo.sceneName = std::exchange(scene.sceneName, std::string());
}

void WorkStateInfo::ResetCurrentWork() {
    *this = WorkStateInfo();
}

std::string WorkStateInfo::Dump() const {
    std::string line = "WorkStateInfo: {sceneInfo: [";
    line += "uid: " + std::to_string(sceneInfo.uid) + ",";
    line += "pid: " + std::to_string(sceneInfo.pid) + ",";
    line += "isColdBoot: " + std::to_string(sceneInfo.isColdBoot) + ",";
    line += "sceneName: " + sceneInfo.sceneName + "],  ";
    line += "monitorIdx: " + std::to_string(monitorIdx) + ",";
    line += "workState: " + std::to_string(workState) + ",";
    line += "recordState: " + std::to_string(static_cast<unsigned>(recordState)) + "}";
    return line;
}

}  // namespace ZYRA::ResourceSchedule
