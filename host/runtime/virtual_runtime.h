// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

// Virtual time: one loop over all queues, on the thread that drives it. Time stands still while a task runs, unless
// something is said to take time, and jumps to the due time of the next one; tasks that are due at the same time run in
// the order of submission, whatever their queue. Submitting and cancelling are thread-safe; the clock may be read from
// any thread.
class VirtualRuntime final : public TaskRuntime {
public:
    // `startTimeS` is the wall clock at virtual time 0, in seconds since the epoch.
    explicit VirtualRuntime(int64_t startTimeS);
    ~VirtualRuntime() override;

    std::unique_ptr<TaskQueue> CreateQueue(const std::string& name, int32_t qos) override;
    int64_t ElapsedUs() const override { return nowUs_.load(std::memory_order_relaxed); }
    int64_t WallClockUs() const override { return startTimeUs_ + ElapsedUs(); }
    void PassTime(int64_t us) override { nowUs_.fetch_add(us, std::memory_order_relaxed); }
    void JoinRetired() override {}

    // Runs what is due at or before `timeUs`, also what those tasks submit up to then, and leaves the clock at
    // `timeUs`. Where something has taken time beyond that, the clock stays there, and what was due by then has run. A
    // time in the past runs what is due now. Calls `goesOn`, if any, after each task, while none runs; when that
    // returns false the clock stays where it is. Not from within a task.
    void RunUntil(int64_t timeUs, const std::function<bool()>& goesOn = nullptr);

    // The number of tasks that have run.
    uint64_t TasksRun() const;

    struct State;

private:
    const int64_t startTimeUs_;
    std::atomic<int64_t> nowUs_{0};
    std::shared_ptr<State> state_;
};

}  // namespace ZYRA::Host
