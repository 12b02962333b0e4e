// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "host/workload/application.h"
#include "host/workload/random.h"
#include "host/workload/scenario_text.h"
#include "host/workload/usage_log.h"
#include "host/workload/used_device.h"

namespace ZYRA::Host {

// Turns the rows of a log into what the person did. Where the log says nothing - how long a process takes to start, how
// many pages of memory a scene touches - numbers are made up, the same for the same log. Single-threaded; called once.
class UsageImport {
public:
    // Tells in the scenario which bundle names stand for labels that are none.
    // REQUIRES: the log has a row. The log and the scenario must outlive the import.
    UsageImport(const UsageLog& log, ScenarioText& scenario);
    UsageImport(const UsageImport&) = delete;
    UsageImport& operator=(const UsageImport&) = delete;

    // The device a minute before the first row, not charging.
    nlohmann::json Device() const { return DeviceDocument(startTimeS_, false, apps_); }
    // Writes the steps of all rows.
    void Run();

private:
    static constexpr size_t NONE = SIZE_MAX;

    void NameApps(ScenarioText& scenario);
    void UseApp(const UsageRow& row, size_t app);
    // When the screen goes off after a row, unless it stays on until the next one. Times of the scenario.
    static std::optional<int64_t> ScreenOffMs(const UsageRow& row, int64_t beginMs, int64_t nextMs);

    const UsageLog& log_;
    const int64_t startTimeS_;
    Random random_;
    UsedDevice device_;
    std::vector<Application> apps_;  // In the order in which they appear.
    std::vector<size_t> appOfRow_;   // The index of each row's application.
    size_t front_ = NONE;            // The application in front; none while the screen is off.
};

}  // namespace ZYRA::Host
