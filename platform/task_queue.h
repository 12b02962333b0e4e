// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/platform_api.h"

namespace ZYRA {

// Names one submitted task for cancellation; a plain value that keeps nothing alive. 0 names no task.
class TaskHandle {
public:
    TaskHandle() = default;
    explicit TaskHandle(uint64_t id) : id_(id) {}

    uint64_t Id() const { return id_; }
    explicit operator bool() const { return id_ != 0; }

private:
    uint64_t id_ = 0;
};

// A serial task queue: its tasks run one at a time, on a thread of the task runtime, never inside a call of this class.
//
// Order: by due time; tasks that are due at the same time run in the order of submission. A task becomes due `delayUs`
// microseconds after its submission and not before.
// Threads: every operation may be called from any thread and from the queue's own tasks, with any lock held, except
// where REQUIRES says otherwise.
// Tasks must not throw. A task's closure is destroyed as soon as it has run or has been cancelled, or has been
// discarded and no task runs, never under a lock of the queue.
class PLATFORM_API TaskQueue {
public:
    // Quality of service: 0 is the lowest, 5 the highest. How it maps to scheduling classes is the runtime's business.
    // Returns null when the queue cannot be created.
    static std::unique_ptr<TaskQueue> Create(const std::string& name, int32_t qos);

    // Discards what waits and lets a running task finish, but does not wait for it: the destroyer may hold a lock that
    // the running task wants. What that task uses must therefore outlive it; call Close() first to be sure that it has
    // ended. Safe from within a task of the queue itself.
    virtual ~TaskQueue();

    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Submits a task. `name` is for traces only. After Close() the task is discarded.
    virtual void Submit(std::function<void()> task, std::string_view name, uint64_t delayUs) = 0;

    // The same, and returns a handle for Cancel; an empty handle after Close().
    virtual TaskHandle SubmitWithHandle(std::function<void()> task, std::string_view name, uint64_t delayUs) = 0;

    // Takes a waiting task out of the queue. Returns true when the task had not started: it will never run. Returns
    // false when it runs, has run, was cancelled before or is unknown; a running task is not waited for.
    virtual bool Cancel(const TaskHandle& handle) = 0;

    // Discards what waits, refuses what comes, and returns when no task of the queue runs any more. From a task of the
    // queue itself it does not wait. Idempotent.
    // REQUIRES: the caller holds no lock that a task of this queue may want.
    virtual void Close() = 0;

protected:
    TaskQueue() = default;
};

}  // namespace ZYRA
