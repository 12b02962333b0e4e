// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/task_queue.h"

namespace ZYRA::Host {

// A queue that tells the journal what becomes of its tasks, and is else the queue behind it.
class ObservedQueue final : public TaskQueue {
public:
    ObservedQueue(std::string name, std::unique_ptr<TaskQueue> queue);

    void Submit(std::function<void()> task, std::string_view name, uint64_t delayUs) override;
    TaskHandle SubmitWithHandle(std::function<void()> task, std::string_view name, uint64_t delayUs) override;
    bool Cancel(const TaskHandle& handle) override { return queue_->Cancel(handle); }
    void Close() override { queue_->Close(); }

private:
    // The task with what is told of it around it. It does not need this object any more.
    std::function<void()> Observed(std::function<void()>&& task, std::string_view name, uint64_t delayUs) const;

    const std::string name_;
    const std::unique_ptr<TaskQueue> queue_;
};

// The id of the task of an observed queue that the calling thread runs, 0 for none.
uint64_t RunningTaskId();

}  // namespace ZYRA::Host
