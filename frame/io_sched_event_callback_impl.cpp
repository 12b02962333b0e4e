// SPDX-License-Identifier: Apache-2.0
#include "frame/io_sched_event_callback_impl.h"

#include <utility>

#include "exact_preread/exact_preread_executor.h"
#include "frame/common/io_sched_event_id.h"
#include "frame/io_sched_event_handler.h"
#include "frame/power_mgr_util.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr uint64_t US_PER_MS = 1000;
constexpr uint32_t FEATURE_EVENT_COUNT = IOSCHED_EVENT_PRELOAD_TTL - IOSCHED_EVENT_START_COLLECT_TIMEOUT + 1;

// Ids below the first wrap round and end up far above the last.
constexpr bool IsFeatureEvent(uint32_t eventId) {
    return eventId - IOSCHED_EVENT_START_COLLECT_TIMEOUT < FEATURE_EVENT_COUNT;
}

}  // namespace

void IOSchedManager::IOSchedEventCallbackImpl::OnEventPost(uint32_t eventId, int64_t delayMs) {
    IOSchedManager& manager = IOSchedManager::GetInstance();
    MutexLock lock(manager.mutex_);
    if (IsFeatureEvent(eventId) && manager.isInited) {
        // Unsigned, so that a senseless delay wraps to some other delay and is no undefined behaviour.
        manager.eventHandler_->ProcessIOSchedEventAsync(eventId, static_cast<uint64_t>(delayMs) * US_PER_MS);
    }
}

void IOSchedManager::IOSchedEventCallbackImpl::OnEventRemove(uint32_t eventId) {
    IOSchedManager& manager = IOSchedManager::GetInstance();
    MutexLock lock(manager.mutex_);
    if (IsFeatureEvent(eventId) && manager.isInited) {
        manager.eventHandler_->RemoveIOSchedEventAsync(eventId);
    }
}

void IOSchedManager::IOSchedEventCallbackImpl::OnTaskPost(std::function<void()> task, const std::string& taskName,
                                                          int64_t delayMs) {
    IOSchedManager::GetInstance().PostTaskToAsyncThrd(std::move(task), taskName, static_cast<uint64_t>(delayMs));
}

void IOSchedManager::IOSchedEventCallbackImpl::OnTaskRemove(const std::string& taskName) {
    IOSchedManager::GetInstance().RemoveTaskOnAsyncThrd(taskName);
}

void IOSchedManager::IOSchedEventCallbackImpl::OnTopSceneUpdate(
    std::shared_ptr<std::unordered_set<std::string>> topScenes) {
    IOSchedManager& manager = IOSchedManager::GetInstance();
    MutexLock lock(manager.mutex_);
    if (manager.isInited) {
        manager.eventHandler_->ProcessTopNEvent(IOSCHED_EVENT_TOP_N_UPDATE, std::move(topScenes), 0);
    }
}

bool IOSchedManager::IOSchedEventCallbackImpl::OnBatteryStateChange() {
    return PowerMgrUtil::IsBatteryAtChargingState();
}

void IOSchedManager::IOSchedEventCallbackImpl::OnTopSceneDecay(
    std::shared_ptr<std::vector<std::string>> decayedScenes) {
    if (decayedScenes == nullptr) {
        return;
    }
    IOSchedManager& manager = IOSchedManager::GetInstance();
    MutexLock lock(manager.mutex_);
    if (!manager.isInited) {
        return;
    }
    for (const std::string& scene : *decayedScenes) {
        manager.exactPrereadExecutor_->RemoveSceneRecord(scene);
    }
}

}  // namespace ZYRA::ResourceSchedule
