// The shipped library under fire: events, good and bad, from several host threads while another one enables, disables,
// dumps and shuts down; then unloading, which must leave nothing behind. The sanitizers' presets run the same.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host/replay/plugin_library.h"
#include "host/replay/virtual_device.h"
#include "host/runtime/thread_runtime.h"
#include "host/services/power_service.h"
#include "platform/executor_client.h"

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

    ThreadRuntime runtime_;
    std::unique_ptr<VirtualDevice> device_;
};

TEST_F(StormTest, EventsFromManyThreadsWhileThePluginIsSwitched) {
    constexpr int SENDERS = 2;
    constexpr int CYCLES = 60;
    const auto plugin = Load();
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (int sender = 0; sender < SENDERS; ++sender) {
        threads.emplace_back([&, sender] {
            std::mt19937 random(static_cast<uint32_t>(sender));
            while (!isOver) {
                plugin->Dispatch(RandomEvent(random));
                plugin->Dispatch(nullptr);
            }
        });
    }
    threads.emplace_back([&] {
        while (!isOver) {
            plugin->Dump({"-dfx"});
            plugin->Dump({"-s"});
            PowerService::GetInstance().Shutdown();
        }
    });
    std::mt19937 random(SENDERS);
    for (int cycle = 0; cycle < CYCLES; ++cycle) {
        EXPECT_TRUE(plugin->Init());
        for (uint32_t events = random() % 200; events > 0; --events) {
            plugin->Dispatch(RandomEvent(random));
        }
        plugin->Disable();
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    runtime_.JoinRetired();
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
