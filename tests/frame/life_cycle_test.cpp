// SPDX-License-Identifier: Apache-2.0
// The manager's life cycle with tasks held at the points that matter: what used to be a dead-lock or a use after free
// would hang or trip a sanitizer here.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "frame/common/io_sched_event_callback.h"
#include "frame/common/io_sched_event_id.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/io_sched_manager.h"
#include "host/runtime/journal.h"
#include "host/services/device_state.h"
#include "host/services/power_service.h"
#include "tests/support/event.h"
#include "tests/support/gate_runtime.h"

namespace ZYRA::ResourceSchedule {
namespace {

using Host::Event;

class LifeCycleTest : public ::testing::Test, private Host::JournalSink {
protected:
    void SetUp() override {
        Host::TaskRuntime::Install(runtime_);
        Host::Journal::GetInstance().AddSink(this);
    }
    void TearDown() override {
        manager_.Deinit();
        Host::Journal::GetInstance().RemoveSink(this);
        Host::TaskRuntime::InstallDefault();
    }

    std::shared_ptr<IOSchedEventCallback> Callback() {
        return IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    }

    size_t CountLogs(const std::string& text) {
        MutexLock lock(mutex_);
        return static_cast<size_t>(std::count(logs_.begin(), logs_.end(), text));
    }

    Host::GateRuntime runtime_;
    IOSchedManager& manager_ = IOSchedManager::GetInstance();

private:
    void OnEntry(const Host::JournalEntry& entry) override {
        if (const auto* log = std::get_if<Host::LogEntry>(&entry.fact)) {
            MutexLock lock(mutex_);
            logs_.push_back(log->text);
        }
    }

