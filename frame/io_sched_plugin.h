// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/plugin.h"

namespace ZYRA::ResourceSchedule {

// The name of the library, which is also the plugin's name in subscriptions.
constexpr char IOSCHED_PLUGIN_LIB_NAME[] = "libio_sched_plugin.z.so";

// What the host enables, disables and dispatches to. Any thread of the host's, none of the plugin's queues.
class IOSchedPlugin final : public Plugin {
public:
    static IOSchedPlugin& GetInstance();

    IOSchedPlugin() = default;
    ~IOSchedPlugin() override = default;
    IOSchedPlugin(const IOSchedPlugin&) = delete;
    IOSchedPlugin& operator=(const IOSchedPlugin&) = delete;

    void Init() override;
    void Disable() override;
    void DispatchResource(const std::shared_ptr<ResData>& data) override;

private:
    // REQUIRES: the caller holds the lock that makes switching one step.
    static void DisableLocked();
};

}  // namespace ZYRA::ResourceSchedule
