// SPDX-License-Identifier: Apache-2.0
#include "host/services/device_state.h"

namespace ZYRA::Host {

DeviceServices::DeviceServices() : state_(std::make_shared<const DeviceState>()) {}

DeviceServices& DeviceServices::GetInstance() {
    static DeviceServices& services = *new DeviceServices();
    return services;
}

void DeviceServices::Set(DeviceState state) {
    auto next = std::make_shared<const DeviceState>(std::move(state));
    MutexLock lock(mutex_);
    state_.swap(next);
}

std::shared_ptr<const DeviceState> DeviceServices::Snapshot() {
    MutexLock lock(mutex_);
    return state_;
}

}  // namespace ZYRA::Host
