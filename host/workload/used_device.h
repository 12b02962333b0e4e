// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/workload/application.h"
#include "host/workload/random.h"
#include "host/workload/scenario_text.h"

namespace ZYRA::Host {

// A device in somebody's hands: turns what the person does into the steps of a scenario, with the processes that live
// and die meanwhile. Recently used applications keep their process, so that a start of one of them is warm; the least
// recently used one is killed when there are too many.
//
// The device has a clock of its own, in milliseconds of the scenario's time. What the person does happens at its time
// and takes a while of it, so no step is ever before the one that was written before it.
class UsedDevice {
public:
    static constexpr size_t MOST_PROCESSES = 10;

    // A device without processes, whose screen is off. The scenario and the random numbers must outlive it.
    UsedDevice(ScenarioText& scenario, Random& random, bool isCharging)
        : scenario_(scenario), random_(random), isCharging_(isCharging) {}

    int64_t NowMs() const { return nowMs_; }
    // Lets time pass until then; a time in the past has no effect.
    void AdvanceTo(int64_t timeMs);
    void Pass(int64_t ms) { nowMs_ += ms; }

    void SwitchScreen(bool isOn);
    // Plugs the charger in or out; no step if it is so already.
    void SetCharging(bool isCharging);

    // Starts the application and brings it to the front, where it may be already. A cold start shows FIRST_PAGE, a warm
    // one shows the page that was left. Returns whether the start was cold.
    bool Start(const Application& app);
    // Touches something in the application in front, which then shows another page.
    // REQUIRES: `app` is in front.
    void Navigate(const Application& app, const std::string& pageUrl);

    // The bundle is there with its scenes before it is announced.
    void Install(const Application& app);
    // Ends the application's process if it has one. The bundle is gone before that is announced.
    void Remove(const Application& app);

private:
    struct Process {
        int32_t pid;
        int32_t uid;
    };

    void Emit(uint32_t type, int64_t value, const nlohmann::json& payload);
    void StartCold(const Application& app);
    void StartWarm(const Application& app);
    void ShowPage(const Application& app, int32_t pid, const std::string& pageUrl);
    // Makes the process of that place the most recently used one.
    void Touch(std::vector<Process>::iterator process);
    std::vector<Process>::iterator ProcessOf(const Application& app);
    int32_t UnusedPid();

    ScenarioText& scenario_;
    Random& random_;
    int64_t nowMs_ = 0;
    bool isCharging_;
    std::vector<Process> processes_;  // The most recently used one is the last.
    int32_t foregroundPid_ = 0;       // 0 when no process is in front.
    int32_t lastPid_ = 1200;
};

}  // namespace ZYRA::Host
