// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/mutex.h"
#include "platform/plugin_mgr.h"

namespace ZYRA::Host {

// The suspend manager, which the plugin reaches through a client and not by number; the number is the device model's.
constexpr int32_t SUSPEND_MGR_SERVICE_ID = 601;

struct DeviceBundle {
    int32_t uid = -1;
    bool systemApp = false;
    bool removable = true;
};

struct DeviceProcess {
    int32_t uid = -1;
    std::vector<std::string> bundles;
    bool foreground = false;
    bool frozen = false;
};

// What the platform services of the virtual device know. The default is a device without applications.
struct DeviceState {
    int32_t charging = 1;
    bool oobe = true;
    std::string topAbility = "EntryAbility";
    std::map<std::string, std::string> parameters = {{"zyra.boot.vendor.ddrsize", "8"}};
    // Services that are there; an id that is not listed is absent.
    std::map<int32_t, bool> services = {{401, true}, {501, true}, {SUSPEND_MGR_SERVICE_ID, true}, {3301, true}};
    std::map<std::string, DeviceBundle> bundles;
    std::map<int32_t, DeviceProcess> processes;
    // The plugin's configurations by name, for the plugin name "IO_SCHED".
    std::map<std::string, ResourceSchedule::PluginConfig> config;

    bool HasService(int32_t id) const {
        const auto service = services.find(id);
        return service != services.end() && service->second;
    }
};

// The state that the services answer from. Process-wide; thread-safe: a query works on one snapshot.
class DeviceServices {
public:
    static DeviceServices& GetInstance();

    void Set(DeviceState state);
    std::shared_ptr<const DeviceState> Snapshot();

private:
    DeviceServices();

    Mutex mutex_;
    std::shared_ptr<const DeviceState> state_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
