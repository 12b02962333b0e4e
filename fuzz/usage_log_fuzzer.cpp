// SPDX-License-Identifier: Apache-2.0
// Any text as a log of how a device was used: either it is refused with a place, or each of its rows is taken or named
// as bad, and those taken become a scenario that can be read, in which each has its place.

#include <cstdint>
#include <string_view>

#include "fuzz/require.h"
#include "host/replay/device_model.h"
#include "host/replay/scenario.h"
#include "host/workload/usage_import.h"
#include "host/workload/usage_log.h"

namespace {

using namespace ZYRA::Host;

void CheckImport(const UsageLog& log) {
    std::string text;
    ScenarioText scenarioText([&text](std::string_view lines) { text += lines; });
    UsageImport usage(log, scenarioText);
    usage.Run();

    InputError error;
    const auto document = ParseLocatedJson("device", usage.Device().dump(), 1, error);
    Require(document.has_value(), "a device model");
    DeviceModel model;
    ApplyDevicePatch(JsonNode(*document), DevicePhase::DESCRIBING, model);
    const auto scenario = ParseScenario("scenario", text, error);
    Require(scenario.has_value() && scenario->steps.size() == scenarioText.StepCount(), "a scenario of all steps");
    size_t starts = 0;
    size_t touches = 0;
    for (const ScenarioStep& step : scenario->steps) {
        const auto* event = std::get_if<EventStep>(&step.action);
        starts += event != nullptr && event->resType == 27 ? 1 : 0;
        touches += event != nullptr && event->resType == 9 ? 1 : 0;
    }
    Require(starts <= log.rows.size() && touches <= log.rows.size() && starts + touches >= log.rows.size(),
            "each row has its step");
}

void CheckLog(std::string_view text, const UsageColumns& columns) {
    UsageLog log;
    InputError error;
    const bool isUsable = ParseUsageLog("input", text, columns, log, error);
    Require(log.rowsRead == log.rows.size() + log.badRows.size(), "each row is taken or bad");
    size_t lastLine = 0;
    for (const InputError& badRow : log.badRows) {
        Require(badRow.line > lastLine && !badRow.what.empty(), "a bad row has its place");
        lastLine = badRow.line;
    }
    if (isUsable) {
        CheckImport(log);
    } else {
        Require(log.rows.empty() && error.Text().starts_with("input:"), "a place");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    CheckLog(text, {"app", "time", std::nullopt, std::nullopt});
    CheckLog(text, {"app", "time", "duration", "page"});
    return 0;
}
