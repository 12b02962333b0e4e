// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/runtime/thread_runtime.h"

namespace ZYRA::Host {

// Real threads with points at which a test can hold or watch their tasks. The hooks are set before any queue is
// created.
class GateRuntime final : public TaskRuntime {
public:
    // Called on the queue's thread before each task, with the queue's and the task's name.
    std::function<void(const std::string& queue, const std::string& task)> beforeTask;
    // Called on the submitting thread, and when a task's closure is destroyed, with the task's name.
    std::function<void(const std::string& task)> onSubmit;
    std::function<void(const std::string& task, bool hasRun)> onEnd;
    // Called on the closing thread when Close() of a queue begins.
    std::function<void(const std::string& queue)> onClose;

    std::unique_ptr<TaskQueue> CreateQueue(const std::string& name, int32_t qos) override {
        if (failingQueue == name) {
            return throwsInstead ? throw std::bad_alloc() : nullptr;
        }
        return std::make_unique<GateQueue>(*this, name, threads_.CreateQueue(name, qos));
    }
    int64_t ElapsedUs() const override { return threads_.ElapsedUs(); }
    int64_t WallClockUs() const override { return threads_.WallClockUs(); }
    void PassTime(int64_t us) override { threads_.PassTime(us); }
    void JoinRetired() override { threads_.JoinRetired(); }

    // A queue of this name cannot be created: there is none, or an exception.
    std::string failingQueue;
    bool throwsInstead = false;

private:
    class GateQueue final : public TaskQueue {
    public:
        GateQueue(GateRuntime& runtime, std::string name, std::unique_ptr<TaskQueue> queue)
            : runtime_(runtime), name_(std::move(name)), queue_(std::move(queue)) {}

        void Submit(std::function<void()> task, std::string_view name, uint64_t delayUs) override {
            queue_->Submit(Gated(std::move(task), name), name, delayUs);
        }
        TaskHandle SubmitWithHandle(std::function<void()> task, std::string_view name, uint64_t delayUs) override {
            return queue_->SubmitWithHandle(Gated(std::move(task), name), name, delayUs);
        }
        bool Cancel(const TaskHandle& handle) override { return queue_->Cancel(handle); }
        void Close() override {
            if (runtime_.onClose) {
                runtime_.onClose(name_);
            }
            queue_->Close();
        }

    private:
        struct Life {
            Life(GateRuntime& owner, std::string_view name) : runtime(owner), task(name) {}
            ~Life() {
                if (runtime.onEnd) {
                    runtime.onEnd(task, hasRun);
                }
            }
            GateRuntime& runtime;
            const std::string task;
            bool hasRun = false;
        };

        std::function<void()> Gated(std::function<void()> task, std::string_view name) {
            auto life = std::make_shared<Life>(runtime_, name);
            if (runtime_.onSubmit) {
                runtime_.onSubmit(life->task);
            }
            return [this, task = std::move(task), life = std::move(life)] {
                life->hasRun = true;
                if (runtime_.beforeTask) {
                    runtime_.beforeTask(name_, life->task);
                }
                task();
            };
        }

        GateRuntime& runtime_;
        const std::string name_;
        std::unique_ptr<TaskQueue> queue_;
    };

    ThreadRuntime threads_;
};

}  // namespace ZYRA::Host
