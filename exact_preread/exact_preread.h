// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_set>

#include "exact_preread/exact_preread_executor.h"
#include "exact_preread/work_state_info.h"
#include "frame/common/io_sched_event_callback.h"
#include "platform/bundle_mgr.h"
#include "platform/plugin_mgr.h"

namespace ZYRA::ResourceSchedule {

// Turns what applications do into commands for the executor: a start prereads the application's start-up scene, the
// process that follows is collected if the record needs it, and the pages among the top scenes are treated alike. A
// while after the page is shown, collection is paused and then stopped.
//
// Main queue only, except for GetInstance, IsEnabled and HandleShutdown. Payloads may be anything; what is missing in
// them is logged. The instance outlives Deinit of the plugin: Init runs again then, while the switches and the current
// work stay.
class ExactPreread {
public:
    static ExactPreread& GetInstance();

    ExactPreread(const ExactPreread&) = delete;
    ExactPreread& operator=(const ExactPreread&) = delete;

    // Reads the configuration and starts the learning of top scenes. The other operations run after it.
    void Init(int64_t ramSizeMB, int64_t romSizeGB);

    // The master switch; while it is off no event does anything. Any thread.
    bool IsEnabled() const { return isEnabled_; }

    // Events of the host.

    // `value` is 1 when the application starts cold, or the touch that will start it has come down.
    void HandleAbilityStart(int64_t value, const nlohmann::json& payload);
    void HandlePreloadApplication(const nlohmann::json& payload);
    void HandleProcessStartComplete(const nlohmann::json& payload);
    // `status` is 0 when the page starts to be pushed, 1 when it is complete.
    void HandlePushPageAction(const nlohmann::json& payload, uint32_t status);
    // `action` is 1 for an uninstallation, 0 for any other change of the bundle.
    void HandleBundleAction(const nlohmann::json& payload, uint32_t action);
    void HandleScreenOff();
    // The device shuts down: saves what is only in memory, and reports. Any thread, after Init has begun.
    void HandleShutdown();
    void HandleUserInputEvent();

    // The time-outs that this class has posted.

    void HandleStartCollectTimeout();
    void HandleDelayCollectTimeout();
    void HandlePauseCollectTimeout();
    void HandlePauseAllCollectTimeout();
    void HandlePreloadTTL();

    // Configuration, run by Init.

    void LoadExactPrereadConfig();
    // Switches things on; nothing in the configuration switches them off.
    void ApplySwitchConfig(const Item& item);
    void ApplyExcludedApp(const Item& item);
    void ApplyExactFaultAroundConfig(const Item& item);
    void LoadCollectTimeoutConfig(int64_t ramSizeMB);

private:
    ExactPreread() = default;

    // Start-up scenes.
    void HandleAppStartupPrereadWork(int64_t value, bool isPreload, const nlohmann::json& payload);
    void StartAppStartupPrereadWork(int32_t uid, int32_t pid, bool isColdBoot, const std::string& sceneName);
    void StartAppStartupCollectWork(int32_t uid, int32_t pid, bool isColdBoot, const std::string& sceneName);
    void ContinueAppStartupCollectWork();

    // Pages. The ability name and the page URL have no "/" any more.
    void HandlePushPageStart(int32_t uid, int32_t pid, const std::string& bundleName, const std::string& abilityName,
                             const std::string& pageUrl);
    void HandlePushPageComplete(int32_t uid, int32_t pid, const std::string& bundleName, const std::string& abilityName,
                                const std::string& pageUrl);
    void StartAppIntraPrereadCollectWork(int32_t uid, int32_t pid, bool isColdBoot, const std::string& sceneName);

    // Stops the work on another application's scene, and on one of the same application if the user has acted since
    // the last page began.
    void TryStopPreviousWork(int32_t uid, const std::string& bundleName);
    void BindNewScene(int32_t uid, int32_t pid, WorkTask task, bool isColdBoot, const std::string& sceneName);
    // Sets the stage COLLECT and starts its time-out afresh.
    void EnterCollect();
    void EnterDelayCollect();
    bool IsExcluded(const std::string& bundleName) const;

    // Bundles.
    void HandleBundleUninstall(const std::string& bundleName);
    bool IsBundleCompletelyRemoved(const std::string& bundleName);
    // -1 when the bundle manager does not know it.
    int32_t GetUidByBundleName(const std::string& bundleName);
    static std::string GetTopAbilityName();

    // Without a callback, which is the case while the plugin is disabled, nothing is scheduled.
    void PostEvent(uint32_t eventId, int64_t delayMs);
    void RemoveEvent(uint32_t eventId);
    void RemoveAllEvents();

    std::shared_ptr<WorkStateInfo> workStateInfo_;
    std::shared_ptr<ExactPrereadExecutor> executor_;
    std::unique_ptr<BundleMgrClient> bundleMgrClient_;
    std::unordered_set<std::string> excludedApps_;
    std::shared_ptr<IOSchedEventCallback> eventCallback_;

    // Read by the shutdown thread as well.
    std::atomic<bool> isEnabled_ = false;
    bool isAppIntraEnabled_ = false;
    bool isAppStartupEnabled_ = false;

    // In milliseconds.
    int32_t startCollectTimeout_ = 8000;
    int32_t pauseAllCollectTimeout_ = 6000;
    int32_t pauseCollectTimeout_ = 1000;
    int32_t delayCollectTimeout_ = 0;
    int32_t preloadTTL_ = 3000;

    // Milliseconds since the epoch. Before anything has happened, input counts as later than display.
    int64_t lastInputTime_ = 1;
    int64_t lastDisplayStartTime_ = 0;
};

}  // namespace ZYRA::ResourceSchedule
