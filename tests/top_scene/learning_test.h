// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "frame/common/io_sched_event_util.h"
#include "host/runtime/virtual_runtime.h"
#include "host/services/device_state.h"
#include "tests/top_scene/log_lines.h"
#include "tests/top_scene/raw_database.h"
#include "top_scene/top_scene_manager.h"

namespace ZYRA::ResourceSchedule {

using Lines = std::vector<std::string>;

// Stands in for the plugin's manager: keeps what the learning asks of it, in order, and the tasks until the test runs
// them.
class FakeCallback final : public IOSchedEventCallback {
public:
    void OnEventPost(uint32_t eventId, int64_t /*delayMs*/) override {
        effects.push_back("post event " + std::to_string(eventId));
    }
    void OnEventRemove(uint32_t eventId) override { effects.push_back("remove event " + std::to_string(eventId)); }
    void OnTaskPost(std::function<void()> task, const std::string& taskName, int64_t delayMs) override {
        effects.push_back("post " + taskName + " " + std::to_string(delayMs));
        tasks.push_back({taskName, delayMs, std::move(task)});
    }
    void OnTaskRemove(const std::string& taskName) override {
        effects.push_back("remove " + taskName);
        std::erase_if(tasks, [&taskName](const Task& task) { return task.name == taskName; });
    }
    void OnTopSceneUpdate(std::shared_ptr<std::unordered_set<std::string>> topScenes) override {
        effects.push_back("publish " + std::to_string(topScenes->size()));
        published = std::set<std::string>(topScenes->begin(), topScenes->end());
    }
    bool OnBatteryStateChange() override {
        effects.push_back("ask for the battery");
        return isCharging;
    }
    void OnTopSceneDecay(std::shared_ptr<std::vector<std::string>> decayedScenes) override {
        effects.push_back("decay " + std::to_string(decayedScenes->size()));
        decayed = *decayedScenes;
    }

    struct Task {
        std::string name;
        int64_t delayMs;
        std::function<void()> run;
    };

    bool isCharging = true;
    Lines effects;
    std::deque<Task> tasks;
    std::optional<std::set<std::string>> published;
    std::optional<std::vector<std::string>> decayed;
};

// The learning on a virtual clock and a device of the test's own. Nothing runs before Init.
class LearningTest : public ::testing::Test {
protected:
    static constexpr int64_t START_S = 1750000000;
    static constexpr char DATABASE[] = "/data/service/el1/public/ressched/top_scene.db";
    static constexpr long ROM_GB = 128;

    void SetUp() override {
        Host::TaskRuntime::Install(runtime_);
        unlink(DATABASE);
        ASSERT_TRUE(IOSchedEventUtil::GetInstance().RegisterIOSchedEventCallback(callback_));
    }
    // Not in TearDown: a property that fails or discards a case leaves by an exception.
    ~LearningTest() override {
        CloseDatabase();
        callback_->tasks.clear();
        IOSchedEventUtil::GetInstance().UnregisterIOSchedEventCallback();
        Host::DeviceServices::GetInstance().Set({});
        Host::TaskRuntime::InstallDefault();
    }

    // Sets what the services say. A configuration without items is one that is missing.
    void SetDevice(std::list<Item> config, const std::vector<std::string>& bundles) {
        device_.config["topScene"] = {std::move(config)};
        device_.bundles.clear();
        for (const std::string& bundle : bundles) {
            device_.bundles[bundle] = {};
        }
        Host::DeviceServices::GetInstance().Set(device_);
    }
    // A set of `topN` scenes.
    void SetDevice(int topN, const std::vector<std::string>& bundles) {
        SetDevice({{{{"romsize", std::to_string(ROM_GB)}}, {{"topN", std::to_string(topN), {}}}}}, bundles);
    }

    // Runs the tasks that are due at once, and gives what was asked for since the last call.
    Lines RunTasks() {
        auto& tasks = callback_->tasks;
        const auto isDue = [](const FakeCallback::Task& task) { return task.delayMs == 0; };
        for (auto due = std::find_if(tasks.begin(), tasks.end(), isDue); due != tasks.end();
             due = std::find_if(tasks.begin(), tasks.end(), isDue)) {
            const std::function<void()> run = std::move(due->run);
            tasks.erase(due);
            run();
        }
        return std::exchange(callback_->effects, {});
    }
    // Runs the task that closes the database, if there is one.
    void CloseDatabase() {
        auto& tasks = callback_->tasks;
        const auto close = std::find_if(tasks.begin(), tasks.end(),
                                        [](const FakeCallback::Task& task) { return task.name == "discn_db_task"; });
        if (close != tasks.end()) {
            const std::function<void()> run = std::move(close->run);
            tasks.erase(close);
            run();
        }
    }
    // Starts it, with the stored set published.
    void Start() {
        manager_.Init(ROM_GB);
        RunTasks();
        logs_.Take();
    }
    Lines ScreenOff() {
        manager_.HandleScreenOffEvent();
        return RunTasks();
    }
    void Launch(const std::string& scene, int times = 1) {
        for (int time = 0; time < times; ++time) {
            manager_.HandleSceneInEvent(scene);
        }
    }
    void PassSeconds(int64_t seconds) { runtime_.RunUntil(runtime_.ElapsedUs() + seconds * 1000000); }

    static void Sql(const std::string& sql) { RawDatabase(DATABASE).Run(sql); }
    static Lines Rows(const std::string& sql) { return RawDatabase(DATABASE).Rows(sql); }

    Host::VirtualRuntime runtime_{START_S};
    Host::DeviceState device_;
    LogLines logs_;
    std::shared_ptr<FakeCallback> callback_ = std::make_shared<FakeCallback>();
    TopSceneManager& manager_ = TopSceneManager::GetInstance();
};

}  // namespace ZYRA::ResourceSchedule
