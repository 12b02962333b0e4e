// SPDX-License-Identifier: Apache-2.0
#include "top_scene/top_scene_records.h"

#include "top_scene/top_scene_schema.h"

namespace ZYRA::ResourceSchedule {

void TempSceneRecord::TranslateToTempSceneRecord(const ValuesBucket& row, TempSceneRecord& record) {
    record.sceneName = row.GetString(SCENE_NAME);
    record.launchedCount = static_cast<int32_t>(row.GetInt64(LAUNCHED_COUNT));
}

void TopSceneRecord::TranslateToTopSceneRecord(const ValuesBucket& row, TopSceneRecord& record) {
    record.topSceneId = row.GetInt64(TOP_SCENE_ID);
    record.bundleName = row.GetString(BUNDLE_NAME);
    record.appIntraSceneName = row.GetString(APP_INTRA_SCENE_NAME);
    record.launchedCount = static_cast<int32_t>(row.GetInt64(LAUNCHED_COUNT));
    record.decayLaunchedCount = row.GetDouble(DECAY_LAUNCHED_COUNT);
    record.isTopScene = row.GetInt64(IS_TOP_SCENE) != 0;
    record.isDeleted = row.GetInt64(IS_DELETED) != 0;
}

void TrainHistoryRecord::TranslateToTopSceneRecord(const ValuesBucket& row, TrainHistoryRecord& record) {
    record.trainHistoryId = static_cast<int32_t>(row.GetInt64(TRAIN_HISTORY_ID));
    record.trainTimes = static_cast<int32_t>(row.GetInt64(TRAIN_TIMES));
    record.lastTrainTime = row.GetInt64(LAST_TRAIN_TIME);
}

}  // namespace ZYRA::ResourceSchedule
