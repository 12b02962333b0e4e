#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/replay/input_error.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// The plugin's dump command with its arguments; the journal's entry for it follows when the result is there.
struct DumpStep {
    std::vector<std::string> args;
};

struct ScenarioStep {
    int64_t timeUs;
    std::variant<DeviceStep, EventStep, DumpStep, ShutdownStep, PluginStep> action;
};

// What happens on the device, in order.
struct Scenario {
    // Patches that describe the device on which the plugin starts, in order.
    std::vector<DeviceStep> startDevice;
    std::vector<ScenarioStep> steps;
};

// Reads JSON Lines: one step a line, blank lines and comments in between. Every line is checked whole, the patches of
// device lines included, so that nothing can turn out wrong once a replay runs. `file` names the text in errors.
// On failure returns nothing and fills `error`.
std::optional<Scenario> ParseScenario(const std::string& file, std::string_view text, InputError& error);

// The same from a file.
std::optional<Scenario> LoadScenario(const std::string& file, InputError& error);

}  // namespace ZYRA::Host
