// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/common/io_sched_event_callback.h"
#include "frame/io_sched_manager.h"

namespace ZYRA::ResourceSchedule {

// Hands the features' wishes to the manager. Outlives the manager's registration in the hands of features; its
// operations then find the manager not inited.
class IOSchedManager::IOSchedEventCallbackImpl final : public IOSchedEventCallback {
public:
    void OnEventPost(uint32_t eventId, int64_t delayMs) override;
    void OnEventRemove(uint32_t eventId) override;
    void OnTaskPost(std::function<void()> task, const std::string& taskName, int64_t delayMs) override;
    void OnTaskRemove(const std::string& taskName) override;
    void OnTopSceneUpdate(std::shared_ptr<std::unordered_set<std::string>> topScenes) override;
    bool OnBatteryStateChange() override;
    void OnTopSceneDecay(std::shared_ptr<std::vector<std::string>> decayedScenes) override;
};

}  // namespace ZYRA::ResourceSchedule
