// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/task_queue.h"

namespace ZYRA::Host {

// Longer delays count as this one, a hundred years, so that a due time never overflows.
constexpr uint64_t LONGEST_DELAY_US = 100ULL * 365 * 24 * 3600 * 1000000;

// Makes the queues that TaskQueue::Create hands out, and tells the time that goes with them.
class TaskRuntime {
public:
    virtual ~TaskRuntime() = default;

    virtual std::unique_ptr<TaskQueue> CreateQueue(const std::string& name, int32_t qos) = 0;

    // Monotonic time since the runtime was made, and the wall clock.
    virtual int64_t ElapsedUs() const = 0;
    virtual int64_t WallClockUs() const = 0;

    // Makes the caller's work take so much longer: returns when the time has passed. On a thread that runs a task or
    // drives the time, or on one for which such a thread waits.
    virtual void PassTime(int64_t us) = 0;

    // Waits until no thread is left that belongs to a destroyed queue.
    // REQUIRES: no lock held that a task may want.
    virtual void JoinRetired() = 0;

    // The runtime that the platform uses. The one installed at start runs on threads and real time. A runtime is
    // installed while no queue of the one before exists, and must outlive its queues.
    static TaskRuntime& Current();
    static void Install(TaskRuntime& runtime);
    static void InstallDefault();
};

}  // namespace ZYRA::Host
