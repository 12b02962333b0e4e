// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/virtual_runtime.h"

#include <algorithm>
#include <map>
#include <thread>
#include <utility>
#include <vector>

#include "platform/mutex.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t US_PER_S = 1000000;

// Due time, then order of submission.
using TaskKey = std::pair<int64_t, uint64_t>;

struct WaitingTask {
    uint64_t queueId;
    std::function<void()> task;
};

}  // namespace

struct VirtualRuntime::State {
    Mutex mutex;
    ConditionVariable idle;
    uint64_t lastSequence GUARDED_BY(mutex) = 0;
    uint64_t lastQueueId GUARDED_BY(mutex) = 0;
    uint64_t tasksRun GUARDED_BY(mutex) = 0;
    std::map<TaskKey, WaitingTask> waiting GUARDED_BY(mutex);
    std::map<uint64_t, int64_t> dueOf GUARDED_BY(mutex);
    // The queue whose task runs now, 0 for none, and the thread that drives the loop.
    uint64_t runningQueueId GUARDED_BY(mutex) = 0;
    std::thread::id driver GUARDED_BY(mutex);
};

namespace {

class VirtualQueue final : public TaskQueue {
public:
    VirtualQueue(std::shared_ptr<VirtualRuntime::State> state, uint64_t id, const std::atomic<int64_t>& nowUs)
        : state_(std::move(state)), id_(id), nowUs_(nowUs) {}

    ~VirtualQueue() override { Discard(); }

    void Submit(std::function<void()> task, std::string_view name, uint64_t delayUs) override {
        SubmitWithHandle(std::move(task), name, delayUs);
    }

    TaskHandle SubmitWithHandle(std::function<void()> task, std::string_view /*name*/, uint64_t delayUs) override {
        MutexLock lock(state_->mutex);
        if (closed_.load(std::memory_order_relaxed)) {
            return TaskHandle();
        }
        const uint64_t sequence = ++state_->lastSequence;
        const int64_t due =
            nowUs_.load(std::memory_order_relaxed) + static_cast<int64_t>(std::min(delayUs, LONGEST_DELAY_US));
        state_->waiting.emplace(TaskKey(due, sequence), WaitingTask{id_, std::move(task)});
        state_->dueOf.emplace(sequence, due);
        return TaskHandle(sequence);
    }

    bool Cancel(const TaskHandle& handle) override {
        std::function<void()> cancelled;  // Destroyed after the lock is released.
        MutexLock lock(state_->mutex);
        const auto due = state_->dueOf.find(handle.Id());
        if (due == state_->dueOf.end()) {
            return false;
        }
        const auto entry = state_->waiting.find(TaskKey(due->second, handle.Id()));
        if (entry->second.queueId != id_) {
            return false;
        }
        cancelled = std::move(entry->second.task);
        state_->waiting.erase(entry);
        state_->dueOf.erase(due);
        return true;
    }

    void Close() override {
        Discard();
        state_->mutex.lock();
        while (state_->runningQueueId == id_ && state_->driver != std::this_thread::get_id()) {
            state_->idle.Wait(state_->mutex);
        }
        state_->mutex.unlock();
    }

private:
    void Discard() {
        std::vector<std::function<void()>> discarded;  // Destroyed after the lock is released.
        MutexLock lock(state_->mutex);
        closed_.store(true, std::memory_order_relaxed);
        for (auto entry = state_->waiting.begin(); entry != state_->waiting.end();) {
            if (entry->second.queueId == id_) {
                discarded.push_back(std::move(entry->second.task));
                state_->dueOf.erase(entry->first.second);
                entry = state_->waiting.erase(entry);
            } else {
                ++entry;
            }
        }
    }

    const std::shared_ptr<VirtualRuntime::State> state_;
    const uint64_t id_;
    const std::atomic<int64_t>& nowUs_;
    std::atomic<bool> closed_{false};  // Written under the state's mutex.
};

}  // namespace

VirtualRuntime::VirtualRuntime(int64_t startTimeS)
    : startTimeUs_(startTimeS * US_PER_S), state_(std::make_shared<State>()) {}

VirtualRuntime::~VirtualRuntime() = default;

std::unique_ptr<TaskQueue> VirtualRuntime::CreateQueue(const std::string& /*name*/, int32_t /*qos*/) {
    MutexLock lock(state_->mutex);
    return std::make_unique<VirtualQueue>(state_, ++state_->lastQueueId, nowUs_);
}

void VirtualRuntime::RunUntil(int64_t timeUs, const std::function<bool()>& goesOn) {
    State& state = *state_;
    state.mutex.lock();
    state.driver = std::this_thread::get_id();
    bool isGoing = true;
    while (isGoing && !state.waiting.empty() && state.waiting.begin()->first.first <= std::max(timeUs, ElapsedUs())) {
        const auto next = state.waiting.begin();
        const auto [due, sequence] = next->first;
        std::function<void()> task = std::move(next->second.task);
        state.runningQueueId = next->second.queueId;
        state.dueOf.erase(sequence);
        state.waiting.erase(next);
        ++state.tasksRun;
        if (due > ElapsedUs()) {
            nowUs_.store(due, std::memory_order_relaxed);
        }
        state.mutex.unlock();
        task();
        task = nullptr;
        isGoing = !goesOn || goesOn();
        state.mutex.lock();
        state.runningQueueId = 0;
        state.idle.NotifyAll();
    }
    if (isGoing && timeUs > ElapsedUs()) {
        nowUs_.store(timeUs, std::memory_order_relaxed);
    }
    state.driver = std::thread::id();
    state.mutex.unlock();
}

uint64_t VirtualRuntime::TasksRun() const {
    MutexLock lock(state_->mutex);
    return state_->tasksRun;
}

}  // namespace ZYRA::Host
