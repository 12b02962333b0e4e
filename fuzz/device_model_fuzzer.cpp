// SPDX-License-Identifier: Apache-2.0
// Any text as a device model: it is refused with a line that it has, or patches the plain members of a model as an
// implementation of RFC 7386 that is not ours would do it. Applied once more it changes nothing.

#include <algorithm>

#include "fuzz/require.h"
#include "host/replay/device_model.h"

using namespace ZYRA::Host;
using nlohmann::json;

namespace {

// The plain members: they read the same in every document.
json Describe(const DeviceModel& model) {
    const DeviceState& state = model.state;
    return {{"startTime", model.startTimeS},  {"romGB", model.romGB}, {"charging", state.charging},
            {"topAbility", state.topAbility}, {"oobe", state.oobe},   {"parameters", state.parameters}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    InputError error;
    try {
        if (const auto document = ParseLocatedJson("input", text, 1, error)) {
            const json defaults = Describe(DeviceModel());
            DeviceModel model;
            model.romGB = 64;
            model.state.charging = 3;
            model.state.topAbility = "Other";
            json expected = Describe(model);
            expected.merge_patch(document->value);
            for (int times = 1; times <= 2; ++times) {
                ApplyDevicePatch(JsonNode(*document), DevicePhase::DESCRIBING, model);
                const json described = Describe(model);
                for (const auto& [name, value] : described.items()) {
                    Require(value == expected.value(name, defaults[name]), "the model, patched: " + name);
                }
            }
            return 0;
        }
    } catch (const InputFailure& failure) {
        error = failure.error;
    }
    const auto lines = static_cast<size_t>(1 + std::count(text.begin(), text.end(), '\n'));
    Require(error.line >= 1 && error.line <= lines && !error.what.empty(), "an error has a line of the text");
    return 0;
}
