// SPDX-License-Identifier: Apache-2.0
// Any text as a scenario: either it is refused with a line that it has, and with the same one behind comments, or every
// line is at most one step, the steps are in the order of their times, and all device patches can be applied.

#include <algorithm>
#include <cstdint>

#include "fuzz/require.h"
#include "host/replay/replay.h"
#include "host/replay/scenario.h"

using namespace ZYRA::Host;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto lines = static_cast<size_t>(1 + std::count(text.begin(), text.end(), '\n'));
    InputError error;
    InputError same;
    const auto scenario = ParseScenario("input", text, error);
    const bool isSame = ParseScenario("input", "{\"comment\": \"\"}\n \n" + text, same).has_value() == !!scenario;
    if (!scenario) {
        Require(error.Text().starts_with("input:") && error.line >= 1 && error.line <= lines, "a line of the text");
        Require(isSame && same.line == error.line + 2 && same.what == error.what, "the same error two lines below");
        return 0;
    }
    Require(isSame && scenario->steps.size() + scenario->startDevice.size() <= lines, "at most one step a line");
    DeviceModel model;
    ApplyStartDevice(scenario->startDevice, model);
    int64_t last = 0;
    for (const ScenarioStep& step : scenario->steps) {
        Require(step.timeUs >= last, "steps in the order of their times");
        last = step.timeUs;
        if (const auto* device = std::get_if<DeviceStep>(&step.action)) {
            LocatedJson document;
            document.value = device->patch;
            ApplyDevicePatch(JsonNode(document), DevicePhase::RUNNING, model);
        }
    }
    return 0;
}
