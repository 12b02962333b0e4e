// SPDX-License-Identifier: Apache-2.0
#include "top_scene/top_scene_manager.h"

#include <utility>

#include "frame/common/common_util.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/common/io_sched_log.h"
#include "top_scene/top_scene_manager_rt.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char LOAD_TOPN_TASK[] = "load_topn_task";
constexpr char SAVE_DB_TASK[] = "save_db_task";
constexpr char SAVE_RES_TASK[] = "save_res_task";
constexpr char UPDATE_DB_TASK[] = "update_db_task";
constexpr char DISCONNECT_DB_TASK[] = "discn_db_task";

constexpr char DATABASE_FILE[] = "top_scene.db";
constexpr char DATABASE_FOLDER[] = "/data/service/el1/public/ressched/";

constexpr size_t MOST_TEMP_SCENES = 50;

// Three and a half days.
constexpr int64_t CLOSE_DATABASE_DELAY_MS = 300000000;

}  // namespace

TopSceneManager& TopSceneManager::GetInstance() {
    static TopSceneManager instance;
    return instance;
}

void TopSceneManager::Init(long romSize) {
    auto callback = IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    {
        MutexLock lock(mutex_);
        callback_.swap(callback);
    }
    LoadTopSceneConfig(romSize);
    TopSceneManagerRt::GetInstance().Init(cacheTopNSceneNum_);
    {
        MutexLock lock(mutex_);
        isInited_ = true;
    }
    PostTask([this] { LoadTopScenes(); }, LOAD_TOPN_TASK, 0);
}

void TopSceneManager::HandleSceneInEvent(const std::string& sceneName) {
    SceneCounts scenes;
    {
        MutexLock lock(mutex_);
        if (!isInited_) {
            return;
        }
        ++tempScenes_[sceneName];
        if (tempScenes_.size() < MOST_TEMP_SCENES) {
            return;
        }
        scenes.swap(tempScenes_);
    }
    PostTask([this, scenes = std::move(scenes)] { PersistTempScenes(scenes); }, SAVE_DB_TASK, 0);
}

void TopSceneManager::HandleShutdownEvent() {
    SceneCounts scenes;
    if (TakeTempScenes(scenes)) {
        PostTask([this, scenes = std::move(scenes)] { PersistTempScenes(scenes); }, SAVE_DB_TASK, 0);
    }
}

void TopSceneManager::HandleScreenOffEvent() {
    SceneCounts scenes;
    if (TakeTempScenes(scenes)) {
        PostTask([this, scenes = std::move(scenes)] { PersistAndTrain(scenes); }, SAVE_RES_TASK, 0);
    }
}

void TopSceneManager::HandleBundleStateChangeEvent(const std::string& bundleName, bool isInstalled) {
    {
        MutexLock lock(mutex_);
        if (!isInited_ || bundleName.empty()) {
            return;
        }
    }
    PostTask([this, bundleName, isInstalled] { UpdateBundleStatus(bundleName, isInstalled); }, UPDATE_DB_TASK, 0);
}

bool TopSceneManager::TakeTempScenes(SceneCounts& scenes) {
    MutexLock lock(mutex_);
    if (!isInited_) {
        return false;
    }
    scenes.swap(tempScenes_);
    return true;
}

std::shared_ptr<IOSchedEventCallback> TopSceneManager::Callback() {
    MutexLock lock(mutex_);
    return callback_;
}

void TopSceneManager::PostTask(std::function<void()> task, const char* name, int64_t delayMs) {
    if (const auto callback = Callback(); callback != nullptr) {
        callback->OnTaskPost(std::move(task), name, delayMs);
    }
}

void TopSceneManager::LoadTopScenes() {
    OpenDatabase();
    if (topSceneDatabase_->QueryTrainStatus(trainTimes_, lastTrainTime_) == 0) {
        IOSCHED_LOGI("trainTimes: %{public}d, lastTrainTime:%{public}ld", trainTimes_, lastTrainTime_);
    } else {
        IOSCHED_LOGE("failed to query train status");
    }
    TrainContainer container;
    QueryActiveScenes(container);
    CalculateTopNScene(container);
    StoreTopScenes(container);
    PublishTopScenes(container);
    AutoCloseDatabase();
}

void TopSceneManager::PersistTempScenes(const SceneCounts& scenes) {
    OpenDatabase();
    if (!scenes.empty()) {
        if (topSceneDatabase_->AddTempScene(scenes) == 0) {
            IOSCHED_LOGI("persist temp scene to the db finished: %{public}lu",
                         static_cast<unsigned long>(scenes.size()));
        } else {
            IOSCHED_LOGE("persistent temp scene failed");
        }
    }
    AutoCloseDatabase();
}

void TopSceneManager::PersistAndTrain(const SceneCounts& scenes) {
    if (!scenes.empty()) {
        PersistTempScenes(scenes);
    }
    if (!IsTimeToTrain()) {
        return;
    }
    IOSCHED_LOGI("satisfy train condition.");
    OpenDatabase();
    StartTrainTopNScene();
    AutoCloseDatabase();
}

void TopSceneManager::UpdateBundleStatus(const std::string& bundleName, bool isInstalled) {
    OpenDatabase();
    if (topSceneDatabase_->UpdateTopSceneBundleStatus(bundleName, isInstalled) != 0) {
        IOSCHED_LOGE("update top scene bundle status fail.");
    }
    AutoCloseDatabase();
}

void TopSceneManager::OpenDatabase() {
    if (const auto callback = Callback(); callback != nullptr) {
        callback->OnTaskRemove(DISCONNECT_DB_TASK);
    }
    if (topSceneDatabase_ == nullptr) {
        topSceneDatabase_ = std::make_unique<TopSceneDatabase>(DATABASE_FILE, DATABASE_FOLDER);
    }
}

void TopSceneManager::AutoCloseDatabase() {
    PostTask([this] { topSceneDatabase_.reset(); }, DISCONNECT_DB_TASK, CLOSE_DATABASE_DELAY_MS);
}

}  // namespace ZYRA::ResourceSchedule
