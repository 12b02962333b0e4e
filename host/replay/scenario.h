// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/replay/device_model.h"
#include "host/replay/input_error.h"
#include "host/replay/json_node.h"
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

// Takes the lines of a scenario one after the other, from the first on. Every line is checked whole, the patches of
// device lines included, so that nothing can turn out wrong once a replay runs.
class ScenarioReader {
public:
    // `file` names the text in errors.
    explicit ScenarioReader(std::string file) : file_(std::move(file)) {}

    // What the next line, without its line end, asks for; nothing for a blank line or a comment. Throws InputFailure.
    std::optional<ScenarioStep> Read(std::string_view line);

    // Whether what has been read so far describes the device at the start: device lines do until a line of another kind
    // has come.
    bool IsDescribing() const { return isDescribing_; }

private:
    std::optional<ScenarioStep> ReadStep(const LocatedJson& line);
    int64_t ReadTime(const JsonNode& node) const;
    DeviceStep ReadDevice(const JsonNode& node);

    std::string file_;
    size_t lineNumber_ = 0;
    int64_t timeMs_ = 0;
    bool isDescribing_ = true;
    DeviceModel scratch_;  // Only to check patches on.
};

// Reads JSON Lines: one step a line, blank lines and comments in between. `file` names the text in errors.
// On failure returns nothing and fills `error`.
std::optional<Scenario> ParseScenario(const std::string& file, std::string_view text, InputError& error);

}  // namespace ZYRA::Host
