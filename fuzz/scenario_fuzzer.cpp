// Any text as a scenario: either it is refused with a place, or its steps are in the order of their times and its
// device patches can be applied to a device.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/replay/replay.h"
#include "host/replay/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZYRA::Host::InputError error;
    const auto scenario =
        ZYRA::Host::ParseScenario("input", std::string_view(reinterpret_cast<const char*>(data), size), error);
    if (!scenario) {
        if (error.Text().compare(0, 6, "input:") != 0) {
            std::abort();
        }
        return 0;
    }
    int64_t last = 0;
    for (const auto& step : scenario->steps) {
        if (step.timeUs < last) {
            std::abort();
        }
        last = step.timeUs;
    }
    ZYRA::Host::DeviceModel model;
    ZYRA::Host::ApplyStartDevice(*scenario, model);
    return 0;
}
