// SPDX-License-Identifier: Apache-2.0
#include "host/services/device_state.h"
#include "platform/ability_manager_client.h"
#include "platform/battery_client.h"
#include "platform/oobe_manager.h"
#include "platform/suspend_manager_client.h"
#include "platform/system_parameter.h"

// The small clients: each answers from one snapshot of the device's state.

namespace ZYRA {

namespace {

std::shared_ptr<const Host::DeviceState> Device() {
    return Host::DeviceServices::GetInstance().Snapshot();
}

class DeviceAbilityManager final : public AbilityManagerClient {
public:
    ElementName GetTopAbility(bool /*isNeedLocalDeviceId*/) override { return {"", Device()->topAbility}; }
};

}  // namespace

AbilityManagerClient::~AbilityManagerClient() = default;

std::shared_ptr<AbilityManagerClient> AbilityManagerClient::GetInstance() {
    static const auto client = std::make_shared<DeviceAbilityManager>();
    return client;
}

BatteryChargeState BatteryClient::GetChargingStatus() {
    return static_cast<BatteryChargeState>(Device()->charging);
}

SuspendManagerClient& SuspendManagerClient::GetInstance() {
    static SuspendManagerClient client;
    return client;
}

bool SuspendManagerClient::IsProcessFrozen(int32_t uid, int32_t pid) {
    const auto device = Device();
    const auto process = device->processes.find(pid);
    return device->HasService(Host::SUSPEND_MGR_SERVICE_ID) && process != device->processes.end() &&
           process->second.uid == uid && process->second.frozen;
}

std::string GetParameter(const std::string& key, const std::string& defaultValue) {
    const auto device = Device();
    const auto parameter = device->parameters.find(key);
    return parameter == device->parameters.end() ? defaultValue : parameter->second;
}

namespace ResourceSchedule {

OOBEManager& OOBEManager::GetInstance() {
    static OOBEManager manager;
    return manager;
}

bool OOBEManager::GetOOBValue() {
    return Device()->oobe;
}

}  // namespace ResourceSchedule

}  // namespace ZYRA
