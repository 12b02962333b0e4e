// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "frame/io_sched_manager.h"
#include "tests/support/virtual_device_test.h"

namespace ZYRA::ResourceSchedule {

using Effects = std::vector<std::string>;

// The plugin's manager on a virtual device.
class PluginOnDeviceTest : public Host::VirtualDeviceTest {
protected:
    void TearDown() override {
        manager_.Deinit();
        VirtualDeviceTest::TearDown();
    }
    void Start() {
        manager_.Init();
        RunFor(0);
        TakeEffects();
    }
    // Dispatches the event, lets what it posts without a delay run, and gives what it did.
    Effects Send(uint32_t resType, int64_t value, const nlohmann::json& payload) {
        manager_.DispatchResource(std::make_shared<ResData>(ResData{resType, value, payload}));
        RunFor(0);
        return TakeEffects();
    }

    IOSchedManager& manager_ = IOSchedManager::GetInstance();
};

}  // namespace ZYRA::ResourceSchedule
