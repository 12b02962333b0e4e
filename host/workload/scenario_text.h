// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace ZYRA::Host {

// Makes the lines of a scenario. Single-threaded.
class ScenarioText {
public:
    using Write = std::function<void(std::string_view text)>;

    // `write` takes the lines in order, each with its line end.
    explicit ScenarioText(Write write) : write_(std::move(write)) {}

    // Bytes that are not UTF-8 are replaced.
    void Comment(std::string_view text);
    // Steps at that time. REQUIRES: `timeMs` is not below that of any step before, and every text is UTF-8.
    void Event(int64_t timeMs, uint32_t type, int64_t value, const nlohmann::json& payload);
    void Device(int64_t timeMs, const nlohmann::json& patch);

    uint64_t StepCount() const { return stepCount_; }

private:
    void Step(int64_t timeMs, std::string_view kind, std::string_view content);

    const Write write_;
    uint64_t stepCount_ = 0;
};

}  // namespace ZYRA::Host
