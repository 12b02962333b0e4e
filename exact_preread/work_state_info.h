// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exact_preread/work_types.h"

namespace ZYRA::ResourceSchedule {

// The scene that exact preread works on, and how far it has come. The controller and the executor share the one
// instance and both write it. Main queue only: it has no lock.
class WorkStateInfo {
public:
    // Created on first use. Any thread.
    static std::shared_ptr<WorkStateInfo> GetInstance();

    // Whether there is a scene with a process, a stage and a name.
    bool HasValidScene() const;
    // Whether the scene is of that user and its name starts with `bundleName`. This is a test of a prefix: "com.a" also
    // matches the scenes of "com.ab".
    bool IsBelongToSameApp(int32_t uid, const std::string& bundleName) const;
    bool IsCurrentScene(int32_t uid, int32_t pid, const std::string& sceneName) const;
    bool IsAtPauseCollectTask() const;

    // Takes over the scene and leaves the name of `scene` empty. The other fields stay: whether the monitor that is
    // bound serves the new scene too is the executor's decision.
    void BindNewScene(SceneInfo& scene);
    // Back to the initial values, all of them.
    void ResetCurrentWork();

    // One line for the log.
    std::string Dump() const;

    SceneInfo sceneInfo;
    // WORK_... bits.
    uint8_t workState = 0;
    // The bound monitor, -1 for none.
    int8_t monitorIdx = -1;
    // As the executor last read it.
    RecordState recordState = RecordState::RECORD_STATE_UNSET;
    // A preload has prereaded the start-up scene: the ability start that follows is to skip its own preread.
    bool isPreloadPrereaded = false;
};

}  // namespace ZYRA::ResourceSchedule
