// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

// The time that a replay runs in: a task runtime, installed as the platform's for as long as this object lives, and a
// way to let its time pass. Time 0 is the making of the object. Once a stop is requested no time passes any more.
class ReplayClock {
public:
    // Virtual time passes as fast as the plugin's tasks run, and the wall clock starts at `startTimeS`.
    static std::unique_ptr<ReplayClock> Virtual(int64_t startTimeS, std::stop_token stop = {});
    // Real time, on threads, with the machine's wall clock.
    static std::unique_ptr<ReplayClock> Real(std::stop_token stop = {});

    // REQUIRES: no queue of the runtime is left.
    virtual ~ReplayClock() = default;

    // Returns when the time has come and, in virtual time, everything that was due until then has run; or when a stop
    // has been requested, in virtual time between two tasks. `meanwhile` is called after each task while none runs, and
    // in real time every now and then, whatever runs.
    virtual void AdvanceTo(int64_t timeUs, const std::function<void()>& meanwhile) = 0;

    virtual TaskRuntime& Runtime() = 0;

    // Whether something that the platform does on a thread of its own may run on the caller's thread instead, because
    // the plugin's tasks stand still meanwhile.
    virtual bool RunsOnCaller() const = 0;

    // How many tasks have run, where that is known.
    virtual std::optional<uint64_t> TasksRun() const = 0;
};

}  // namespace ZYRA::Host
