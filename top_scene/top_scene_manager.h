// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "frame/common/io_sched_event_callback.h"
#include "platform/bundle_mgr.h"
#include "platform/mutex.h"
#include "platform/plugin_mgr.h"
#include "top_scene/top_scene_database.h"
#include "top_scene/top_scene_records.h"

namespace ZYRA::ResourceSchedule {

// Learns which scenes are used most. Launches are counted in memory, flushed into the database in tasks of the
// background queue, and now and then, when the screen goes off on a charging device, made into a new set of the N most
// used scenes, with older launches counting less from training to training.
//
// The handlers return at once: what takes time they post. They do nothing before Init. Main queue only, except for
// HandleShutdownEvent, which may also come from the power manager's thread. Counts that are on their way in a task are
// lost when the task is discarded or fails. The instance outlives Deinit of the plugin: Init runs again then, with the
// unflushed counts, the configuration and the open database that there are.
class TopSceneManager {
public:
    static TopSceneManager& GetInstance();

    TopSceneManager(const TopSceneManager&) = delete;
    TopSceneManager& operator=(const TopSceneManager&) = delete;

    // Reads the configuration and posts the publication of the stored set. `romSize` is the size of the storage in GB.
    void Init(long romSize) EXCLUDES(mutex_);

    // Counts a launch of the scene. With the 50th different name since the last flush, everything is flushed.
    void HandleSceneInEvent(const std::string& sceneName) EXCLUDES(mutex_);
    // Flushes.
    void HandleShutdownEvent() EXCLUDES(mutex_);
    // Flushes, and trains if enough time has passed and the device charges.
    void HandleScreenOffEvent() EXCLUDES(mutex_);
    void HandleBundleStateChangeEvent(const std::string& bundleName, bool isInstalled) EXCLUDES(mutex_);

private:
    using SceneCounts = std::unordered_map<std::string, int32_t>;

    // What one training works on.
    struct TrainContainer {
        std::vector<TempSceneRecord> tempScenes;
        std::vector<TopSceneRecord> activeTopScenes;
        std::vector<int32_t> deletedSceneIds;
        std::vector<int32_t> removeSceneIds;
        std::unique_ptr<std::unordered_set<std::string>> topNScenes =
            std::make_unique<std::unordered_set<std::string>>();
        std::unique_ptr<std::vector<std::string>> decayScenes = std::make_unique<std::vector<std::string>>();
    };

    TopSceneManager() = default;

    // Configuration, run by Init.

    void LoadTopSceneConfig(long romSize);
    void ApplyTrainIntervalItem(const Item& item);
    // Both say whether they have set the size of the set.
    bool ApplyRomItem(const Item& item, long romSize);
    bool ApplyTopNConfig(const Item& item);
    void ApplyDefaultTopNConfig(long romSize);

    // Takes the counts out, so that counting starts afresh; false before Init.
    bool TakeTempScenes(SceneCounts& scenes) EXCLUDES(mutex_);
    // Null while the plugin was disabled at Init.
    std::shared_ptr<IOSchedEventCallback> Callback() EXCLUDES(mutex_);
    void PostTask(std::function<void()> task, const char* name, int64_t delayMs) EXCLUDES(mutex_);

    // Background queue: the tasks.

    void LoadTopScenes();
    void PersistTempScenes(const SceneCounts& scenes);
    void PersistAndTrain(const SceneCounts& scenes);
    void UpdateBundleStatus(const std::string& bundleName, bool isInstalled);

    // Background queue: their steps.

    // Keeps the database from being closed and opens it if need be.
    void OpenDatabase();
    // Closes it unless it is used again for a long time.
    void AutoCloseDatabase();
    bool IsTimeToTrain();
    void StartTrainTopNScene();
    void QueryActiveScenes(TrainContainer& container);
    // Takes the scenes of bundles that are not installed out, and marks them in the database. When that cannot be
    // known, every scene stays.
    void HandleDeletedScene(TrainContainer& container);
    std::shared_ptr<BundleMgr> GetBundleMgrProxy();
    // Ranks: decides who is top, who is not any more, and who is to be forgotten.
    void CalculateTopNScene(TrainContainer& container);
    void StoreTopScenes(const TrainContainer& container);
    void PublishTopScenes(TrainContainer& container);

    // Innermost: nothing else is called with it held.
    Mutex mutex_;
    bool isInited_ GUARDED_BY(mutex_) = false;

    // Written by Init, before it posts the first task, and constant until the next Init, which comes after the last.
    int32_t cacheTopNSceneNum_ = 500;
    int32_t initTrainTimes_ = 10;
    int32_t initStageTrainInterval_ = 240;    // Seconds.
    int32_t normalStageTrainInterval_ = 480;  // Seconds.

    // Background queue only.
    int32_t trainTimes_ = 0;
    long lastTrainTime_ = 0;  // Seconds since the epoch.

    // Launches by scene name that are not yet flushed.
    SceneCounts tempScenes_ GUARDED_BY(mutex_);

    // Background queue only. Null while closed.
    std::unique_ptr<TopSceneDatabase> topSceneDatabase_;

    std::shared_ptr<IOSchedEventCallback> callback_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::ResourceSchedule
