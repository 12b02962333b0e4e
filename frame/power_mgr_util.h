// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace ZYRA::ResourceSchedule {

// The plugin's ties to the power manager and the battery service.
class PowerMgrUtil {
public:
    PowerMgrUtil() = delete;

    // Registers for the device's shutdown once; posts another try on the main queue while the power manager is not
    // there. REQUIRES (both): the manager's main lock is held.
    static void RegisterShutdownCallback();
    static void UnRegisterShutdownCallback();

    // Whether the charger is connected and in use, or the battery full. Any thread.
    static bool IsBatteryAtChargingState();

private:
    class IOSchedShutdownCallbackImpl;

    static void PostRegistrationRetry();

    // Null when not registered. Guarded by the manager's main lock.
    static inline std::shared_ptr<IOSchedShutdownCallbackImpl> shutdownCallback_;
};

}  // namespace ZYRA::ResourceSchedule
