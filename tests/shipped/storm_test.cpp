// SPDX-License-Identifier: Apache-2.0
// The shipped library under fire: events, good and bad, from several host threads while others enable and disable it,
// dump and shut down; then unloading, which must leave nothing behind. The sanitizers' presets run the same.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host/replay/plugin_library.h"
#include "host/replay/virtual_device.h"
#include "host/services/power_service.h"
#include "platform/executor_client.h"
#include "tests/support/gate_runtime.h"

namespace ZYRA::Host {
namespace {

constexpr char PLUGIN_NAME[] = "libio_sched_plugin.z.so";

size_t CountEntries(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

bool IsMapped() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(PLUGIN_NAME) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// Any event that a host could send, and many that none should.
std::shared_ptr<ResourceSchedule::ResData> RandomEvent(std::mt19937& random) {
    static const uint32_t TYPES[] = {27, 15, 9, 4, 10, 0, 48, 11, 7, 3, 12, 83, 70, 1, 10011, 150, 12345};
    static const int64_t VALUES[] = {0, 0, 1, 1, 2, 8, -1, INT64_MAX};
    static const nlohmann::json MEMBERS[] = {
        "1", "20010034", "3121",  "com.example.mail", "com.example.maps", "pages/Index", "../x",
        "",  7,          nullptr, {{"a", "b"}},       "\xff\xfe"};
    static const char* const KEYS[] = {"uid", "pid", "clientPid", "bundleName", "pageUrl", "typeId"};
    const auto pick = [&random](const auto& from) -> const auto& {
        return from[random() % std::size(from)];
    };

    auto data = std::make_shared<ResourceSchedule::ResData>();
    data->resType = pick(TYPES);
    data->value = pick(VALUES);
    if (random() % 4 != 0) {
        data->payload = {{"uid", "20010034"}, {"pid", "3121"}, {"clientPid", "3121"}, {"pageUrl", "pages/Index"}};
        data->payload["bundleName"] = random() % 2 == 0 ? "com.example.mail" : "com.example.maps";
    } else if (random() % 4 != 0) {
        data->payload[pick(KEYS)] = pick(MEMBERS);
    } else {
        data->payload = pick(MEMBERS);
    }
    return data;
}

class StormTest : public ::testing::Test {
protected:
    void SetUp() override {
        TaskRuntime::Install(runtime_);
        std::string error;
        device_ = VirtualDevice::Start(DeviceModel(), error);
        ASSERT_NE(device_, nullptr) << error;
        device_->Apply(nlohmann::json::parse(R"({"processes": {"8": {"uid": 20010034, "bundles": ["com.example.mail"]},
                                                               "9": {"uid": 7}, "10": {"uid": 8, "frozen": true}}})"));
    }
    void TearDown() override {
        device_.reset();
        TaskRuntime::InstallDefault();
    }

    std::unique_ptr<PluginLibrary> Load() {
        std::string error;
        auto plugin = PluginLibrary::Open(PLUGIN_LIBRARY, error);
        EXPECT_NE(plugin, nullptr) << error;
        return plugin;
    }

    // What the plugin has asked for is carried out before a request that is waited for.
    static void AwaitExecutor() {
        nlohmann::json reply;
        ResourceSchedule::ExecutorClient::GetInstance().SendRequestSync(
            0, 3, {{"filePath", "/dev/iolimit/iocontrol/cgroup.procs"}}, reply);
    }

    GateRuntime runtime_;
    std::unique_ptr<VirtualDevice> device_;
};

// What has become of the events: the plugin queues an event on the thread that sends it, or never.
struct EventCounts {
    static thread_local uint64_t queuedByThisThread;

    void Watch(GateRuntime& runtime) {
        static constexpr char EVENT_TASK[] = "ProcessResTypeEvent";
        runtime.onSubmit = [](const std::string& task) { queuedByThisThread += task == EVENT_TASK ? 1 : 0; };
        runtime.onEnd = [this](const std::string& task, bool hasRun) {
            if (task == EVENT_TASK) {
                ++(hasRun ? handled : discarded);
            }
        };
    }

