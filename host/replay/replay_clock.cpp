// SPDX-License-Identifier: Apache-2.0
#include "host/replay/replay_clock.h"

#include <chrono>
#include <thread>

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
    explicit VirtualClock(int64_t startTimeS) : installed_(startTimeS) {}

    void AdvanceTo(int64_t timeUs, const std::function<void()>& afterTask) override {
        installed_.Get().RunUntil(timeUs, afterTask);
    }
    TaskRuntime& Runtime() override { return installed_.Get(); }
    bool RunsOnCaller() const override { return true; }
    std::optional<uint64_t> TasksRun() const override { return installed_.Get().TasksRun(); }

private:
    Installed<VirtualRuntime> installed_;
};

class RealClock final : public ReplayClock {
public:
    void AdvanceTo(int64_t timeUs, const std::function<void()>& /*afterTask*/) override {
        std::this_thread::sleep_for(std::chrono::microseconds(timeUs - installed_.Get().ElapsedUs()));
    }
    TaskRuntime& Runtime() override { return installed_.Get(); }
    bool RunsOnCaller() const override { return false; }
    std::optional<uint64_t> TasksRun() const override { return std::nullopt; }

private:
    Installed<ThreadRuntime> installed_;
};

}  // namespace

std::unique_ptr<ReplayClock> ReplayClock::Virtual(int64_t startTimeS) {
    return std::make_unique<VirtualClock>(startTimeS);
}

std::unique_ptr<ReplayClock> ReplayClock::Real() {
    return std::make_unique<RealClock>();
}

}  // namespace ZYRA::Host
