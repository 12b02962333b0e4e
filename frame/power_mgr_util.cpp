// SPDX-License-Identifier: Apache-2.0
#include "frame/power_mgr_util.h"

#include "exact_preread/exact_preread.h"
#include "frame/common/io_sched_log.h"
#include "frame/common/never_destroyed.h"
#include "frame/guarded_run.h"
#include "frame/io_sched_manager.h"
#include "platform/battery_client.h"
#include "platform/power_mgr_client.h"
#include "platform/service_registry.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr uint64_t REGISTRATION_RETRY_DELAY_US = 2000000;

// The clients are created on first use, by whichever thread comes first, and stay.

ShutdownClient& GetShutdownClient() {
    static NeverDestroyed<ShutdownClient> client;
    return client.Get();
}

BatteryClient& GetBatteryClient() {
    static NeverDestroyed<BatteryClient> client;
    return client.Get();
}

bool IsPowerManagerThere() {
    const std::shared_ptr<ServiceRegistry> registry = ServiceRegistry::GetInstance();
    return registry != nullptr && registry->GetService(POWER_MGR_SERVICE_ID) != nullptr;
}

}  // namespace

class PowerMgrUtil::IOSchedShutdownCallbackImpl final : public AsyncShutdownCallback {
public:
    // On a thread of the power manager's.
    void OnAsyncShutdown() override {
        RunGuarded(__func__, [] { ExactPreread::GetInstance().HandleShutdown(); });
    }
};

void PowerMgrUtil::RegisterShutdownCallback() {
    static constexpr char REGISTER_SHUTDOWN_CALLBACK[] = "RegisterShutdownCallback";
    bool isThere = false;
    const bool isTold = RunGuarded(REGISTER_SHUTDOWN_CALLBACK, [&isThere] {
        isThere = IsPowerManagerThere();
        if (!isThere || shutdownCallback_ != nullptr) {
            return;
        }
        const auto callback = std::make_shared<IOSchedShutdownCallbackImpl>();
        GetShutdownClient().RegisterShutdownCallback(callback, ShutdownPriority::LOW);
        shutdownCallback_ = callback;
        IOSCHED_LOGI_AS(REGISTER_SHUTDOWN_CALLBACK, "Register ShutdownCallback success");
    });
    // Nothing else would ever ask again.
    if (!isThere || !isTold) {
        PostRegistrationRetry();
    }
}

// Both callers hold the manager's main lock, which cannot be named in a declaration outside of the manager.
void PowerMgrUtil::PostRegistrationRetry() NO_THREAD_SAFETY_ANALYSIS {
    IOSchedManager::GetInstance().PostEventTaskWLocked(
        [] { IOSchedManager::GetInstance().RegisterShutdownCallbackWLocked(false); }, REGISTRATION_RETRY_DELAY_US);
}

void PowerMgrUtil::UnRegisterShutdownCallback() {
    if (shutdownCallback_ == nullptr) {
        return;
    }
    GetShutdownClient().UnRegisterShutdownCallback(shutdownCallback_);
    IOSCHED_LOGI("Unregister ShutdownCallback success");
    shutdownCallback_ = nullptr;
}

bool PowerMgrUtil::IsBatteryAtChargingState() {
    const BatteryChargeState state = GetBatteryClient().GetChargingStatus();
    return state == BatteryChargeState::ENABLED || state == BatteryChargeState::FULL;
}

}  // namespace ZYRA::ResourceSchedule
