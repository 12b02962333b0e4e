// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "top_scene/values_bucket.h"

namespace ZYRA::ResourceSchedule {

// Rows of the scene database. Each translation takes what the row holds; a column that is missing or of another type
// gives the row's fallback, -1 or an empty text.

// How often a scene was launched since the last training.
struct TempSceneRecord {
    int32_t launchedCount = 0;
    std::string sceneName;  // Bundle name, "/", scene inside the application.

    static void TranslateToTempSceneRecord(const ValuesBucket& row, TempSceneRecord& record);
};

// What is known of a scene.
struct TopSceneRecord {
    int64_t topSceneId = 0;
    double decayLaunchedCount = 0;
    int32_t launchedCount = 0;  // Never decayed.
    bool isTopScene = false;
    bool isDeleted = false;  // Its bundle is not installed.
    std::string bundleName;
    std::string appIntraSceneName;

    static void TranslateToTopSceneRecord(const ValuesBucket& row, TopSceneRecord& record);
};

struct TrainHistoryRecord {
    int32_t trainHistoryId = 0;
    int32_t trainTimes = 0;
    int64_t lastTrainTime = 0;  // Seconds since the epoch.

    static void TranslateToTopSceneRecord(const ValuesBucket& row, TrainHistoryRecord& record);
};

}  // namespace ZYRA::ResourceSchedule
