// SPDX-License-Identifier: Apache-2.0
// What exact preread takes from the host's configuration and from the size of the device.

#include <algorithm>
#include <iterator>

#include "exact_preread/exact_preread.h"
#include "frame/common/common_util.h"
#include "frame/common/io_sched_log.h"
#include "platform/event_log.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char PLUGIN_NAME[] = "IO_SCHED";
constexpr char CONFIG_NAME[] = "exactPreread";
constexpr char TYPE_PROPERTY[] = "type";
constexpr char SWITCH[] = "switch";
constexpr char APP_STARTUP_SWITCH[] = "app_startup_switch";
constexpr char APP_INTRA_SWITCH[] = "app_intra_switch";
constexpr char EXCLUDED_APP[] = "excludedApp";
constexpr char BUNDLE_NAME[] = "bundleName";
constexpr char EXACT_FAULT_AROUND[] = "exactFaultAround";

constexpr int32_t SWITCHED_ON = 1;

// The time-outs of a device with at most that much memory.
struct CollectTimeouts {
    int64_t maxRamSizeMB;
    int32_t startMs;
    int32_t pauseAllMs;
    int32_t pauseMs;
    int32_t delayMs;
};

// Ascending in memory size. The third bound is no power of two on purpose: it decides what a 3 GB device gets.
constexpr CollectTimeouts COLLECT_TIMEOUTS[] = {
    {1024, 10000, 10000, 1000, 0},   {2048, 10000, 10000, 1500, 0},  {3076, 10000, 8000, 2000, 0},
    {4096, 10000, 8000, 2000, 0},    {6144, 10000, 8000, 3000, 200}, {8192, 10000, 8000, 5000, 500},
    {12288, 10000, 8000, 5000, 500},
};

}  // namespace

void ExactPreread::LoadExactPrereadConfig() {
    const PluginConfig config = PluginMgr::GetInstance().GetConfig(PLUGIN_NAME, CONFIG_NAME);
    if (config.itemList.empty()) {
        EP_LOGE("no exact preread config item.");
        EventLog::Write("RSS", "INIT_FAULT", EventLogType::FAULT,
                        {{"COMPONENT_NAME", std::string("IOSched")},
                         {"ERR_TYPE", std::string("configure error")},
                         {"ERR_MSG", std::string("ExactPreread: no exact preread config item!")}});
        return;
    }
    for (const Item& item : config.itemList) {
        const auto type = item.itemProperties.find(TYPE_PROPERTY);
        if (type == item.itemProperties.end()) {
            continue;
        }
        if (type->second == SWITCH) {
            ApplySwitchConfig(item);
        } else if (type->second == EXCLUDED_APP) {
            ApplyExcludedApp(item);
        } else if (type->second == EXACT_FAULT_AROUND) {
            ApplyExactFaultAroundConfig(item);
        } else {
            EP_LOGE("unexcepted item type.");
        }
    }
    EP_LOGI("LoadExactPrereadConfig success.");
}

void ExactPreread::ApplySwitchConfig(const Item& item) {
    for (const SubItem& subItem : item.subItemList) {
        if (CommonUtil::StringToInt32(subItem.value) != SWITCHED_ON) {
            continue;
        }
        if (subItem.name == SWITCH) {
            isEnabled_ = true;
        } else if (subItem.name == APP_STARTUP_SWITCH) {
            isAppStartupEnabled_ = true;
        } else if (subItem.name == APP_INTRA_SWITCH) {
            isAppIntraEnabled_ = true;
        } else {
            EP_LOGE("unexcepted sub item name");
        }
    }
    EP_LOGI("isEnabled_:%{public}d, isAppStartupEnabled_: %{public}d, misAppIntraEnabled_:%{public}d",
            isEnabled_.load(), isAppStartupEnabled_, isAppIntraEnabled_);
}

void ExactPreread::ApplyExcludedApp(const Item& item) {
    excludedApps_.clear();
    std::string line;
    for (const SubItem& subItem : item.subItemList) {
        if (subItem.name != BUNDLE_NAME || subItem.value.empty()) {
            continue;
        }
        excludedApps_.insert(subItem.value);
        line += (line.empty() ? "" : " ") + subItem.value;
    }
    EP_LOGI("excludedApps: %{public}s", line.c_str());
}

void ExactPreread::ApplyExactFaultAroundConfig(const Item& item) {
    const bool isSwitchedOn = std::any_of(item.subItemList.begin(), item.subItemList.end(), [](const SubItem& subItem) {
        return subItem.name == SWITCH && CommonUtil::StringToInt32(subItem.value) == SWITCHED_ON;
    });
    const bool isAccepted = isSwitchedOn && executor_->EnableExactFaultAround();
    EP_LOGI("isExactFaultEnbaled: %{public}d, enablingStatus:%{public}d", isSwitchedOn, isAccepted);
}

void ExactPreread::LoadCollectTimeoutConfig(int64_t ramSizeMB) {
    const auto* row = std::find_if(std::begin(COLLECT_TIMEOUTS), std::end(COLLECT_TIMEOUTS),
                                   [ramSizeMB](const CollectTimeouts& r) { return r.maxRamSizeMB >= ramSizeMB; });
    if (row == std::end(COLLECT_TIMEOUTS)) {
        --row;
    }
    startCollectTimeout_ = row->startMs;
    pauseAllCollectTimeout_ = row->pauseAllMs;
    pauseCollectTimeout_ = row->pauseMs;
    delayCollectTimeout_ = row->delayMs;
    EP_LOGI(
        "delayCollectTimeout_:%{public}d, pauseCollectTimeout_:%{public}d,pauseAllCollectTimeout_:%{public}d, "
        "startCollectTimeout_:%{public}d",
        delayCollectTimeout_, pauseCollectTimeout_, pauseAllCollectTimeout_, startCollectTimeout_);
}

}  // namespace ZYRA::ResourceSchedule
