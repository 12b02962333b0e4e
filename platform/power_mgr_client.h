// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform_api.h"

namespace ZYRA {

// Told when the device shuts down.
class PLATFORM_API AsyncShutdownCallback {
public:
    virtual ~AsyncShutdownCallback();
    // Called once for a shutdown, on a thread of the power manager's own, with no lock held. The device waits for it
    // for a bounded time. Must not throw.
    virtual void OnAsyncShutdown() = 0;
};

// Callbacks of a lower number are called earlier.
enum class ShutdownPriority : uint32_t { HIGH = 0, DEFAULT = 1, LOW = 2 };

// The power manager's shutdown client. Thread-safe; may be called with any lock of the plugin held.
class PLATFORM_API ShutdownClient {
public:
    // Registers a callback, which the client shares from then on. Repeats have no effect.
    void RegisterShutdownCallback(const std::shared_ptr<AsyncShutdownCallback>& callback, ShutdownPriority priority);
    // Ends that. Does not wait for a call that is in progress.
    void UnRegisterShutdownCallback(const std::shared_ptr<AsyncShutdownCallback>& callback);
};

}  // namespace ZYRA
