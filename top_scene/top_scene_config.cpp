// SPDX-License-Identifier: Apache-2.0
// What the learning takes from the host's configuration and from the size of the storage.

#include <algorithm>
#include <iterator>

#include "frame/common/common_util.h"
#include "frame/common/io_sched_log.h"
#include "top_scene/top_scene_manager.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char PLUGIN_NAME[] = "IO_SCHED";
constexpr char CONFIG_NAME[] = "topScene";
constexpr char TYPE_PROPERTY[] = "type";
constexpr char TRAIN_INTERVAL[] = "trainInterval";
constexpr char ROM_SIZE_PROPERTY[] = "romsize";
constexpr char TOP_N[] = "topN";
constexpr char INIT_TRAIN_TIMES[] = "init_train_times";
constexpr char INIT_STAGE[] = "init_stage";
constexpr char NORMAL_STAGE[] = "normal_stage";
// Words of the configuration that are reserved and not read.
[[maybe_unused]] constexpr char TOP_LEVEL[] = "topLevel";
[[maybe_unused]] constexpr char CONFIG[] = "config";

constexpr size_t LONGEST_VALUE = 8;

constexpr int32_t MOST_INIT_TRAIN_TIMES = 100;
constexpr int32_t LONGEST_INIT_STAGE_MIN = 720;
constexpr int32_t LONGEST_NORMAL_STAGE_MIN = 1440;
constexpr int32_t SECONDS_PER_MINUTE = 60;

// How many scenes a device with at most that much storage serves.
struct TopNForRom {
    long maxRomSizeGB;
    int32_t topN;
};

// Ascending; what is larger than the last is treated as the last.
constexpr TopNForRom DEFAULT_TOP_N[] = {{16, 100}, {32, 200}, {64, 500}, {128, 1000}, {256, 2000}, {512, 3000}};

bool IsNumber(const std::string& text) {
    return text.size() <= LONGEST_VALUE && CommonUtil::IsNumericString(text);
}

bool IsNumber(const SubItem& subItem) {
    return !subItem.name.empty() && IsNumber(subItem.value);
}

}  // namespace

void TopSceneManager::LoadTopSceneConfig(long romSize) {
    const PluginConfig config = PluginMgr::GetInstance().GetConfig(PLUGIN_NAME, CONFIG_NAME);
    if (config.itemList.empty()) {
        IOSCHED_LOGE("no topScene config item.");
        return;
    }
    bool isMatched = false;
    for (const Item& item : config.itemList) {
        const auto type = item.itemProperties.find(TYPE_PROPERTY);
        if (type != item.itemProperties.end() && type->second == TRAIN_INTERVAL) {
            ApplyTrainIntervalItem(item);
        } else if (!isMatched && item.itemProperties.contains(ROM_SIZE_PROPERTY)) {
            isMatched = ApplyRomItem(item, romSize);
        }
    }
    if (!isMatched) {
        ApplyDefaultTopNConfig(romSize);
    }
    IOSCHED_LOGI("LoadTopNSceneConfig success.");
}

void TopSceneManager::ApplyTrainIntervalItem(const Item& item) {
    int32_t initTrainTimes = -1;
    int32_t initStage = -1;
    int32_t normalStage = -1;
    for (const SubItem& subItem : item.subItemList) {
        if (!IsNumber(subItem)) {
            continue;
        }
        const int32_t value = CommonUtil::StringToInt32(subItem.value);
        if (subItem.name == INIT_TRAIN_TIMES) {
            initTrainTimes = value;
        } else if (subItem.name == INIT_STAGE) {
            initStage = value;
        } else if (subItem.name == NORMAL_STAGE) {
            normalStage = value;
        }
    }
    if (initTrainTimes >= 0) {
        initTrainTimes_ = std::min(initTrainTimes, MOST_INIT_TRAIN_TIMES);
    }
    if (initStage > 0) {
        initStageTrainInterval_ = std::min(initStage, LONGEST_INIT_STAGE_MIN) * SECONDS_PER_MINUTE;
    }
    // Unlike above, it is the current interval that is tested: an item that leaves the value out makes it negative, and
    // then every screen-off of a charging device trains.
    if (normalStageTrainInterval_ > 0) {
        normalStageTrainInterval_ = std::min(normalStage, LONGEST_NORMAL_STAGE_MIN) * SECONDS_PER_MINUTE;
    }
    IOSCHED_LOGI("initTrainTimes: %{public}d, initStageTrainInterval: %{public}d, normalStageTrainInterval:%{public}d,",
                 initTrainTimes_, initStageTrainInterval_, normalStageTrainInterval_);
}

bool TopSceneManager::ApplyRomItem(const Item& item, long romSize) {
    const std::string& bound = item.itemProperties.at(ROM_SIZE_PROPERTY);
    if (!IsNumber(bound)) {
        return false;
    }
    const long maxRomSize = CommonUtil::StringToInt32(bound);
    return maxRomSize >= romSize && maxRomSize / 2 < romSize && ApplyTopNConfig(item);
}

bool TopSceneManager::ApplyTopNConfig(const Item& item) {
    const auto subItem = std::find_if(item.subItemList.begin(), item.subItemList.end(), [](const SubItem& candidate) {
        return IsNumber(candidate) && candidate.name == TOP_N;
    });
    if (subItem == item.subItemList.end()) {
        return false;
    }
    const int32_t topN = CommonUtil::StringToInt32(subItem->value);
    if (topN < 1) {
        return false;
    }
    cacheTopNSceneNum_ = topN;
    IOSCHED_LOGI("ApplyTopNConfig cacheTopNSceneNum_ = %{public}d", cacheTopNSceneNum_);
    return true;
}

void TopSceneManager::ApplyDefaultTopNConfig(long romSize) {
    const auto row = std::find_if(std::begin(DEFAULT_TOP_N), std::prev(std::end(DEFAULT_TOP_N)),
                                  [romSize](const TopNForRom& candidate) { return romSize <= candidate.maxRomSizeGB; });
    cacheTopNSceneNum_ = row->topN;
    IOSCHED_LOGI("ApplyDefaultTopNConfig cacheTopNSceneNum_ = %{public}d", cacheTopNSceneNum_);
}

}  // namespace ZYRA::ResourceSchedule
