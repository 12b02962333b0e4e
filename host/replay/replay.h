// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/replay/device_model.h"
#include "host/replay/scenario_file.h"

namespace ZYRA::Host {

struct ReplayOptions {
    std::string pluginPath;
    int64_t settleUs = 20000000;  // For how long the device goes on after the last step.
    bool realTime = false;
};

enum class ReplayOutcome {
    DONE,
    FAILED,      // The plugin misbehaved, or the scenario could not be read to its end.
    BAD_PLUGIN,  // The library is no plugin.
    NO_DEVICE,   // The machine does not let us build the virtual device.
};

struct ReplayResult {
    ReplayOutcome outcome = ReplayOutcome::DONE;
    std::string error;  // One line, unless DONE.
    int64_t deviceUs = 0;
    int64_t wallUs = 0;
    std::optional<uint64_t> tasksRun;  // Unknown in real time.
};

// Plays a scenario on a virtual device: builds the device, loads the plugin and enables it at time 0, takes the steps
// in the order of their times, each after what was due until then, lets the device settle, disables and unloads the
// plugin. What happens goes to the journal, every step before its effects.
// `model` is the device at the start, on which the scenario's own start patches have been applied.
// REQUIRES: the process is in the sandbox, no other replay runs in it, and no step of the scenario has been taken.
ReplayResult RunReplay(const DeviceModel& model, ScenarioFile& scenario, const ReplayOptions& options);

// Applies the patches with which a scenario describes its device.
void ApplyStartDevice(const std::vector<DeviceStep>& startDevice, DeviceModel& model);

}  // namespace ZYRA::Host
