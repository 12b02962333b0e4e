// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/workload/application.h"
#include "host/workload/day_plan.h"
#include "host/workload/random.h"
#include "host/workload/scenario_text.h"
#include "host/workload/used_device.h"

namespace ZYRA::Host {

struct GeneratorOptions {
    int64_t days;
    size_t apps;
    uint64_t seed;
};

// Makes up a person who uses a device day after day: which applications and pages, and when. Everything follows from
// the options. Single-threaded; called once.
class UsageGenerator {
public:
    // The wall clock at the start: 16 June 2025, a Monday, 00:00. The device's clock shows UTC.
    static constexpr int64_t START_TIME_S = 1750032000;

    // REQUIRES: at least one application. The scenario must outlive the generator.
    UsageGenerator(const GeneratorOptions& options, ScenarioText& scenario);
    UsageGenerator(const UsageGenerator&) = delete;
    UsageGenerator& operator=(const UsageGenerator&) = delete;

    // The device at the start.
    nlohmann::json Device() const;
    // Writes the steps of all days, and calls `afterDay` after each.
    void Run(const std::function<void()>& afterDay = nullptr);

private:
    struct InstalledApp {
        Application app;
        Popularity pages;
        uint64_t lastingWeight;  // Among the applications, once it is no novelty any more.
        int64_t installedDay;
    };
    static constexpr size_t NONE = SIZE_MAX;

    InstalledApp MakeApp(uint64_t rank, int64_t day);
    uint64_t WeightOf(const InstalledApp& installed) const;
    // Makes the popularity of the applications that of today. Called whenever they have changed.
    void WeighApps();

    void LiveDay();
    // Plugs the charger in or out as planned until then.
    void ChargeUntil(int64_t timeMs, const std::vector<ChargerChange>& changes, size_t& next);
    // Now and then an application comes or goes.
    void ChangeApps();
    void Install();
    void Remove();
    // What is done while the screen is on.
    void UseApps();
    size_t ChooseApp(size_t current, size_t previous);
    void Visit(const InstalledApp& installed);

    const GeneratorOptions options_;
    Random random_;
    UsedDevice device_;
    std::vector<InstalledApp> apps_;
    size_t appsMade_ = 0;
    int64_t day_ = 0;
    Popularity appPopularity_;
};

}  // namespace ZYRA::Host
