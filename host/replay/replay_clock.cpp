// SPDX-License-Identifier: Apache-2.0
#include "host/replay/replay_clock.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "host/runtime/thread_runtime.h"
#include "host/runtime/virtual_runtime.h"

namespace ZYRA::Host {

namespace {

// A runtime that is the platform's while it exists.
template <typename Runtime>
class Installed {
public:
    template <typename... Args>
    explicit Installed(Args... args) : runtime_(args...) {
        TaskRuntime::Install(runtime_);
    }
    ~Installed() { TaskRuntime::InstallDefault(); }
    Installed(const Installed&) = delete;
    Installed& operator=(const Installed&) = delete;

    Runtime& Get() { return runtime_; }
    const Runtime& Get() const { return runtime_; }

private:
    Runtime runtime_;
};

class VirtualClock final : public ReplayClock {
public:
    VirtualClock(int64_t startTimeS, std::stop_token stop) : stop_(std::move(stop)), installed_(startTimeS) {}

    void AdvanceTo(int64_t timeUs, const std::function<void()>& meanwhile) override {
        if (stop_.stop_requested()) {
            return;
        }
        installed_.Get().RunUntil(timeUs, [&] {
            meanwhile();
            return !stop_.stop_requested();
        });
    }
    TaskRuntime& Runtime() override { return installed_.Get(); }
    bool RunsOnCaller() const override { return true; }
    std::optional<uint64_t> TasksRun() const override { return installed_.Get().TasksRun(); }

private:
    const std::stop_token stop_;
    Installed<VirtualRuntime> installed_;
};

class RealClock final : public ReplayClock {
public:
    explicit RealClock(std::stop_token stop) : stop_(std::move(stop)) {}

    void AdvanceTo(int64_t timeUs, const std::function<void()>& meanwhile) override {
        std::mutex mutex;
        std::condition_variable_any nothing;
        std::unique_lock lock(mutex);
        for (int64_t left = timeUs - installed_.Get().ElapsedUs(); left > 0 && !stop_.stop_requested();
             left = timeUs - installed_.Get().ElapsedUs()) {
            nothing.wait_for(lock, stop_, std::chrono::microseconds(std::min(left, MEANWHILE_US)),
                             [] { return false; });
            meanwhile();
        }
    }
    TaskRuntime& Runtime() override { return installed_.Get(); }
    bool RunsOnCaller() const override { return false; }
    std::optional<uint64_t> TasksRun() const override { return std::nullopt; }

private:
    static constexpr int64_t MEANWHILE_US = 100000;

    const std::stop_token stop_;
    Installed<ThreadRuntime> installed_;
};

}  // namespace

std::unique_ptr<ReplayClock> ReplayClock::Virtual(int64_t startTimeS, std::stop_token stop) {
    return std::make_unique<VirtualClock>(startTimeS, std::move(stop));
}

std::unique_ptr<ReplayClock> ReplayClock::Real(std::stop_token stop) {
    return std::make_unique<RealClock>(std::move(stop));
}

}  // namespace ZYRA::Host
