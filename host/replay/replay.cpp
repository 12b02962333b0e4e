// SPDX-License-Identifier: Apache-2.0
#include "host/replay/replay.h"

#include <chrono>
#include <exception>
#include <optional>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "host/replay/one_processor.h"
#include "host/replay/plugin_library.h"
#include "host/replay/published_sets.h"
#include "host/replay/replay_clock.h"
#include "host/replay/sink_registration.h"
#include "host/replay/virtual_device.h"
#include "host/services/power_service.h"

namespace ZYRA::Host {

namespace {

// Notes the end of a step when it goes.
class StepEnd {
public:
    StepEnd() = default;
    ~StepEnd() {
        if (Journal& journal = Journal::GetInstance(); journal.WantsTasks()) {
            journal.Append(StepEndEntry());
        }
    }
    StepEnd(const StepEnd&) = delete;
    StepEnd& operator=(const StepEnd&) = delete;
};

// Takes the steps, one at a time, on the thread that drives the clock.
class StepRunner {
public:
    StepRunner(ReplayClock& clock, VirtualDevice& device, const PluginLibrary& plugin)
        : clock_(clock), device_(device), plugin_(plugin) {}

    // Returns false when the plugin refuses to start.
    bool Run(ScenarioStep&& step) {
        return std::visit([this](auto&& action) { return Take(std::forward<decltype(action)>(action)); },
                          std::move(step.action));
    }

    bool Take(const PluginStep& step) {
        const StepEnd end;
        Journal::GetInstance().Append(step);
        if (step.enable) {
            return plugin_.Init();
        }
        // A plugin is not disabled under a callback that still runs.
        shutdowns_.clear();
        plugin_.Disable();
        return true;
    }

private:
    bool Take(DeviceStep&& step) {
        const StepEnd end;
        Journal::GetInstance().Append(step);
        device_.Apply(std::move(step.patch));
        return true;
    }

    bool Take(EventStep&& step) {
        const StepEnd end;
        Journal::GetInstance().Append(step);
        plugin_.Dispatch(std::make_shared<ResourceSchedule::ResData>(
            ResourceSchedule::ResData{step.resType, step.value, std::move(step.payload)}));
        return true;
    }

    bool Take(const DumpStep& step) {
        const StepEnd end;
        Journal::GetInstance().Append(DumpEntry{step.args, plugin_.Dump(step.args)});
        return true;
    }

    bool Take(const ShutdownStep& /*step*/) {
        const StepEnd end;
        Journal::GetInstance().Append(ShutdownStep{PowerService::GetInstance().CallbackCount()});
        if (clock_.RunsOnCaller()) {
            PowerService::GetInstance().Shutdown();
        } else {
            shutdowns_.emplace_back([] { PowerService::GetInstance().Shutdown(); });
        }
        return true;
    }

    ReplayClock& clock_;
    VirtualDevice& device_;
    const PluginLibrary& plugin_;
    // Those that still run are waited for at the end.
    std::vector<std::jthread> shutdowns_;
};

// Everything between the loading and the unloading of the plugin. Returns "", or what has kept it from its end, be it
// a stop.
std::string RunSteps(StepRunner& runner, ReplayClock& clock, ScenarioFile& scenario, const ReplayOptions& options,
                     ReplayResult& result) {
    PublishedSets publishedSets;
    const SinkRegistration registration(&publishedSets);
    const auto tell = [&] {
        if (options.onProgress) {
            options.onProgress({result.steps, clock.Runtime().ElapsedUs()});
        }
    };
    const auto advanceTo = [&](int64_t timeUs) {
        clock.AdvanceTo(timeUs, [&] {
            if (clock.RunsOnCaller()) {
                publishedSets.TellJournal();
            }
            tell();
        });
        return !options.stop.stop_requested();
    };
    InputError error;
    int64_t lastUs = 0;
    bool isGoing = runner.Take(PluginStep{true});
    bool isInTime = true;
    while (isGoing && isInTime) {
        auto step = scenario.Next(error);
        if (!step) {
            break;
        }
        lastUs = step->timeUs;
        isInTime = advanceTo(lastUs);
        if (isInTime) {
            isGoing = runner.Run(std::move(*step));
            ++result.steps;
            tell();
        }
    }
    const bool isRead = error.what.empty();
    if (isGoing && isRead && isInTime) {
        isInTime = advanceTo(lastUs + options.settleUs);
    }
    result.isInterrupted = !isInTime;
    runner.Take(PluginStep{false});
    if (!isGoing) {
        return options.pluginPath + ": the plugin refused to start";
    }
    return isRead ? "" : error.Text();
}

void RunOnDevice(VirtualDevice& device, ReplayClock& clock, ScenarioFile& scenario, const ReplayOptions& options,
                 ReplayResult& result) {
    const auto plugin = PluginLibrary::Open(options.pluginPath, result.error);
    if (plugin == nullptr) {
        result.outcome = ReplayOutcome::BAD_PLUGIN;
        return;
    }
    {
        StepRunner runner(clock, device, *plugin);
        result.error = RunSteps(runner, clock, scenario, options, result);
        result.outcome = result.error.empty() ? ReplayOutcome::DONE : ReplayOutcome::FAILED;
    }
    result.deviceUs = clock.Runtime().ElapsedUs();
    // Threads of the plugin's queues may still be on their way out of its code.
    clock.Runtime().JoinRetired();
}

}  // namespace

ReplayResult RunReplay(const DeviceModel& model, ScenarioFile& scenario, const ReplayOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    ReplayResult result;
    result.allSteps = scenario.StepCount();
    const auto clock =
        options.realTime ? ReplayClock::Real(options.stop) : ReplayClock::Virtual(model.startTimeS, options.stop);
    for (const DeviceStep& step : scenario.StartDevice()) {
        const StepEnd end;
        Journal::GetInstance().Append(step);
    }
    // In virtual time the plugin's tasks, the kernel's files and the replay take turns.
    std::optional<OneProcessor> turns;
    if (!options.realTime) {
        turns.emplace();
    }
    const auto device = VirtualDevice::Start(model, result.error);
    if (device == nullptr) {
        result.outcome = ReplayOutcome::NO_DEVICE;
        return result;
    }
    RunOnDevice(*device, *clock, scenario, options, result);
    result.tasksRun = clock->TasksRun();
    const auto wall = std::chrono::steady_clock::now() - start;
    result.wallUs = std::chrono::duration_cast<std::chrono::microseconds>(wall).count();
    return result;
}

void ApplyStartDevice(const std::vector<DeviceStep>& startDevice, DeviceModel& model) {
    for (const DeviceStep& step : startDevice) {
        LocatedJson document;
        document.value = step.patch;
        ApplyDevicePatch(JsonNode(document), DevicePhase::DESCRIBING, model);
    }
}

}  // namespace ZYRA::Host