    std::atomic<uint64_t> sent{0};
    std::atomic<uint64_t> refused{0};
    std::atomic<uint64_t> handled{0};
    std::atomic<uint64_t> discarded{0};
};
thread_local uint64_t EventCounts::queuedByThisThread = 0;

// Where the switching thread is: even numbers while the plugin is left as it is, enabled at every other of them.
class Phase {
public:
    void Step() { ++number_; }
    uint64_t Number() const { return number_; }
    static bool IsEnabled(uint64_t number) { return number % 4 == 2; }
    static bool IsDisabled(uint64_t number) { return number % 4 == 0; }

private:
    std::atomic<uint64_t> number_{0};
};

// (a) Events from three threads, shutdowns and dumps from two more, while the plugin is enabled and disabled; (b) an
// event that is sent while the plugin stays enabled is queued once, and one while it stays disabled never; (c) each
// event was handled or dropped.
TEST_F(StormTest, EventsFromManyThreadsWhileThePluginIsSwitched) {
    constexpr uint64_t CYCLES = 1000;
    constexpr uint64_t HANDLED_AT_LEAST = 50;
    EventCounts counts;
    counts.Watch(runtime_);
    Phase phase;
    const auto plugin = Load();
    const auto send = [&](const std::shared_ptr<ResourceSchedule::ResData>& event) {
        const uint64_t before = phase.Number();
        const uint64_t queuedBefore = EventCounts::queuedByThisThread;
        plugin->Dispatch(event);
        const uint64_t queued = EventCounts::queuedByThisThread - queuedBefore;
        const bool isSteady = phase.Number() == before;
        EXPECT_LE(queued, event != nullptr && !(isSteady && Phase::IsDisabled(before)) ? 1u : 0u);
        EXPECT_GE(queued, event != nullptr && isSteady && Phase::IsEnabled(before) ? 1u : 0u);
        ++counts.sent;
        counts.refused += 1 - queued;
    };
    std::atomic<bool> isOver{false};
    auto untilOver = [&isOver, seed = 1U](auto work) mutable {
        return std::thread([&isOver, work, random = std::mt19937(++seed)]() mutable {
            while (!isOver) {
                work(random);
            }
        });
    };
    const auto sendAny = [&](std::mt19937& random) { send(random() % 4 == 0 ? nullptr : RandomEvent(random)); };
    std::thread threads[] = {untilOver(sendAny), untilOver(sendAny),
                             untilOver([&](std::mt19937& /*random*/) { PowerService::GetInstance().Shutdown(); }),
                             untilOver([&](std::mt19937& /*random*/) {
                                 const uint64_t queuedBefore = EventCounts::queuedByThisThread;
                                 EXPECT_EQ(plugin->Dump({"-dfx"}), "");
                                 const bool isAnswered = !plugin->Dump({"-s"}).empty();
                                 EXPECT_EQ(EventCounts::queuedByThisThread - queuedBefore, isAnswered ? 1u : 0u);
                                 counts.sent += isAnswered ? 1 : 0;
                             })};
    std::mt19937 random(1);
    for (uint64_t cycle = 0; cycle < CYCLES; ++cycle) {
        phase.Step();
        EXPECT_TRUE(plugin->Init());
        phase.Step();
        for (uint32_t events = random() % 50; events > 0; --events) {
            sendAny(random);
        }
        // Now and then the plugin is left to its work for a while.
        const uint64_t goal = counts.handled + (cycle % 4 == 0 ? HANDLED_AT_LEAST : 0);
        while (counts.handled < goal) {
            std::this_thread::yield();
        }
        phase.Step();
        plugin->Disable();
        phase.Step();
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    runtime_.JoinRetired();
    EXPECT_EQ(counts.handled + counts.discarded + counts.refused, counts.sent);
    EXPECT_GE(counts.handled, HANDLED_AT_LEAST * CYCLES / 4);
    std::cout << "storm: " << CYCLES << " cycles, " << counts.sent << " events: " << counts.handled << " handled, "
              << counts.refused << " dropped while disabled, " << counts.discarded << " dropped in the queue\n";
}

TEST_F(StormTest, LoadedAndUnloadedAHundredTimesLeavesNothingBehind) {
    constexpr int CYCLES = 100;
    size_t threads = 0;
    size_t descriptors = 0;
    for (int cycle = 0; cycle < CYCLES; ++cycle) {
        auto plugin = Load();
        ASSERT_TRUE(plugin->Init());
        std::mt19937 random(static_cast<uint32_t>(cycle));
        for (int i = 0; i < 20; ++i) {
            plugin->Dispatch(RandomEvent(random));
        }
        plugin->Disable();
        runtime_.JoinRetired();
        plugin.reset();
        ASSERT_FALSE(IsMapped()) << "cycle " << cycle;
        AwaitExecutor();
        if (cycle == 0) {
            threads = CountEntries("/proc/self/task");
            descriptors = CountEntries("/proc/self/fd");
        }
    }
    EXPECT_EQ(CountEntries("/proc/self/task"), threads);
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
}

TEST_F(StormTest, OnlyItsOwnNameStartsThePlugin) {
    void* handle = dlopen(PLUGIN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr);
    const auto init = reinterpret_cast<bool (*)(std::string&)>(dlsym(handle, "OnPluginInit"));
    const auto dump =
        reinterpret_cast<void (*)(const std::vector<std::string>&, std::string&)>(dlsym(handle, "OnDump"));
    for (std::string name : {"", "libio_sched_plugin.z.so ", "libio_sched_plugin.z.s"}) {
        EXPECT_FALSE(init(name)) << name;
    }
    std::string result = "before ";
    dump({"-h"}, result);
    EXPECT_EQ(result, "before ");
    dlclose(handle);
}

}  // namespace
}  // namespace ZYRA::Host
