// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/mutex.h"
#include "platform/task_queue.h"

namespace ZYRA::ResourceSchedule {

// Owns the main queue, on which every event runs, and knows which feature each one is for. Any thread; what is posted
// runs on the main queue, one at a time. On a handler whose queue could not be created every operation logs that and
// does nothing. Delays are in microseconds.
class IOSchedEventHandler {
public:
    IOSchedEventHandler();
    // Discards what is pending and waits for the task that runs.
    // REQUIRES: no lock held that a task may want, once something has been posted.
    ~IOSchedEventHandler();
    IOSchedEventHandler(const IOSchedEventHandler&) = delete;
    IOSchedEventHandler& operator=(const IOSchedEventHandler&) = delete;

    // A resource event of the host. The payload is copied, or moved where it is a copy already.
    void ProcessResTypeEvent(uint32_t resType, int64_t value, const nlohmann::json& payload);
    void ProcessResTypeEvent(uint32_t resType, int64_t value, nlohmann::json&& payload);
    // The part of the routing that leads to IO limiting. Main queue only.
    void IoLimitEvent(uint32_t resType, int64_t value, const nlohmann::json& payload);
    // Asks the executor for the customised configuration when `value` is 0. Main queue only.
    void HandleTandemCustConfigRLocked(int64_t value);

    // A start-up event.
    void ProcessIOSchedEvent(uint32_t eventId, uint64_t delayUs);
    // The set of top scenes, which its handler empties.
    void ProcessTopNEvent(uint32_t eventId, std::shared_ptr<std::unordered_set<std::string>> scenes, uint64_t delayUs);

    // A time-out of exact preread. One that is pending already stays so; each runs.
    void ProcessIOSchedEventAsync(uint32_t eventId, uint64_t delayUs) EXCLUDES(mutex_);
    // Cancels every pending one of that id, the latest first.
    void RemoveIOSchedEventAsync(uint32_t eventId) EXCLUDES(mutex_);

    // Any other task; it cannot be cancelled.
    void PostTaskThrd(std::function<void()> task, uint64_t delayUs);

private:
    // Logs under the operation's name when there is no queue.
    bool CheckCreated(const char* operation) const;
    void RouteResTypeEvent(uint32_t resType, int64_t value, const nlohmann::json& payload);

    Mutex mutex_;
    std::unique_ptr<TaskQueue> veloQueue_;
    // Every handle submitted for an event, oldest first, those of finished tasks included.
    std::unordered_map<uint32_t, std::vector<TaskHandle>> asyncEventHandles GUARDED_BY(mutex_);
    // Changes only in the constructor and, when no task runs any more, in the destructor.
    bool isCreated = false;
};

}  // namespace ZYRA::ResourceSchedule
