// SPDX-License-Identifier: Apache-2.0
// How counted launches become the set of top scenes.

#include <algorithm>
#include <limits>
#include <utility>

#include "frame/common/common_util.h"
#include "frame/common/io_sched_log.h"
#include "platform/oobe_manager.h"
#include "platform/service_registry.h"
#include "top_scene/top_scene_manager.h"

namespace ZYRA::ResourceSchedule {

namespace {

// What a launch is worth after each training that follows it.
constexpr double DECAY_FACTOR = 0.900324;

// A scene that ranks below the set is forgotten once it is worth less than one launch.
constexpr double LEAST_DECAY_COUNT = 1.0;

std::string NameOf(const TopSceneRecord& scene) {
    return scene.bundleName + "/" + scene.appIntraSceneName;
}

}  // namespace

bool TopSceneManager::IsTimeToTrain() {
    // Unsigned, because a damaged database may hold any time.
    const auto timeInterval = static_cast<long>(static_cast<uint64_t>(CommonUtil::GetCurrentTimestamp()) -
                                                static_cast<uint64_t>(lastTrainTime_));
    const long trainInterval = trainTimes_ < initTrainTimes_ ? initStageTrainInterval_ : normalStageTrainInterval_;
    IOSCHED_LOGD("trainTimes: %{public}d,  timeInterval = %{public}ld, trainInterval:  %{public}ld", trainTimes_,
                 timeInterval, trainInterval);
    if (timeInterval < trainInterval) {
        return false;
    }
    const auto callback = Callback();
    return callback != nullptr && callback->OnBatteryStateChange();
}

// A failure of the database is logged, and the training goes on with what there is.
void TopSceneManager::StartTrainTopNScene() {
    TrainContainer container;
    if (topSceneDatabase_->QueryAllTempScene(container.tempScenes) != 0) {
        IOSCHED_LOGE("query all temp scene failed.");
    }
    if (container.tempScenes.empty()) {
        IOSCHED_LOGI("temp scene table is empty, no training.");
        return;
    }
    if (topSceneDatabase_->UpdateTopSceneData(DECAY_FACTOR, container.tempScenes) != 0) {
        IOSCHED_LOGE("update top scene data failed.");
    }
    // Every scene is loaded next; the launches are part of them.
    container.tempScenes = std::vector<TempSceneRecord>();
    QueryActiveScenes(container);
    HandleDeletedScene(container);
    CalculateTopNScene(container);
    StoreTopScenes(container);
    if (trainTimes_ < std::numeric_limits<int32_t>::max()) {
        ++trainTimes_;
    }
    lastTrainTime_ = CommonUtil::GetCurrentTimestamp();
    IOSCHED_LOGD("trainTimes: %{public}d, lastTrainTime: %{public}ld", trainTimes_, lastTrainTime_);
    if (topSceneDatabase_->UpdateTrainStatus(trainTimes_, lastTrainTime_) != 0) {
        IOSCHED_LOGE("failed to update train status.");
    }
    if (const auto callback = Callback(); callback != nullptr) {
        callback->OnTopSceneDecay(std::move(container.decayScenes));
    }
    PublishTopScenes(container);
}

void TopSceneManager::QueryActiveScenes(TrainContainer& container) {
    if (topSceneDatabase_->QueryActiveTopScene(container.activeTopScenes) == 0) {
        IOSCHED_LOGD("activeTopScenes_:%{public}ld", static_cast<long>(container.activeTopScenes.size()));
    } else {
        IOSCHED_LOGE("failed to query active top scene");
    }
}

void TopSceneManager::HandleDeletedScene(TrainContainer& container) {
    if (!OOBEManager::GetInstance().GetOOBValue()) {
        IOSCHED_LOGE("failed to get BundleMgrProxy,status is not agree");
        return;
    }
    const std::shared_ptr<BundleMgr> bundleMgr = GetBundleMgrProxy();
    if (bundleMgr == nullptr) {
        IOSCHED_LOGE("failed to get BundleMgrProxy.");
        return;
    }
    std::vector<BundleInfo> bundles;
    if (!bundleMgr->GetBundleInfos(BUNDLE_FLAG_DEFAULT, bundles, ALL_USER_ID)) {
        return;
    }
    std::unordered_set<std::string> installed;
    for (const BundleInfo& bundle : bundles) {
        installed.insert(bundle.name);
    }
    std::erase_if(container.activeTopScenes, [&](const TopSceneRecord& scene) {
        const bool isDeleted = !installed.contains(scene.bundleName);
        if (isDeleted) {
            container.deletedSceneIds.push_back(static_cast<int32_t>(scene.topSceneId));
        }
        return isDeleted;
    });
    if (topSceneDatabase_->UpdateTopSceneDeletedStatus(container.deletedSceneIds) != 0) {
        IOSCHED_LOGE("batch update top scene get deleted status failed.");
    }
}

std::shared_ptr<BundleMgr> TopSceneManager::GetBundleMgrProxy() {
    const std::shared_ptr<ServiceRegistry> registry = ServiceRegistry::GetInstance();
    if (registry == nullptr) {
        IOSCHED_LOGE("failed to get system abilityMgr.");
        return nullptr;
    }
    std::shared_ptr<BundleMgr> bundleMgr = InterfaceCast<BundleMgr>(registry->GetService(BUNDLE_MGR_SERVICE_ID));
    if (bundleMgr == nullptr) {
        IOSCHED_LOGE("failed to get bundle manager proxy.");
    }
    return bundleMgr;
}

void TopSceneManager::CalculateTopNScene(TrainContainer& container) {
    std::sort(container.activeTopScenes.begin(), container.activeTopScenes.end(),
              [](const TopSceneRecord& left, const TopSceneRecord& right) {
                  return left.decayLaunchedCount > right.decayLaunchedCount;
              });
    int32_t rank = 0;
    for (TopSceneRecord& scene : container.activeTopScenes) {
        if (rank < cacheTopNSceneNum_ && scene.launchedCount >= 1) {
            scene.isTopScene = true;
            container.topNScenes->insert(NameOf(scene));
            ++rank;
        } else if (scene.isTopScene) {
            scene.isTopScene = false;
            container.decayScenes->push_back(NameOf(scene));
        }
        // The rank never exceeds the size of the set, so for now every scene is remembered.
        if (rank > cacheTopNSceneNum_ && scene.decayLaunchedCount < LEAST_DECAY_COUNT) {
            container.removeSceneIds.push_back(static_cast<int32_t>(scene.topSceneId));
        }
    }
}

void TopSceneManager::StoreTopScenes(const TrainContainer& container) {
    if (topSceneDatabase_->UpdateTopSceneAfterTrain(container.activeTopScenes, container.removeSceneIds) != 0) {
        IOSCHED_LOGE("batch update top scene after train fail.");
    }
}

void TopSceneManager::PublishTopScenes(TrainContainer& container) {
    if (const auto callback = Callback(); callback != nullptr) {
        callback->OnTopSceneUpdate(std::move(container.topNScenes));
    }
}

}  // namespace ZYRA::ResourceSchedule
