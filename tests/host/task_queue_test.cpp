// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/runtime/journal.h"
#include "host/runtime/observed_queue.h"
#include "host/runtime/thread_runtime.h"
#include "host/runtime/virtual_runtime.h"
#include "tests/support/event.h"

namespace ZYRA::Host {
namespace {

// Both runtimes behind one face: `Run` lets tasks run until the event, `InBackground` starts that and returns.
class OnThreads {
public:
    void Run(Event& until) { until.Wait(); }
    void StartInBackground() {}
    std::unique_ptr<TaskQueue> CreateQueue() { return runtime.CreateQueue("test_queue", 5); }
    ThreadRuntime runtime;
};

class OnVirtualTime {
public:
    ~OnVirtualTime() {
        if (driver_.joinable()) {
            driver_.join();
        }
    }
    void Run(Event& until) {
        if (driver_.joinable()) {
            driver_.join();
        }
        runtime.RunUntil(runtime.ElapsedUs() + LONG_US);
        ASSERT_TRUE(until.IsSet());
    }
    void StartInBackground() {
        driver_ = std::thread([this] { runtime.RunUntil(runtime.ElapsedUs() + LONG_US); });
    }
    std::unique_ptr<TaskQueue> CreateQueue() { return runtime.CreateQueue("test_queue", 5); }
    VirtualRuntime runtime{0};

private:
    static constexpr int64_t LONG_US = 3600 * 1000000LL;
    std::thread driver_;
};

// Holds that each task comes through its phases in order, and to its end.
class TaskWatch : private JournalSink {
protected:
    TaskWatch() { Journal::GetInstance().AddSink(this); }
    ~TaskWatch() override {
        Journal::GetInstance().RemoveSink(this);
        for (const auto& [id, phases] : phases_) {
            EXPECT_TRUE(phases == "sbe" || phases == "sc") << id << ": " << phases;
        }
    }
    TaskWatch(const TaskWatch&) = delete;
    TaskWatch& operator=(const TaskWatch&) = delete;

private:
    void OnEntry(const JournalEntry& entry) override {
        const auto& fact = std::get<TaskEntry>(entry.fact);
        phases_[fact.id] += "sbec"[static_cast<size_t>(fact.phase)];
        EXPECT_EQ(fact.queue, "observed");
        const bool isRunning = fact.phase == TaskEntry::Phase::BEGUN || fact.phase == TaskEntry::Phase::ENDED;
        EXPECT_EQ(RunningTaskId() == fact.id, isRunning);
    }
    bool WantsTasks() const override { return true; }

    std::map<uint64_t, std::string> phases_;  // Guarded by the journal's lock.
};

// The queue tells of its tasks; the watch goes after the runtime and the last task.
template <typename Runner>
class Observed : private TaskWatch, public Runner {
public:
    std::unique_ptr<TaskQueue> CreateQueue() {
        return std::make_unique<ObservedQueue>("observed", Runner::CreateQueue());
    }
};

template <typename Runner>
class TaskQueueTest : public ::testing::Test {
protected:
    // The order matters: queues go before their runtime.
    Runner runner_;
    std::unique_ptr<TaskQueue> queue_ = runner_.CreateQueue();

