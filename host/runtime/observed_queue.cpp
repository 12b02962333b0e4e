// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/observed_queue.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "host/runtime/journal.h"
#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

namespace {

std::atomic<uint64_t> lastTaskId{0};

thread_local uint64_t runningTaskId = 0;

// What the queue behind holds of a task. One that goes without having run was cancelled or discarded.
class ObservedTask {
public:
    ObservedTask(std::function<void()>&& task, TaskEntry&& entry) : task_(std::move(task)), entry_(std::move(entry)) {
        Tell(TaskEntry::Phase::SUBMITTED);
    }
    ~ObservedTask() {
        if (entry_.phase == TaskEntry::Phase::SUBMITTED) {
            Tell(TaskEntry::Phase::CANCELLED);
        }
    }
    ObservedTask(const ObservedTask&) = delete;
    ObservedTask& operator=(const ObservedTask&) = delete;

    void Run() {
        runningTaskId = entry_.id;
        Tell(TaskEntry::Phase::BEGUN);
        task_();
        task_ = nullptr;  // What it holds goes as a part of it.
        Tell(TaskEntry::Phase::ENDED);
        runningTaskId = 0;
    }

private:
    void Tell(TaskEntry::Phase phase) {
        entry_.phase = phase;
        if (Journal& journal = Journal::GetInstance(); journal.WantsTasks()) {
            journal.Append(entry_);
        }
    }

    std::function<void()> task_;
    TaskEntry entry_;
};

}  // namespace

ObservedQueue::ObservedQueue(std::string name, std::unique_ptr<TaskQueue> queue)
    : name_(std::move(name)), queue_(std::move(queue)) {}

void ObservedQueue::Submit(std::function<void()> task, std::string_view name, uint64_t delayUs) {
    queue_->Submit(Observed(std::move(task), name, delayUs), name, delayUs);
}

TaskHandle ObservedQueue::SubmitWithHandle(std::function<void()> task, std::string_view name, uint64_t delayUs) {
    return queue_->SubmitWithHandle(Observed(std::move(task), name, delayUs), name, delayUs);
}

std::function<void()> ObservedQueue::Observed(std::function<void()>&& task, std::string_view name,
                                              uint64_t delayUs) const {
    const int64_t dueUs =
        TaskRuntime::Current().ElapsedUs() + static_cast<int64_t>(std::min(delayUs, LONGEST_DELAY_US));
    TaskEntry entry{++lastTaskId, TaskEntry::Phase::SUBMITTED, name_, std::string(name), dueUs};
    return [observed = std::make_shared<ObservedTask>(std::move(task), std::move(entry))] { observed->Run(); };
}

uint64_t RunningTaskId() {
    return runningTaskId;
}

}  // namespace ZYRA::Host
