// SPDX-License-Identifier: Apache-2.0
#include "top_scene/top_scene_manager_rt.h"

#include <utility>

#include "frame/common/io_sched_log.h"

namespace ZYRA::ResourceSchedule {

TopSceneManagerRt& TopSceneManagerRt::GetInstance() {
    static TopSceneManagerRt instance;
    return instance;
}

void TopSceneManagerRt::Init(int topNSceneNum) {
    cacheTopNSceneNum_ = topNSceneNum;
}

bool TopSceneManagerRt::IsTopNScene(const std::string& sceneName) {
    if (!isTrained_) {
        return false;
    }
    const bool isCached = cacheTopNScenes_.contains(sceneName);
    const bool isTopN = isCached || Admit(sceneName);
    IOSCHED_LOGD("sceneName: %{public}s, isTopNScene: %{public}d, isTrained: %{public}d", sceneName.c_str(), isTopN,
                 isCached);
    return isTopN;
}

bool TopSceneManagerRt::Admit(const std::string& sceneName) {
    if (newTopNScenes_.contains(sceneName)) {
        return true;
    }
    const auto held = static_cast<int64_t>(newTopNScenes_.size() + cacheTopNScenes_.size());
    if (held >= cacheTopNSceneNum_) {
        return false;
    }
    newTopNScenes_.insert(sceneName);
    return true;
}

void TopSceneManagerRt::UpdateTopNScene(std::unordered_set<std::string>& scenes) {
    // Moved from is not always empty.
    cacheTopNScenes_ = std::exchange(scenes, {});
    isTrained_ = true;
    newTopNScenes_.clear();
    IOSCHED_LOGI("UpdateTopNScene success, cacheTopNScenes_ size:%{public}ld",
                 static_cast<long>(cacheTopNScenes_.size()));
}

}  // namespace ZYRA::ResourceSchedule
