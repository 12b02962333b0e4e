// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "host/replay/device_model.h"
#include "host/replay/scenario_file.h"

namespace ZYRA::Host {

// How far a replay has come.
struct ReplayProgress {
    uint64_t steps = 0;  // Taken.
    int64_t deviceUs = 0;
};

struct ReplayOptions {
    std::string pluginPath;
    int64_t settleUs = 20000000;  // For how long the device goes on after the last step.
    bool realTime = false;
    // Called after each step and each task, in real time every now and then.
    std::function<void(const ReplayProgress&)> onProgress;
    // When a stop is requested the replay ends after the step or the task that runs.
    std::stop_token stop;
};

enum class ReplayOutcome {
    DONE,
    FAILED,      // The plugin misbehaved, or the scenario could not be read to its end.
    BAD_PLUGIN,  // The library is no plugin.
    NO_DEVICE,   // The machine does not let us build the virtual device.
};

struct ReplayResult {
    ReplayOutcome outcome = ReplayOutcome::DONE;
    std::string error;           // One line, unless DONE.
    bool isInterrupted = false;  // By a requested stop, before its end.
    uint64_t steps = 0;          // Taken, of `allSteps`.
    uint64_t allSteps = 0;
    int64_t deviceUs = 0;
    int64_t wallUs = 0;
    std::optional<uint64_t> tasksRun;  // Unknown in real time.
};

// Plays a scenario on a virtual device: builds the device, loads the plugin and enables it at time 0, takes the steps
// in the order of their times, each after what was due until then, lets the device settle, disables and unloads the
// plugin, also where it is stopped before. What happens goes to the journal, every step before its effects.
// `model` is the device at the start, on which the scenario's own start patches have been applied.
// REQUIRES: the process is in the sandbox, no other replay runs in it, and no step of the scenario has been taken.
ReplayResult RunReplay(const DeviceModel& model, ScenarioFile& scenario, const ReplayOptions& options);

// Applies the patches with which a scenario describes its device.
void ApplyStartDevice(const std::vector<DeviceStep>& startDevice, DeviceModel& model);

}  // namespace ZYRA::Host
