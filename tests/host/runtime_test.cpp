// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sched.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/replay/one_processor.h"
#include "host/runtime/journal.h"
#include "host/runtime/log_sink.h"
#include "host/runtime/observed_queue.h"
#include "host/runtime/virtual_runtime.h"
#include "platform/event_log.h"
#include "platform/log.h"
#include "platform/task_queue.h"
#include "platform/trace.h"

namespace ZYRA::Host {
namespace {

constexpr LogLabel LABEL = {1, "TAG"};

class RuntimeTest : public ::testing::Test, private JournalSink {
protected:
    RuntimeTest() {
        TaskRuntime::Install(runtime_);
        Journal::GetInstance().AddSink(this);
    }
    ~RuntimeTest() override {
        Journal::GetInstance().RemoveSink(this);
        TaskRuntime::InstallDefault();
    }

    VirtualRuntime runtime_{0};
    std::vector<std::string> lines_;

private:
    void OnEntry(const JournalEntry& entry) override { lines_.push_back(ToJsonLine(entry)); }
};

TEST_F(RuntimeTest, LogShowsPublicArgumentsAndHidesTheOthers) {
    const auto logAll = [] {
        ZYRA_LOG(LogLevel::WARN, LABEL, "%{public}s %{private}s %d 100%% %{public}u %{public}ld %{public}llu", "a", "b",
                 true, 4000000000u, -5L, ~0ULL);
    };
    logAll();
    SetRevealPrivate(true);
    logAll();
    SetRevealPrivate(false);
    const char* missing = nullptr;
    ZYRA_LOG(LogLevel::INFO, LABEL, "\xff%{public}s", missing);
    const std::vector<std::string> expected = {
        R"({"t":0,"kind":"log","level":"WARN","tag":"TAG","text":"a <private> <private> 100% 4000000000 -5 18446744073709551615"})",
        R"({"t":0,"kind":"log","level":"WARN","tag":"TAG","text":"a b 1 100% 4000000000 -5 18446744073709551615"})",
        "{\"t\":0,\"kind\":\"log\",\"level\":\"INFO\",\"tag\":\"TAG\",\"text\":\"\xef\xbf\xbd(null)\"}",
    };
    EXPECT_EQ(lines_, expected);
}

class TaskLines final : public JournalSink {
public:
    void OnEntry(const JournalEntry& entry) override {
        const auto* task = std::get_if<TaskEntry>(&entry.fact);
        lines.push_back(task == nullptr ? "other"
                                        : std::to_string(entry.timeUs) + " " + task->queue + "/" + task->name + " " +
                                              std::to_string(static_cast<int>(task->phase)) + " due " +
                                              std::to_string(task->dueUs));
        from.push_back(RunningTaskId());
    }
    bool WantsTasks() const override { return true; }

    std::vector<std::string> lines;
    std::vector<uint64_t> from;
};

// Only a sink that wants tasks is told of them, of queues that were created while it was there.
TEST_F(RuntimeTest, TasksAreToldToSinksThatWantThem) {
    TaskLines tasks;
    const auto before = TaskQueue::Create("before", 0);
    Journal::GetInstance().AddSink(&tasks);
    const auto queue = TaskQueue::Create("queue", 0);
    queue->Submit([&queue] { queue->Submit([] {}, "child", 5); }, "parent", 10);
    before->Submit([] {}, "unseen", 0);
    EXPECT_TRUE(queue->Cancel(queue->SubmitWithHandle([] {}, "cancelled", 20)));
    runtime_.RunUntil(100);
    Journal::GetInstance().Append(StepEndEntry());
    Journal::GetInstance().RemoveSink(&tasks);
    queue->Submit([] {}, "unseen", 0);

    const std::vector<std::string> expected = {
        "0 queue/parent 0 due 10",  "0 queue/cancelled 0 due 20", "0 queue/cancelled 3 due 20",
        "10 queue/parent 1 due 10", "10 queue/child 0 due 15",    "10 queue/parent 2 due 10",
        "15 queue/child 1 due 15",  "15 queue/child 2 due 15",    "other"};
    EXPECT_EQ(tasks.lines, expected);
    const uint64_t parent = tasks.from[3];
    EXPECT_NE(parent, 0u);
    const uint64_t child = tasks.from[6];
    EXPECT_EQ(tasks.from, (std::vector<uint64_t>{0, 0, 0, parent, parent, parent, child, child, 0}));
    EXPECT_EQ(lines_, std::vector<std::string>());
}

// Threads that are started there stay on the one processor; the thread itself gets back what it had.
TEST(OneProcessorTest, HoldsForItsScope) {
    const auto state = [] {
        cpu_set_t processors;
        EXPECT_EQ(sched_getaffinity(0, sizeof(processors), &processors), 0);
        return std::pair(CPU_COUNT(&processors), sched_getscheduler(0));
    };
    const auto before = state();
    {
        const OneProcessor one;
        std::thread([&] { EXPECT_EQ(state(), (std::pair(1, SCHED_BATCH))); }).join();
    }
    EXPECT_EQ(state(), before);
}

TEST_F(RuntimeTest, NothingIsEvaluatedBelowTheThreshold) {
    int evaluated = 0;
    ZYRA_LOG(LogLevel::DEBUG, LABEL, "%{public}d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    logThreshold = static_cast<int32_t>(LogLevel::DEBUG);
    ZYRA_LOG(LogLevel::DEBUG, LABEL, "%{public}d", ++evaluated);
    logThreshold = static_cast<int32_t>(LogLevel::INFO);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(lines_.size(), 1u);
}

TEST_F(RuntimeTest, SystemEventsBeyondTheRateAreDroppedUntilThePeriodIsOver) {
    const auto write = [](const char* name) {
        return EventLog::Write("RSS", name, EventLogType::FAULT, {{"A", 1}, {"B", uint64_t{2}}, {"C", "x"}});
    };
    for (uint32_t i = 0; i < EventLog::EVENT_LOG_MAX_PER_PERIOD; ++i) {
        ASSERT_EQ(write("LIMITED"), 0);
    }
    EXPECT_NE(write("LIMITED"), 0);
    EXPECT_EQ(write("OTHER"), 0);
    runtime_.RunUntil(EventLog::EVENT_LOG_PERIOD_S * 1000000 - 1);
    EXPECT_NE(write("LIMITED"), 0);
    runtime_.RunUntil(EventLog::EVENT_LOG_PERIOD_S * 1000000);
    EXPECT_EQ(write("LIMITED"), 0);
    EXPECT_EQ(lines_.size(), EventLog::EVENT_LOG_MAX_PER_PERIOD + 2);
    EXPECT_EQ(
        lines_.back(),
        R"({"t":5000000,"kind":"sysevent","domain":"RSS","name":"LIMITED","type":"FAULT","params":{"A":1,"B":2,"C":"x"}})");
}

TEST_F(RuntimeTest, SpansAreClosedByNameInTheirNesting) {
    {
        TraceSpan outer(TRACE_TAG_RESSCHED, "outer");
        TraceSpan inner(TRACE_TAG_RESSCHED, "inner");
    }
    FinishTrace(TRACE_TAG_RESSCHED);
    const std::vector<std::string> expected = {R"({"t":0,"kind":"span","name":"outer","phase":"begin"})",
                                               R"({"t":0,"kind":"span","name":"inner","phase":"begin"})",
                                               R"({"t":0,"kind":"span","name":"inner","phase":"end"})",
                                               R"({"t":0,"kind":"span","name":"outer","phase":"end"})"};
    EXPECT_EQ(lines_, expected);
}

}  // namespace
}  // namespace ZYRA::Host
