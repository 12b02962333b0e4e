// SPDX-License-Identifier: Apache-2.0
#include "host/workload/scenario_text.h"

#include "host/replay/printable.h"

namespace ZYRA::Host {

void ScenarioText::Comment(std::string_view text) {
    write_("{\"comment\":" + Quoted(text) + "}\n");
}

void ScenarioText::Event(int64_t timeMs, uint32_t type, int64_t value, const nlohmann::json& payload) {
    Step(timeMs, "event",
         "{\"type\":" + std::to_string(type) + ",\"value\":" + std::to_string(value) +
             ",\"payload\":" + payload.dump() + "}");
}

void ScenarioText::Device(int64_t timeMs, const nlohmann::json& patch) {
    Step(timeMs, "device", patch.dump());
}

// Put together by hand, so that the members stand in the order in which people read them.
void ScenarioText::Step(int64_t timeMs, std::string_view kind, std::string_view content) {
    ++stepCount_;
    std::string line = "{\"t\":" + std::to_string(timeMs) + ",\"";
    line.append(kind).append("\":").append(content).append("}\n");
    write_(line);
}

}  // namespace ZYRA::Host
