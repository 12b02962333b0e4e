// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/main_queue.h"

#include <string_view>
#include <utility>

namespace ZYRA::Bench {

namespace {

class MainQueue final : public TaskQueue {
public:
    MainQueue(std::unique_ptr<TaskQueue> queue, const MainQueueRuntime::Run& run)
        : queue_(std::move(queue)), run_(run) {}

    void Submit(std::function<void()> task, std::string_view name, uint64_t delayUs) override {
        queue_->Submit(Wrap(std::move(task)), name, delayUs);
    }
    TaskHandle SubmitWithHandle(std::function<void()> task, std::string_view name, uint64_t delayUs) override {
        return queue_->SubmitWithHandle(Wrap(std::move(task)), name, delayUs);
    }
    bool Cancel(const TaskHandle& handle) override { return queue_->Cancel(handle); }
    void Close() override { queue_->Close(); }

private:
    std::function<void()> Wrap(std::function<void()> task) {
        return [this, task = std::move(task)] { run_(task); };
    }

    const std::unique_ptr<TaskQueue> queue_;
    const MainQueueRuntime::Run& run_;
};

}  // namespace

std::unique_ptr<TaskQueue> MainQueueRuntime::CreateQueue(const std::string& name, int32_t qos) {
    auto queue = time_.CreateQueue(name, qos);
    return name == "iosched_main_th" ? std::make_unique<MainQueue>(std::move(queue), run_) : std::move(queue);
}

}  // namespace ZYRA::Bench
