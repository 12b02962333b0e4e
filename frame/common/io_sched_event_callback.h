// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace ZYRA::ResourceSchedule {

// How the features reach the plugin's queues. While the plugin is disabled every operation does nothing (the battery
// query excepted). Any thread, a task of the plugin's queues included. Every operation but the battery query takes the
// manager's main lock, so none may be called with that lock held, nor by the destructor of anything that a posted task
// holds: cancelling destroys the task under that lock.
class IOSchedEventCallback {
public:
    virtual ~IOSchedEventCallback() = default;

    // Posts an exact-preread time-out (events 20 to 24, others are ignored) on the main queue. An event that is already
    // pending stays so: both will run.
    virtual void OnEventPost(uint32_t eventId, int64_t delayMs) = 0;
    // Cancels every pending one of that id; one that runs already is not waited for.
    virtual void OnEventRemove(uint32_t eventId) = 0;

    // Posts a task on the background queue; several may be pending under one name.
    virtual void OnTaskPost(std::function<void()> task, const std::string& taskName, int64_t delayMs) = 0;
    // Cancels every pending task of that name; one that runs already is not waited for.
    virtual void OnTaskRemove(const std::string& taskName) = 0;

    // Publishes the trained set of top scenes on the main queue, where it is moved from: the caller gives it up.
    virtual void OnTopSceneUpdate(std::shared_ptr<std::unordered_set<std::string>> topScenes) = 0;

    // Asks whether the battery is being charged, or full with the charger connected.
    virtual bool OnBatteryStateChange() = 0;

    // Removes the records of scenes that left the top set, on the caller's thread and under the manager's main lock:
    // events wait meanwhile, so the list is to be short.
    virtual void OnTopSceneDecay(std::shared_ptr<std::vector<std::string>> decayedScenes) = 0;
};

}  // namespace ZYRA::ResourceSchedule
