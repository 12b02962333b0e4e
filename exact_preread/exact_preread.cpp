// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/exact_preread.h"

#include <memory>
#include <utility>

#include "exact_preread/scene_name.h"
#include "frame/common/common_util.h"
#include "frame/common/io_sched_event_id.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/common/io_sched_log.h"
#include "frame/common/payload_reader.h"
#include "platform/ability_manager_client.h"
#include "platform/clock.h"
#include "platform/delayed_singleton.h"
#include "top_scene/top_scene_manager.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char UID_KEY[] = "uid";
constexpr char PID_KEY[] = "pid";
constexpr char CLIENT_PID_KEY[] = "clientPid";
constexpr char BUNDLE_NAME_KEY[] = "bundleName";
constexpr char PAGE_URL_KEY[] = "pageUrl";

constexpr int64_t TOUCH_DOWN_OR_COLD_START = 1;

constexpr uint32_t PUSH_PAGE_START = 0;
constexpr uint32_t PUSH_PAGE_COMPLETE = 1;

constexpr uint32_t BUNDLE_STATE_CHANGE = 0;
constexpr uint32_t BUNDLE_UNINSTALL = 1;

constexpr char REMOVE_BUNDLE_RECORD_TASK[] = "rm_bundle_rcrd";

}  // namespace

ExactPreread& ExactPreread::GetInstance() {
    static ExactPreread instance;
    return instance;
}

void ExactPreread::Init(int64_t ramSizeMB, int64_t romSizeGB) {
    workStateInfo_ = WorkStateInfo::GetInstance();
    executor_ = DelayedSingleton<ExactPrereadExecutor>::GetInstance();
    eventCallback_ = IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    if (bundleMgrClient_ == nullptr) {
        bundleMgrClient_ = std::make_unique<BundleMgrClient>();
    }
    LoadExactPrereadConfig();
    LoadCollectTimeoutConfig(ramSizeMB);
    TopSceneManager::GetInstance().Init(romSizeGB);
    EP_LOGI("ExactPreread::Init success.");
}

void ExactPreread::HandleAbilityStart(int64_t value, const nlohmann::json& payload) {
    HandleAppStartupPrereadWork(value, false, payload);
}

void ExactPreread::HandlePreloadApplication(const nlohmann::json& payload) {
    HandleAppStartupPrereadWork(0, true, payload);
}

void ExactPreread::HandleAppStartupPrereadWork(int64_t value, bool isPreload, const nlohmann::json& payload) {
    if (!isEnabled_ || !isAppStartupEnabled_) {
        return;
    }
    const auto texts = ReadPayload(payload, {UID_KEY, BUNDLE_NAME_KEY});
    if (!texts) {
        EP_LOGE("para error.");
        return;
    }
    const auto [uidText, bundleName] = *texts;
    const int32_t uid = CommonUtil::StringToInt32(*uidText);
    if (uid <= 0 || !CommonUtil::CheckBundleName(*bundleName)) {
        EP_LOGE("para error.");
        return;
    }
    if (isPreload) {
        EP_LOGD("HandlePreloadApplication");
        workStateInfo_->isPreloadPrereaded = true;
        PostEvent(IOSCHED_EVENT_PRELOAD_TTL, preloadTTL_);
    } else {
        EP_LOGD("HandleAbilityStart");
        if (workStateInfo_->HasValidScene() && workStateInfo_->IsBelongToSameApp(uid, *bundleName) &&
            workStateInfo_->isPreloadPrereaded) {
            EP_LOGI("preload application has preread, skip current work");
            workStateInfo_->isPreloadPrereaded = false;
            return;
        }
        if (value != TOUCH_DOWN_OR_COLD_START) {
            EP_LOGD("not in touchdown and in warmstart");
            return;
        }
    }
    // For a preload this may take back the mark and the event of just now.
    TryStopPreviousWork(uid, *bundleName);
    if (!IsExcluded(*bundleName)) {
        StartAppStartupPrereadWork(uid, 0, true, StartupSceneName(*bundleName));
    }
}

void ExactPreread::HandleProcessStartComplete(const nlohmann::json& payload) {
    if (!isEnabled_ || !isAppStartupEnabled_) {
        return;
    }
    const auto texts = ReadPayload(payload, {UID_KEY, PID_KEY, BUNDLE_NAME_KEY});
    if (!texts) {
        EP_LOGE("para error.");
        return;
    }
    const auto [uidText, pidText, bundleName] = *texts;
    const int32_t uid = CommonUtil::StringToInt32(*uidText);
    const int32_t pid = CommonUtil::StringToInt32(*pidText);
    if (uid < 1 || pid <= 0 || !CommonUtil::CheckBundleName(*bundleName) || IsExcluded(*bundleName)) {
        return;
    }
    StartAppStartupCollectWork(uid, pid, true, StartupSceneName(*bundleName));
}