    Mutex mutex_;
    std::vector<std::string> logs_ GUARDED_BY(mutex_);
};

// (a) A task runs on a queue and is held; (b) the plugin is disabled, which reaches the closing of that queue; (c) the
// task goes on and wants the manager's main lock, for the callback that it took while the plugin was enabled; (d) it
// gets the lock, finds the manager not inited, and the disabling ends after the task.
TEST_F(LifeCycleTest, DisabledWhileATaskOfEitherQueueWantsTheMainLock) {
    for (const std::string queue : {"iosched_task_th", "iosched_main_th"}) {
        Event running;
        Event closing;
        Event never;
        std::atomic<bool> ended{false};
        runtime_.onClose = [&](const std::string& name) {
            if (name == queue) {
                closing.Set();
            }
        };
        const std::string gated = queue == "iosched_main_th" ? "ProcessIOSchedEventAsync" : "PostTaskToAsyncThrd";
        std::shared_ptr<IOSchedEventCallback> callback;
        runtime_.beforeTask = [&](const std::string& /*queue*/, const std::string& task) {
            if (task == gated) {
                running.Set();
                closing.Wait();
                callback->OnEventPost(IOSCHED_EVENT_PRELOAD_TTL, 0);
                callback->OnEventRemove(IOSCHED_EVENT_PRELOAD_TTL);
                callback->OnTaskPost([&never] { never.Set(); }, "late", 0);
                callback->OnTaskRemove("late");
                ended = true;
            }
        };
        manager_.Init();
        callback = Callback();
        ASSERT_NE(callback, nullptr);
        if (queue == "iosched_main_th") {
            callback->OnEventPost(IOSCHED_EVENT_PRELOAD_TTL, 0);
        } else {
            callback->OnTaskPost([] {}, "gated", 0);
        }
        running.Wait();
        manager_.Deinit();
        EXPECT_TRUE(ended) << queue;
        EXPECT_FALSE(never.IsSet()) << queue;
        EXPECT_EQ(Callback(), nullptr);
    }
}

// (a) The power manager is not there when the plugin starts; (b) the retry is held when it comes, and the plugin is
// being disabled meanwhile; (c) the power manager is there now, and the retry goes on; (d) nothing is registered.
TEST_F(LifeCycleTest, RetryThatMeetsTheDisablingRegistersNothing) {
    Host::DeviceState device;
    device.services[3301] = false;
    Host::DeviceServices::GetInstance().Set(device);
    Event retrying;
    Event closing;
    runtime_.beforeTask = [&](const std::string& /*queue*/, const std::string& task) {
        if (task == "PostTaskThrd") {
            retrying.Set();
            closing.Wait();
        }
    };
    runtime_.onClose = [&](const std::string& queue) {
        if (queue == "iosched_main_th") {
            Host::DeviceServices::GetInstance().Set({});
            closing.Set();
        }
    };
    manager_.Init();
    retrying.Wait();
    manager_.Deinit();
    EXPECT_EQ(Host::PowerService::GetInstance().CallbackCount(), 0u);
    manager_.Init();
    EXPECT_EQ(Host::PowerService::GetInstance().CallbackCount(), 1u);
    manager_.Deinit();
}

TEST_F(LifeCycleTest, NamedTasksAreCancelledTogetherAndDroppedWhileDisabled) {
    std::atomic<int> ran{0};
    Event done;
    manager_.PostTaskToAsyncThrd([&] { ++ran; }, "named", 0);
    manager_.Init();
    for (int i = 0; i < 3; ++i) {
        manager_.PostTaskToAsyncThrd([&] { ++ran; }, "named", 3600000);
    }
    manager_.RemoveTaskOnAsyncThrd("named");
    manager_.RemoveTaskOnAsyncThrd("unknown");
    Callback()->OnTaskPost([&] { done.Set(); }, "other", 5);
    done.Wait();
    manager_.Deinit();
    EXPECT_EQ(ran, 0);
}

TEST_F(LifeCycleTest, SecondInitAndSecondDeinitOnlySaySo) {
    manager_.Deinit();
    manager_.Init();
    manager_.Init();
    manager_.Deinit();
    manager_.Deinit();
    EXPECT_EQ(CountLogs("[Init:]IOSchedManager has already been Inited."), 1u);
    EXPECT_EQ(CountLogs("[Init:]IOSchedManager Init success."), 1u);
    EXPECT_EQ(CountLogs("[Deinit:]IOSchedManager has already been Deinited."), 2u);
    EXPECT_EQ(CountLogs("[Deinit:]IOSchedManager Deinit success."), 1u);
}

// Each failure of Init leaves nothing behind: the next Init works.
TEST_F(LifeCycleTest, FailedInitStartsCleanNextTime) {
    runtime_.failingQueue = "iosched_task_th";
    manager_.Init();
    EXPECT_EQ(CountLogs("[Init:]failed to create veloQueue."), 1u);
    EXPECT_EQ(Callback(), nullptr);
    runtime_.throwsInstead = true;
    EXPECT_THROW(manager_.Init(), std::bad_alloc);
    EXPECT_EQ(Callback(), nullptr);
    runtime_.failingQueue.clear();
    manager_.Init();
    EXPECT_EQ(CountLogs("[Init:]IOSchedManager Init success."), 1u);
    EXPECT_NE(Callback(), nullptr);
}

// (a) There is no main queue: the plugin starts all the same, and each event is said to be lost; (b) what a task throws
// ends that task only.
TEST_F(LifeCycleTest, NeitherAMissingMainQueueNorAThrowingTaskEndsThePlugin) {
    runtime_.failingQueue = "iosched_main_th";
    manager_.Init();
    manager_.DispatchResource(std::make_shared<ResData>(ResData{48, 0, {}}));
    Callback()->OnEventPost(IOSCHED_EVENT_PRELOAD_TTL, 0);
    Callback()->OnEventRemove(IOSCHED_EVENT_PRELOAD_TTL);
    EXPECT_EQ(CountLogs("[ProcessResTypeEvent:]IOSchedEventHandler is not created."), 1u);
    EXPECT_EQ(CountLogs("[ProcessIOSchedEventAsync:]IOSchedEventHandler is not created."), 1u);
    Event done;
    Callback()->OnTaskPost([] { throw std::runtime_error("text"); }, "throws", 0);
    Callback()->OnTaskPost([] { throw 7; }, "throws", 0);
    Callback()->OnTaskPost([&] { done.Set(); }, "other", 0);
    done.Wait();
    EXPECT_EQ(CountLogs("[PostTaskToAsyncThrd:]unexpected exception: <private>"), 1u);
    EXPECT_EQ(CountLogs("[PostTaskToAsyncThrd:]unexpected exception"), 1u);
    manager_.Deinit();
    EXPECT_EQ(CountLogs("[~IOSchedEventHandler:]IOSchedEventHandler has already been destroyed."), 1u);
}

TEST_F(LifeCycleTest, OnlyTimeoutsOfExactPrereadPassTheCallback) {
    std::atomic<int> ran{0};
    Event sentinel;
    runtime_.beforeTask = [&](const std::string& /*queue*/, const std::string& task) {
        if (task == "ProcessIOSchedEventAsync" && ++ran == 2) {
            sentinel.Set();
        }
    };
    manager_.Init();
    const auto callback = Callback();
    callback->OnEventPost(19, 0);
    callback->OnEventPost(25, 0);
    callback->OnEventPost(0, 0);
    callback->OnEventPost(IOSCHED_EVENT_PRELOAD_TTL, 3600000);
    callback->OnEventPost(IOSCHED_EVENT_PRELOAD_TTL, 3600000);
    callback->OnEventRemove(IOSCHED_EVENT_PRELOAD_TTL);
    callback->OnEventPost(20, 0);
    callback->OnEventPost(24, 10);
    sentinel.Wait();
    manager_.Deinit();
    EXPECT_EQ(ran, 2);
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
