// SPDX-License-Identifier: Apache-2.0
#include "host/cli/replay_inputs.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <system_error>

#include "host/cli/wanted_file.h"
#include "host/replay/plugin_library.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t LONGEST_SETTLE_MS = 1000000000000;
constexpr int64_t US_PER_MS = 1000;
constexpr uint64_t BYTES_PER_GB = uint64_t{1} << 30;

}  // namespace

void ReplaySettings::AddTo(CLI::App& command) {
    command.add_option("--settle", settleMs, "For how long the device goes on after the last step")
        ->check(CLI::Range(int64_t{0}, LONGEST_SETTLE_MS).description(""))
        ->type_name("MS")
        ->capture_default_str();
    command.add_option("--plugin", pluginFile, "The plugin's library, in place of the one beside this program")
        ->type_name("PATH");
}

std::optional<ReplayOptions> ReplaySettings::Options(InputError& error) const {
    ReplayOptions options;
    options.settleUs = settleMs * US_PER_MS;
    return FindPlugin(pluginFile, options.pluginPath, error) ? std::optional(options) : std::nullopt;
}

bool FindPlugin(const std::string& named, std::string& realPath, InputError& error) {
    const std::string file = named.empty() ? PluginLibrary::DefaultPath() : named;
    if (!PathToRealPath(file, realPath)) {
        error = FileError(file);
        return false;
    }
    return true;
}

std::string DeviceFileOf(const std::string& scenarioFile, const std::string& named) {
    if (!named.empty()) {
        return named;
    }
    const auto beside = std::filesystem::path(scenarioFile).replace_extension(".device.json");
    std::error_code ignored;
    return std::filesystem::exists(beside, ignored) ? beside.string() : "";
}

std::optional<DeviceModel> LoadStartDevice(const std::string& deviceFile, const ScenarioFile& scenario,
                                           InputError& error) {
    auto model = deviceFile.empty() ? DeviceModel() : LoadDeviceModel(deviceFile, error);
    if (model) {
        ApplyStartDevice(scenario.StartDevice(), *model);
    }
    return model;
}

std::optional<SandboxConfig> SandboxOf(const DeviceModel& model, const std::string& dataFolder, InputError& error) {
    SandboxConfig sandbox{static_cast<uint64_t>(model.romGB) * BYTES_PER_GB, ""};
    if (!dataFolder.empty() && !FolderToRealPath(dataFolder, sandbox.dataDir)) {
        error = FileError(dataFolder);
        return std::nullopt;
    }
    return sandbox;
}

ExitCode ExitCodeOf(ReplayOutcome outcome) {
    switch (outcome) {
        case ReplayOutcome::DONE:
            return EXIT_DONE;
        case ReplayOutcome::FAILED:
            return EXIT_RUN_FAILED;
        case ReplayOutcome::BAD_PLUGIN:
            return EXIT_BAD_INPUT;
        case ReplayOutcome::NO_DEVICE:
            return EXIT_NO_SANDBOX;
    }
    return EXIT_RUN_FAILED;
}

}  // namespace ZYRA::Host
