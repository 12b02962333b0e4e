// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/replay/device_model.h"
#include "host/replay/scenario.h"
#include "host/workload/application.h"
#include "host/workload/used_device.h"

namespace ZYRA::Host {

// The device that a made scenario comes with.
inline DeviceModel ModelOf(const nlohmann::json& document) {
    InputError error;
    const auto located = ParseLocatedJson("d.json", document.dump(), 1, error);
    DeviceModel model;
    ApplyDevicePatch(JsonNode(*located), DevicePhase::DESCRIBING, model);
    return model;
}

// Walks through a scenario with its device and compares what happens with what the device knows at that moment.
class ConsistentDevice {
public:
    explicit ConsistentDevice(DeviceModel model) : model_(std::move(model)) {}

    // Returns what is wrong first, with its time in milliseconds; empty when nothing is.
    std::string Walk(const std::vector<ScenarioStep>& steps) {
        for (const ScenarioStep& step : steps) {
            std::string what;
            if (const auto* device = std::get_if<DeviceStep>(&step.action)) {
                LocatedJson document;
                document.value = device->patch;
                ApplyDevicePatch(JsonNode(document), DevicePhase::RUNNING, model_);
            } else if (const auto* event = std::get_if<EventStep>(&step.action)) {
                what = Take(*event);
            }
            if (!what.empty()) {
                return std::to_string(step.timeUs / 1000) + " ms: " + what;
            }
        }
        return "";
    }

    // What was seen on the way.
    size_t coldStarts = 0;
    size_t warmStarts = 0;
    size_t pagesShown = 0;

private:
    std::string Take(const EventStep& event) {
        const auto text = [&event](const char* key) { return event.payload.value(key, ""); };
        const std::string app = text("bundleName");
        const auto bundle = model_.state.bundles.find(app);
        const bool isThere = bundle != model_.state.bundles.end() && std::to_string(bundle->second.uid) == text("uid");
        switch (event.resType) {
            case 0:
                return std::exchange(isScreenOn_, event.value == 1) == (event.value == 1) ? "the screen is so already"
                                                                                          : "";
            case 15:
                return event.value == 1 ? Unless(isThere, "announced before it is there")
                                        : Unless(bundle == model_.state.bundles.end() && !IsRunning(app),
                                                 "announced before it is gone");
            case 27:
                ++(event.value == 1 ? coldStarts : warmStarts);
                return Unless(isThere, "starts what is not there") +
                       Unless(IsRunning(app) == (event.value == 0), "neither cold nor warm");
            case 4:
                return Unless(isThere && IsInFront(text("pid"), app), "the process is not in front");
            case 10:
                pagesShown += event.value == 0 ? 1 : 0;
                return Unless(isThere && isScreenOn_ && IsInFront(text("clientPid"), app), "the page cannot be seen") +
                       Unless(model_.scenes.contains(PageScene({app, 0, 0, {}}, text("pageUrl"))), "an unknown page");
            case 9:
                return Unless(isScreenOn_, "nothing can be touched");
            default:
                return "no such event";
        }
    }

    static std::string Unless(bool isRight, const char* what) { return isRight ? "" : what; }

    bool IsRunning(const std::string& app) const {
        const auto& processes = model_.state.processes;
        return std::any_of(processes.begin(), processes.end(),
                           [&app](const auto& process) { return process.second.bundles == std::vector{app}; });
    }

    // Whether it is the application's process, and the only one in front of those that may live.
    bool IsInFront(const std::string& pid, const std::string& app) const {
        const auto& processes = model_.state.processes;
        const auto inFront = std::count_if(processes.begin(), processes.end(),
                                           [](const auto& process) { return process.second.foreground; });
        const auto found = processes.find(std::stoi(pid));
        return processes.size() <= UsedDevice::MOST_PROCESSES && inFront == 1 && found != processes.end() &&
               found->second.foreground && found->second.bundles == std::vector{app};
    }

    DeviceModel model_;
    bool isScreenOn_ = false;
};

}  // namespace ZYRA::Host
