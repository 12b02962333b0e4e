// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

// Real time: a named thread for each queue. Threads of destroyed queues whose last task still ran are kept, and joined
// by JoinRetired() or, once they have ended, by the next CreateQueue(). Thread-safe.
class ThreadRuntime final : public TaskRuntime {
public:
    ThreadRuntime();
    ~ThreadRuntime() override;

    std::unique_ptr<TaskQueue> CreateQueue(const std::string& name, int32_t qos) override;
    int64_t ElapsedUs() const override;
    int64_t WallClockUs() const override;
    void PassTime(int64_t us) override;
    void JoinRetired() override;

    class Retired;

private:
    const std::chrono::steady_clock::time_point start_;
    std::shared_ptr<Retired> retired_;
};

}  // namespace ZYRA::Host
