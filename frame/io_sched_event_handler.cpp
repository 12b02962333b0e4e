// SPDX-License-Identifier: Apache-2.0
#include "frame/io_sched_event_handler.h"

#include <utility>

#include "exact_preread/exact_preread.h"
#include "frame/common/common_util.h"
#include "frame/common/executor_request.h"
#include "frame/common/io_sched_event_id.h"
#include "frame/common/io_sched_log.h"
#include "frame/guarded_run.h"
#include "frame/resource_type.h"
#include "io_limit/io_limit_handler.h"
#include "platform/executor_client.h"
#include "top_scene/top_scene_manager_rt.h"

namespace ZYRA::ResourceSchedule {

namespace {

const std::string MAIN_QUEUE_NAME = "iosched_main_th";
constexpr int32_t MAIN_QUEUE_QOS = 5;
constexpr int64_t MB_PER_GB = 1024;

void HandleEventHandlerStart() {
    const int64_t deviceRomSizeGB = CommonUtil::GetTotalRomSize() / MB_PER_GB;
    const int64_t deviceRamSizeMB = CommonUtil::GetTotalRamSize();
    IOSCHED_LOGI("deviceRomSizeGB: %{public}ld, deviceRamSizeMB: %{public}ld", deviceRomSizeGB, deviceRamSizeMB);
    ExactPreread::GetInstance().Init(deviceRamSizeMB, deviceRomSizeGB);
}

void RouteAsyncEvent(uint32_t eventId) {
    switch (eventId) {
        case IOSCHED_EVENT_START_COLLECT_TIMEOUT:
            ExactPreread::GetInstance().HandleStartCollectTimeout();
            break;
        case IOSCHED_EVENT_DELAY_COLLECT_TIMEOUT:
            ExactPreread::GetInstance().HandleDelayCollectTimeout();
            break;
        case IOSCHED_EVENT_PAUSE_ALL_COLLECT_TIMEOUT:
            ExactPreread::GetInstance().HandlePauseAllCollectTimeout();
            break;
        case IOSCHED_EVENT_PAUSE_COLLECT_TIMEOUT:
            ExactPreread::GetInstance().HandlePauseCollectTimeout();
            break;
        case IOSCHED_EVENT_PRELOAD_TTL:
            ExactPreread::GetInstance().HandlePreloadTTL();
            break;
        default:
            break;
    }
}

// Most reasons for being on the white list come as pairs of events: one value begins it, another ends it.
void RouteWhitelistEvent(bool isInsert, const nlohmann::json& payload, WhitelistKind kind) {
    if (isInsert) {
        IolimitHandler::GetInstance().HandleWhitelistInsert(payload, kind);
    } else {
        IolimitHandler::GetInstance().HandleWhitelistErase(payload, kind);
    }
}

}  // namespace

IOSchedEventHandler::IOSchedEventHandler() : veloQueue_(TaskQueue::Create(MAIN_QUEUE_NAME, MAIN_QUEUE_QOS)) {
    if (veloQueue_ == nullptr) {
        IOSCHED_LOGE("IOSchedEventHandler create veloQueue_ failed!");
        return;
    }
    isCreated = true;
    IOSCHED_LOGI("IOSchedEventHandler is created.");
}

IOSchedEventHandler::~IOSchedEventHandler() {
    if (!isCreated) {
        IOSCHED_LOGE("IOSchedEventHandler has already been destroyed.");
        return;
    }
    // A running task uses the handler until it ends, and is to find it whole.
    veloQueue_->Close();
    isCreated = false;
    veloQueue_.reset();
    MutexLock lock(mutex_);
    asyncEventHandles.clear();
    IOSCHED_LOGI("IOSchedEventHandler is destroyed");
}

bool IOSchedEventHandler::CheckCreated(const char* operation) const {
    if (!isCreated) {
        IOSCHED_LOGE_AS(operation, "IOSchedEventHandler is not created.");
    }
    return isCreated;
}

void IOSchedEventHandler::ProcessResTypeEvent(uint32_t resType, int64_t value, const nlohmann::json& payload) {
    ProcessResTypeEvent(resType, value, nlohmann::json(payload));
}

void IOSchedEventHandler::ProcessResTypeEvent(uint32_t resType, int64_t value, nlohmann::json&& payload) {
    if (!CheckCreated(__func__)) {
        return;
    }
    IOSCHED_LOGD("ProcessResTypeEvent resType:%{public}u, value:%{public}ld", resType, value);
    veloQueue_->Submit(
        [this, resType, value, event = std::move(payload)] {
            RunGuarded("ProcessResTypeEvent", [&] { RouteResTypeEvent(resType, value, event); });
        },
        "ProcessResTypeEvent", 0);
}

// Nothing of the handler is touched after a feature's entry point has been called.
void IOSchedEventHandler::RouteResTypeEvent(uint32_t resType, int64_t value, const nlohmann::json& payload) {
    switch (resType) {
        case RES_TYPE_SCREEN:
            if (value == 0) {
                ExactPreread::GetInstance().HandleScreenOff();
            }
            break;
        case RES_TYPE_PROCESS_START:
            if (value == 0) {
                ExactPreread::GetInstance().HandleProcessStartComplete(payload);
                IolimitHandler::GetInstance().HandleProcessStart(payload);
                IolimitHandler::GetInstance().HandleWhitelistErase(payload, WhitelistKind::RES_TYPE_3_AND_4);
            }
            break;
        case RES_TYPE_USER_INPUT:
            if (value == 1) {
                ExactPreread::GetInstance().HandleUserInputEvent();
            }
            break;
        case RES_TYPE_PUSH_PAGE:
            if (value == 0 || value == 1) {
                ExactPreread::GetInstance().HandlePushPageAction(payload, value != 0);
            }
            break;
        case RES_TYPE_BUNDLE_ACTION:
            if (value == 0 || value == 1) {
                ExactPreread::GetInstance().HandleBundleAction(payload, value == 0);
            }
            break;
        case RES_TYPE_ABILITY_START:
            ExactPreread::GetInstance().HandleAbilityStart(value, payload);
            IolimitHandler::GetInstance().HandleAppStart(payload);
            break;
        case RES_TYPE_CUST_CONFIG:
            if (value == 0) {
                HandleTandemCustConfigRLocked(value);
            }
            break;
        case RES_TYPE_PRELOAD:
            if (value == 0) {
                ExactPreread::GetInstance().HandlePreloadApplication(payload);
            }
            break;
        case RES_TYPE_UNUSED_10011:
            break;
        default:
            IoLimitEvent(resType, value, payload);
            break;
    }
}

void IOSchedEventHandler::IoLimitEvent(uint32_t resType, int64_t value, const nlohmann::json& payload) {
    if (!CheckCreated(__func__)) {
        return;
    }
    const bool isZeroOrOne = value == 0 || value == 1;
    switch (resType) {
        case RES_TYPE_WHITELIST_3:
            if (value == 2 || value == 8) {
                RouteWhitelistEvent(true, payload, WhitelistKind::RES_TYPE_3_AND_4);
            }
            break;
        case RES_TYPE_CONTINUOUS_TASK:
            if (value == 0) {
                IolimitHandler::GetInstance().HandleContinuousBegin(payload);
            } else if (value == 1) {
                IolimitHandler::GetInstance().HandleContinuousEnd(payload);
            }
            break;
        case RES_TYPE_SLIDE:
            if (value == 1) {
                IolimitHandler::GetInstance().HandleSlideStart();
            } else if (value == 0) {
                IolimitHandler::GetInstance().HandleSlideEnd();
            }
            break;
        case RES_TYPE_WHITELIST_12:
            if (isZeroOrOne) {
                RouteWhitelistEvent(value == 1, payload, WhitelistKind::RES_TYPE_12);
            }
            break;
        case RES_TYPE_WHITELIST_70:
        case RES_TYPE_WHITELIST_83:
            if (isZeroOrOne) {
                RouteWhitelistEvent(value == 0, payload, WhitelistKind::RES_TYPE_70_AND_83);
            }
            break;
        default:
            break;
    }
}

void IOSchedEventHandler::HandleTandemCustConfigRLocked(int64_t value) {
    if (!CheckCreated(__func__) || value != 0) {
        return;
    }
    const nlohmann::json payload = {{EXT_TYPE_KEY, EXT_TYPE_IO_SCHED}};
    ExecutorClient::GetInstance().SendRequestAsync(EXECUTOR_RES_TYPE_EXTENSION, EXECUTOR_VALUE_CUST_CONFIG, payload);
}

void IOSchedEventHandler::ProcessIOSchedEvent(uint32_t eventId, uint64_t delayUs) {
    if (!CheckCreated(__func__)) {
        return;
    }
    IOSCHED_LOGD("ProcessIOSchedEvent eventId:%{public}u", eventId);
    veloQueue_->Submit(
        [eventId] {
            if (eventId == IOSCHED_EVENT_HANDLER_START) {
                RunGuarded("ProcessIOSchedEvent", HandleEventHandlerStart);
            }
        },
        "ProcessIOSchedEvent", delayUs);
}

void IOSchedEventHandler::ProcessTopNEvent(uint32_t eventId, std::shared_ptr<std::unordered_set<std::string>> scenes,
                                           uint64_t delayUs) {
    if (!CheckCreated(__func__)) {
        return;
    }
    IOSCHED_LOGD("ProcessThrdIOSchedEvent eventId:%{public}u", eventId);
    veloQueue_->Submit(
        [eventId, scenes = std::move(scenes)] {
            if (eventId == IOSCHED_EVENT_TOP_N_UPDATE && scenes != nullptr) {
                RunGuarded("ProcessTopNEvent", [&] { TopSceneManagerRt::GetInstance().UpdateTopNScene(*scenes); });
            }
        },
        "ProcessTopNEvent", delayUs);
}

void IOSchedEventHandler::ProcessIOSchedEventAsync(uint32_t eventId, uint64_t delayUs) {
    if (!CheckCreated(__func__)) {
        return;
    }
    MutexLock lock(mutex_);
    IOSCHED_LOGD("ProcessIOSchedEventAsync eventId:%{public}u", eventId);
    std::vector<TaskHandle>& handles = asyncEventHandles[eventId];
    // Room first: a task that has been submitted can only be cancelled through its handle.
    handles.emplace_back();
    handles.back() = veloQueue_->SubmitWithHandle(
        [eventId] { RunGuarded("ProcessIOSchedEventAsync", [eventId] { RouteAsyncEvent(eventId); }); },
        "ProcessIOSchedEventAsync", delayUs);
}

void IOSchedEventHandler::RemoveIOSchedEventAsync(uint32_t eventId) {
    if (!CheckCreated(__func__)) {
        return;
    }
    MutexLock lock(mutex_);
    IOSCHED_LOGD("RemoveIOSchedEventAsync eventId:%{public}u", eventId);
    const auto pending = asyncEventHandles.find(eventId);
    if (pending == asyncEventHandles.end()) {
        return;
    }
    for (auto handle = pending->second.rbegin(); handle != pending->second.rend(); ++handle) {
        veloQueue_->Cancel(*handle);
    }
    asyncEventHandles.erase(pending);
}

void IOSchedEventHandler::PostTaskThrd(std::function<void()> task, uint64_t delayUs) {
    if (!CheckCreated(__func__)) {
        return;
    }
    veloQueue_->Submit([task = std::move(task)] { RunGuarded("PostTaskThrd", task); }, "PostTaskThrd", delayUs);
}

}  // namespace ZYRA::ResourceSchedule
