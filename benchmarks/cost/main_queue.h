// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/runtime/virtual_runtime.h"

namespace ZYRA::Bench {

// Virtual time in which each task of the plugin's main queue is handed to `run`, which is to run it.
class MainQueueRuntime final : public Host::TaskRuntime {
public:
    using Run = std::function<void(const std::function<void()>& task)>;

    MainQueueRuntime(int64_t startTimeS, Run run) : time_(startTimeS), run_(std::move(run)) {}

    std::unique_ptr<TaskQueue> CreateQueue(const std::string& name, int32_t qos) override;
    int64_t ElapsedUs() const override { return time_.ElapsedUs(); }
    int64_t WallClockUs() const override { return time_.WallClockUs(); }
    void PassTime(int64_t us) override { time_.PassTime(us); }
    void JoinRetired() override {}

    void RunFor(int64_t us) { time_.RunUntil(time_.ElapsedUs() + us); }

private:
    Host::VirtualRuntime time_;
    const Run run_;
};

}  // namespace ZYRA::Bench
