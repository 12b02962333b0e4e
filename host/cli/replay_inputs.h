// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "host/cli/exit_code.h"
#include "host/replay/device_model.h"
#include "host/replay/input_error.h"
#include "host/replay/replay.h"
#include "host/replay/scenario_file.h"
#include "host/sandbox/sandbox.h"

namespace ZYRA::Host {

// The options that every command with replays has.
struct ReplaySettings {
    std::string pluginFile;
    int64_t settleMs = 20000;

    // Adds the options, which write into this object.
    void AddTo(CLI::App& command);

    // The files are found before the sandbox, where paths may lead elsewhere. On failure returns nothing and fills
    // `error`.
    std::optional<ReplayOptions> Options(InputError& error) const;
};

// The plugin's library: the named one, or the one that belongs to this program.
bool FindPlugin(const std::string& named, std::string& realPath, InputError& error);

// The device document of a scenario: the one that the user names, else the one beside it, else "".
std::string DeviceFileOf(const std::string& scenarioFile, const std::string& named);

// The device of the document ("" is the default one) on which the scenario starts. On failure returns nothing and fills
// `error`.
std::optional<DeviceModel> LoadStartDevice(const std::string& deviceFile, const ScenarioFile& scenario,
                                           InputError& error);

// The sandbox for a device; `dataFolder` is its /data, "" for one of its own.
std::optional<SandboxConfig> SandboxOf(const DeviceModel& model, const std::string& dataFolder, InputError& error);

ExitCode ExitCodeOf(ReplayOutcome outcome);

}  // namespace ZYRA::Host