    void RunAll() {
        Event done;
        queue_->Submit([&done] { done.Set(); }, "done", 100000);
        runner_.Run(done);
    }
};

using Runners = ::testing::Types<OnThreads, OnVirtualTime, Observed<OnThreads>, Observed<OnVirtualTime>>;
TYPED_TEST_SUITE(TaskQueueTest, Runners);

TYPED_TEST(TaskQueueTest, NeverRunsInsideSubmit) {
    std::mutex callersLock;
    Event ran;
    {
        std::lock_guard lock(callersLock);
        this->queue_->Submit(
            [&] {
                callersLock.lock();
                callersLock.unlock();
                ran.Set();
            },
            "wants the caller's lock", 0);
    }
    this->runner_.Run(ran);
}

TYPED_TEST(TaskQueueTest, RunsInOrderOfDueTimeAndThenOfSubmission) {
    std::string order;
    // The first task lets the others be submitted at what is one moment for them, on both runtimes.
    this->queue_->Submit(
        [&] {
            for (const auto& [name, delayUs] :
                 std::vector<std::pair<char, uint64_t>>{{'d', 40000}, {'a', 0}, {'c', 20000}, {'b', 0}, {'e', 40000}}) {
                this->queue_->Submit([&order, name = name] { order += name; }, "ordered", delayUs);
            }
        },
        "submits", 0);
    this->RunAll();
    EXPECT_EQ(order, "abcde");
}

// Also where what waits is taken in one go. "b" becomes due after "a" was submitted and before "c" is.
TYPED_TEST(TaskQueueTest, WhatHasBecomeDueComesBeforeWhatIsSubmittedThen) {
    std::string order;
    const auto append = [&order](char name) { return [&order, name] { order += name; }; };
    this->queue_->Submit(
        [&] {
            this->queue_->SubmitWithHandle(append('b'), "b", 1000);
            this->queue_->Submit(append('a'), "a", 0);
            this->runner_.runtime.PassTime(3000);
            this->queue_->Submit(append('c'), "c", 0);
            this->queue_->SubmitWithHandle(append('d'), "d", 0);
            this->queue_->Submit(append('e'), "e", 0);
        },
        "submits", 0);
    this->RunAll();
    EXPECT_EQ(order, "abcde");
}

TYPED_TEST(TaskQueueTest, CancelTellsWhetherTheTaskHadStarted) {
    bool cancelledRan = false;
    bool duringItself = true;
    TaskHandle self;
    const TaskHandle delayed = this->queue_->SubmitWithHandle([&] { cancelledRan = true; }, "delayed", 50000);
    this->queue_->Submit(
        [&] {
            const TaskHandle next = this->queue_->SubmitWithHandle([&] { cancelledRan = true; }, "next", 0);
            EXPECT_TRUE(this->queue_->Cancel(next));
            EXPECT_FALSE(this->queue_->Cancel(next));
            self = this->queue_->SubmitWithHandle([&] { duringItself = this->queue_->Cancel(self); }, "self", 0);
        },
        "first", 0);
    EXPECT_TRUE(this->queue_->Cancel(delayed));
    this->RunAll();
    EXPECT_FALSE(duringItself);
    EXPECT_FALSE(this->queue_->Cancel(self));
    EXPECT_FALSE(this->queue_->Cancel(TaskHandle()));
    EXPECT_FALSE(this->queue_->Cancel(TaskHandle(12345)));
    EXPECT_FALSE(cancelledRan);
}

TYPED_TEST(TaskQueueTest, ClosuresDieWithTheirTask) {
    const auto token = std::make_shared<int>(0);
    const auto holding = [&token] { return [copy = token] { ASSERT_NE(copy, nullptr); }; };
    this->queue_->Submit(holding(), "runs", 0);
    const TaskHandle handle = this->queue_->SubmitWithHandle(holding(), "is cancelled", 200000);
    EXPECT_TRUE(this->queue_->Cancel(handle));
    this->RunAll();
    this->queue_->Submit(holding(), "is discarded", 200000);
    EXPECT_EQ(token.use_count(), 2);
    this->queue_->Close();
    EXPECT_EQ(token.use_count(), 1);
    EXPECT_FALSE(this->queue_->SubmitWithHandle(holding(), "comes too late", 0));
    EXPECT_EQ(token.use_count(), 1);
}

// (a) A task runs and wants a lock that the destroyer holds; (b) the queue is destroyed under that lock, which must
// return; (c) the lock is released and the task ends by itself; (d) what waited behind it never runs.
TYPED_TEST(TaskQueueTest, DestructionUnderALockThatTheRunningTaskWants) {
    std::mutex contended;
    Event started;
    Event ended;
    std::atomic<bool> discardedRan{false};
    {
        std::unique_lock lock(contended);
        this->queue_->Submit(
            [&] {
                started.Set();
                contended.lock();
                contended.unlock();
                ended.Set();
            },
            "wants the lock", 0);
        this->queue_->Submit([&] { discardedRan = true; }, "waits", 0);
        this->runner_.StartInBackground();
        started.Wait();
        this->queue_.reset();
        EXPECT_FALSE(ended.IsSet());
    }
    ended.Wait();
    this->runner_.runtime.JoinRetired();
    EXPECT_FALSE(discardedRan);
}

TYPED_TEST(TaskQueueTest, CloseReturnsAfterTheRunningTask) {
    Event started;
    Event release;
    std::atomic<bool> ended{false};
    this->queue_->Submit(
        [&] {
            started.Set();
            release.Wait();
            ended = true;
        },
        "runs", 0);
    this->runner_.StartInBackground();
    started.Wait();
    std::thread closer([&] {
        this->queue_->Close();
        EXPECT_TRUE(ended);
    });
    release.Set();
    closer.join();
    this->queue_->Close();
}

TYPED_TEST(TaskQueueTest, ClosedAndDestroyedFromItsOwnTask) {
    Event ended;
    bool nextRan = false;
    this->queue_->Submit(
        [&] {
            this->queue_->Submit([&nextRan] { nextRan = true; }, "next", 0);
            this->queue_->Close();
            this->queue_.reset();
            ended.Set();
        },
        "destroys its queue", 0);
    this->runner_.Run(ended);
    this->runner_.runtime.JoinRetired();
    EXPECT_FALSE(nextRan);
}

TYPED_TEST(TaskQueueTest, KeepsEveryTaskOfManyThreadsInTheOrderOfEach) {
    constexpr int THREADS = 4;
    constexpr int TASKS = 500;
    std::vector<int> next(THREADS, 0);
    bool inOrder = true;
    std::vector<std::thread> submitters;
    for (int thread = 0; thread < THREADS; ++thread) {
        submitters.emplace_back([&, thread] {
            for (int i = 0; i < TASKS; ++i) {
                this->queue_->Submit([&, thread, i] { inOrder = inOrder && next[thread]++ == i; }, "counts", 0);
            }
        });
    }
    for (std::thread& submitter : submitters) {
        submitter.join();
    }
    this->RunAll();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(next, std::vector<int>(THREADS, TASKS));
}

TEST(VirtualRuntimeTest, OneLoopOverAllQueuesJumpsToTheNextDueTime) {
    VirtualRuntime runtime(1000);
    const auto first = runtime.CreateQueue("first", 5);
    const auto second = runtime.CreateQueue("second", 3);
    std::vector<std::pair<char, int64_t>> ran;
    const auto record = [&](char name) { return [&, name] { ran.emplace_back(name, runtime.ElapsedUs()); }; };
    second->Submit(record('b'), "b", 500);
    first->Submit(record('c'), "c", 500);
    first->Submit(record('a'), "a", 0);
    first->Submit(record('d'), "d", 1501);
    runtime.RunUntil(1500);
    const std::vector<std::pair<char, int64_t>> expected = {{'a', 0}, {'b', 500}, {'c', 500}};
    EXPECT_EQ(ran, expected);
    EXPECT_EQ(runtime.WallClockUs(), 1000 * 1000000LL + 1500);
    EXPECT_EQ(runtime.TasksRun(), 3u);
    // The clock stops behind the task after which it is to go no further.
    runtime.RunUntil(9000, [] { return false; });
    EXPECT_EQ(runtime.ElapsedUs(), 1501);
}

}  // namespace
}  // namespace ZYRA::Host
