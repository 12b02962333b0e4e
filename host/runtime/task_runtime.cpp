// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/task_runtime.h"

#include <atomic>
#include <utility>

#include "host/runtime/journal.h"
#include "host/runtime/observed_queue.h"
#include "host/runtime/thread_runtime.h"
#include "platform/clock.h"

namespace ZYRA {

namespace Host {

namespace {

// Lives until the process ends: a queue may be destroyed by any static destructor.
ThreadRuntime& DefaultRuntime() {
    static ThreadRuntime& runtime = *new ThreadRuntime();
    return runtime;
}

std::atomic<TaskRuntime*> currentRuntime{nullptr};

}  // namespace

TaskRuntime& TaskRuntime::Current() {
    TaskRuntime* runtime = currentRuntime.load(std::memory_order_acquire);
    return runtime == nullptr ? DefaultRuntime() : *runtime;
}

void TaskRuntime::Install(TaskRuntime& runtime) {
    currentRuntime.store(&runtime, std::memory_order_release);
}

void TaskRuntime::InstallDefault() {
    currentRuntime.store(nullptr, std::memory_order_release);
}

}  // namespace Host

namespace {

constexpr int32_t LOWEST_QOS = 0;
constexpr int32_t HIGHEST_QOS = 5;

}  // namespace

TaskQueue::~TaskQueue() = default;

std::unique_ptr<TaskQueue> TaskQueue::Create(const std::string& name, int32_t qos) {
    if (name.empty() || qos < LOWEST_QOS || qos > HIGHEST_QOS) {
        return nullptr;
    }
    auto queue = Host::TaskRuntime::Current().CreateQueue(name, qos);
    if (queue == nullptr || !Host::Journal::GetInstance().WantsTasks()) {
        return queue;
    }
    return std::make_unique<Host::ObservedQueue>(name, std::move(queue));
}

int64_t Clock::NowMs() {
    return Host::TaskRuntime::Current().WallClockUs() / 1000;
}

int64_t Clock::NowSeconds() {
    return Host::TaskRuntime::Current().WallClockUs() / 1000000;
}

int64_t Clock::MonotonicUs() {
    return Host::TaskRuntime::Current().ElapsedUs();
}

}  // namespace ZYRA
