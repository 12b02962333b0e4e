// SPDX-License-Identifier: Apache-2.0
// What a submission to a task queue costs, next to the least that could do the same.

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "host/runtime/thread_runtime.h"

namespace ZYRA::Host {
namespace {

constexpr int BATCH = 1000;

// A bare queue: one deque under one mutex, emptied by one thread.
class BareQueue {
public:
    BareQueue() : thread_([this] { Run(); }) {}
    ~BareQueue() {
        Submit(nullptr);
        thread_.join();
    }
    void Submit(std::function<void()> task) {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        wake_.notify_one();
    }

private:
    void Run() {
        while (true) {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return !tasks_.empty(); });
            const std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            if (task == nullptr) {
                return;
            }
            task();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> tasks_;
    std::thread thread_;
};

template <typename SubmitFunction>
void SubmitBatches(benchmark::State& state, const SubmitFunction& submit) {
    for ([[maybe_unused]] auto _ : state) {
        std::atomic<int> ran{0};
        for (int i = 0; i < BATCH; ++i) {
            submit([&ran] { ran.fetch_add(1, std::memory_order_relaxed); });
        }
        while (ran.load(std::memory_order_relaxed) != BATCH) {
            std::this_thread::yield();
        }
    }
    state.SetItemsProcessed(state.iterations() * BATCH);
}

void SubmitToBareQueue(benchmark::State& state) {
    BareQueue queue;
    SubmitBatches(state, [&](auto task) { queue.Submit(std::move(task)); });
}
BENCHMARK(SubmitToBareQueue)->UseRealTime();

void SubmitToTaskQueue(benchmark::State& state) {
    ThreadRuntime runtime;
    const auto queue = runtime.CreateQueue("bench", 5);
    SubmitBatches(state, [&](auto task) { queue->Submit(std::move(task), "bench", 0); });
}
BENCHMARK(SubmitToTaskQueue)->UseRealTime();

}  // namespace
}  // namespace ZYRA::Host
