// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "platform/mutex.h"
#include "platform/power_mgr_client.h"

namespace ZYRA::Host {

// The power manager of the virtual device: keeps the shutdown callbacks and calls them. Process-wide; thread-safe.
class PowerService {
public:
    static PowerService& GetInstance();

    void Register(const std::shared_ptr<AsyncShutdownCallback>& callback, ShutdownPriority priority);
    void UnRegister(const std::shared_ptr<AsyncShutdownCallback>& callback);

    // What a shutdown would call.
    size_t CallbackCount();

    // Calls every registered callback by priority, then by order of registration, on the calling thread and with no
    // lock held. Returns how many were called.
    size_t Shutdown();

    // The power manager has gone: the one that comes after it knows no callback.
    void ForgetCallbacks();

private:
    struct Registration {
        std::shared_ptr<AsyncShutdownCallback> callback;
        ShutdownPriority priority;
    };

    PowerService() = default;

    Mutex mutex_;
    std::vector<Registration> registrations_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