void ExactPreread::HandlePushPageAction(const nlohmann::json& payload, uint32_t status) {
    if (!isEnabled_) {
        return;
    }
    const auto texts = ReadPayload(payload, {UID_KEY, CLIENT_PID_KEY, BUNDLE_NAME_KEY, PAGE_URL_KEY});
    if (!texts) {
        EP_LOGE("para error.");
        return;
    }
    const auto [uidText, pidText, bundleName, pageUrlText] = *texts;
    const std::string pageUrl = WithoutSlashes(*pageUrlText);
    const int32_t pid = CommonUtil::StringToInt32(*pidText);
    int32_t uid = CommonUtil::StringToInt32(*uidText);
    if (uid < 1) {
        uid = GetUidByBundleName(*bundleName);
    }
    if (pid < 1 || uid <= 0 || pageUrl.empty() || !CommonUtil::CheckBundleName(*bundleName) ||
        IsExcluded(*bundleName)) {
        return;
    }
    const std::string abilityName = WithoutSlashes(GetTopAbilityName());
    if (status == PUSH_PAGE_START) {
        HandlePushPageStart(uid, pid, *bundleName, abilityName, pageUrl);
    } else if (status == PUSH_PAGE_COMPLETE) {
        HandlePushPageComplete(uid, pid, *bundleName, abilityName, pageUrl);
    } else {
        EP_LOGE("unexpected PushPageAction status: %{public}u", status);
    }
}

void ExactPreread::HandleBundleAction(const nlohmann::json& payload, uint32_t action) {
    if (!isEnabled_) {
        return;
    }
    const auto texts = ReadPayload(payload, {BUNDLE_NAME_KEY});
    if (!texts) {
        EP_LOGE("para error.");
        return;
    }
    const auto [bundleName] = *texts;
    if (!CommonUtil::CheckBundleName(*bundleName)) {
        return;
    }
    if (action == BUNDLE_STATE_CHANGE) {
        TopSceneManager::GetInstance().HandleBundleStateChangeEvent(*bundleName, true);
    } else if (action == BUNDLE_UNINSTALL) {
        HandleBundleUninstall(*bundleName);
    } else {
        EP_LOGE("unexcepted bundleAction: %{public}u", action);
    }
}

void ExactPreread::HandleBundleUninstall(const std::string& bundleName) {
    if (!IsBundleCompletelyRemoved(bundleName)) {
        return;
    }
    EP_LOGD("bundle:%{public}s has been removed completely.", bundleName.c_str());
    if (eventCallback_ != nullptr) {
        // The task may outlive this event by far: it keeps the executor itself.
        eventCallback_->OnTaskPost([executor = executor_, bundleName] { executor->RemoveBundleRecord(bundleName); },
                                   REMOVE_BUNDLE_RECORD_TASK, 0);
    }
    TopSceneManager::GetInstance().HandleBundleStateChangeEvent(bundleName, false);
}

void ExactPreread::HandleScreenOff() {
    if (!isEnabled_) {
        return;
    }
    TopSceneManager::GetInstance().HandleScreenOffEvent();
    EP_LOGD("screenoff, report exact preread statistic info");
    executor_->ReportExactPrereadDfx();
}

// The executor of the main queue is not touched, and the lines bear the name of the callback that stands behind them.
void ExactPreread::HandleShutdown() {
    constexpr char ON_ASYNC_SHUTDOWN[] = "OnAsyncShutdown";
    if (!IsEnabled()) {
        return;
    }
    const std::shared_ptr<ExactPrereadExecutor> executor = DelayedSingleton<ExactPrereadExecutor>::GetInstance();
    if (!executor->BackupAllRecords()) {
        EP_LOGE_AS(ON_ASYNC_SHUTDOWN, "backup all records in cache failed.");
    }
    TopSceneManager::GetInstance().HandleShutdownEvent();
    EP_LOGD_AS(ON_ASYNC_SHUTDOWN, "shutdown, report exact preread statistic info");
    executor->ReportExactPrereadDfx();
}

void ExactPreread::HandleUserInputEvent() {
    if (!isEnabled_) {
        return;
    }
    lastInputTime_ = Clock::NowMs();
    EP_LOGD("update lastInputTime_ %{public}lu", static_cast<unsigned long>(lastInputTime_));
}

bool ExactPreread::IsExcluded(const std::string& bundleName) const {
    return excludedApps_.contains(bundleName);
}

bool ExactPreread::IsBundleCompletelyRemoved(const std::string& bundleName) {
    BundleInfo info;
    return !bundleMgrClient_->GetBundleInfo(bundleName, BUNDLE_FLAG_DEFAULT, info, ALL_USER_ID);
}

int32_t ExactPreread::GetUidByBundleName(const std::string& bundleName) {
    if (bundleName.empty()) {
        return -1;
    }
    BundleInfo info;
    if (!bundleMgrClient_->GetBundleInfo(bundleName, BUNDLE_FLAG_DEFAULT, info, ALL_USER_ID)) {
        EP_LOGE("Failed to get bundle info");
        return -1;
    }
    return info.uid;
}

std::string ExactPreread::GetTopAbilityName() {
    const auto client = AbilityManagerClient::GetInstance();
    return client == nullptr ? std::string() : client->GetTopAbility(true).abilityName;
}

void ExactPreread::PostEvent(uint32_t eventId, int64_t delayMs) {
    if (eventCallback_ != nullptr) {
        eventCallback_->OnEventPost(eventId, delayMs);
    }
}

void ExactPreread::RemoveEvent(uint32_t eventId) {
    if (eventCallback_ != nullptr) {
        eventCallback_->OnEventRemove(eventId);
    }
}

void ExactPreread::RemoveAllEvents() {
    RemoveEvent(IOSCHED_EVENT_START_COLLECT_TIMEOUT);
    RemoveEvent(IOSCHED_EVENT_DELAY_COLLECT_TIMEOUT);
    RemoveEvent(IOSCHED_EVENT_PAUSE_ALL_COLLECT_TIMEOUT);
    RemoveEvent(IOSCHED_EVENT_PAUSE_COLLECT_TIMEOUT);
    RemoveEvent(IOSCHED_EVENT_PRELOAD_TTL);
}

}  // namespace ZYRA::ResourceSchedule
