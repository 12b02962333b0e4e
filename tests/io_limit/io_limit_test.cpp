// SPDX-License-Identifier: Apache-2.0
// IO limiting beside what the scenarios show: its switch, what outlives a Deinit, and a lift that is overtaken.

#include "io_limit/io_limit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/common/io_sched_event_callback.h"
#include "frame/common/io_sched_event_util.h"
#include "host/services/device_state.h"
#include "io_limit/io_limit_config_info.h"
#include "io_limit/io_limit_handler.h"
#include "tests/support/event.h"
#include "tests/support/gate_runtime.h"
#include "tests/support/plugin_on_device_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

const nlohmann::json MAIL_STARTS = {{"bundleName", "com.example.mail"}, {"uid", "20010034"}};

TEST(IoLimitConfigTest, TheFirstSwitchItemWithAValueDecides) {
    const auto item = [](const char* type, std::list<SubItem> subItems) { return Item{{{"type", type}}, subItems}; };
    const auto isEnabled = [](std::list<Item> items) {
        Host::DeviceState state;
        state.config["IoLimit"] = {std::move(items)};
        Host::DeviceServices::GetInstance().Set(std::move(state));
        IoLimitConfigInfo::GetInstance().Init();
        return IoLimitConfigInfo::GetInstance().IsIoLimitEnabled();
    };
    const Item on = item("switch", {{"switch", "1", {}}});
    const Item off = item("switch", {{"switch", "0", {}}});
    EXPECT_FALSE(isEnabled({}));
    EXPECT_TRUE(isEnabled({on, off}));
    // Where nothing decides it stays as it was.
    for (const std::list<Item>& items : {std::list<Item>{},
                                         {item("Switch", {{"switch", "0", {}}})},
                                         {item("switch ", {{"switch", "0", {}}})},
                                         {item("switch", {})},
                                         {item("switch", {{"switches", "0", {}}})},
                                         {Item{{{"kind", "switch"}}, {{"switch", "0", {}}}}}}) {
        EXPECT_TRUE(isEnabled(items));
    }
    EXPECT_FALSE(isEnabled({off, on}));
    EXPECT_TRUE(isEnabled({item("other", {{"switch", "0", {}}}), item("switch", {{"more", "0", {}}}), on}));
    for (const char* value : {"true", "01", "1 ", " 1", "11", "", "+1"}) {
        EXPECT_FALSE(isEnabled({item("switch", {{"switch", value, {}}, {"switch", "1", {}}}), on})) << value;
    }
}

class IoLimitTest : public PluginOnDeviceTest {
protected:
    void Enable() {
        manager_.Init();
        Iolimit::GetInstance().Init();
        RunFor(0);
        TakeEffects();
    }
    void Disable() {
        manager_.Deinit();
        Iolimit::GetInstance().Deinit();
    }
};

// (a) A player is white-listed and an application of the system is known; (b) the plugin is disabled, and what happens
// meanwhile is not heard of; (c) enabled again, both are still exempt.
TEST_F(IoLimitTest, ListsOutliveADeinit) {
    device_->Apply(nlohmann::json::parse(R"({
        "bundles": {"com.example.home": {"uid": 20010010, "systemApp": true, "removable": false}},
        "processes": {"7": {"uid": 20010010, "bundles": ["com.example.home"]}, "8": {"uid": 20010036}, "9": {"uid": 5}}})"));
    Enable();
    Send(7, 0, {{"uid", "20010036"}, {"typeId", "2"}});
    Disable();
    IolimitHandler& handler = IolimitHandler::GetInstance();
    handler.HandleContinuousEnd({{"uid", "20010036"}, {"typeId", "2"}});
    handler.HandleAppStart(MAIL_STARTS);
    handler.HandleSlideStart();
    handler.HandleSlideEnd();
    RunFor(10000);
    EXPECT_EQ(TakeEffects(), Effects());
    device_->Apply({{"services", {{"401", false}}}});
    Enable();
    Send(27, 0, MAIL_STARTS);
    EXPECT_EQ(ReadFile("/dev/iolimit/iocontrol/cgroup.procs"), "9\n");
}

// Notes the states that the plugin asks for, of the switch of heavy IO, which it writes last.
class HeavySwitch final : public Host::JournalSink {
public:
    void OnEntry(const Host::JournalEntry& entry) override {
        const auto* request = std::get_if<Host::RequestEntry>(&entry.fact);
        if (request != nullptr && request->payload.value("filePath", "") == "/dev/iolimit/heavyio/iolimit.offon") {
            states += request->payload.value("content", "");
        }
    }
    std::string states;
};

// (a) The limits of a slide are due to be lifted, and the lift is on its way; (b) a start switches them on again; (c)
// the lift goes on, and does nothing: the limits are those of the start now.
TEST(IoLimitLiftTest, ALiftThatIsOvertakenByAStartDoesNothing) {
    Host::Event isStartOver;
    Host::Event isShut;
    Host::Event isDue;
    Host::Event goesOn;
    Host::GateRuntime runtime;
    runtime.beforeTask = [&](const std::string& queue, const std::string& task) {
        if (task == "ProcessResTypeEvent") {
            isStartOver.Set();
        } else if (queue == "iosched_task_th" && isShut.IsSet()) {
            isDue.Set();
            goesOn.Wait();
        }
    };
    Host::TaskRuntime::Install(runtime);
    Host::DeviceServices::GetInstance().Set(Host::DeviceModel().state);
    IOSchedManager& manager = IOSchedManager::GetInstance();
    manager.Init();
    const auto callback = IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    const auto runOnTaskQueue = [&] {
        Host::Event isDone;
        callback->OnTaskPost([&] { isDone.Set(); }, "of the test", 0);
        isDone.Wait();
    };
    // The first task of the learning comes from the main queue; all of it is over before the gate is shut.
    manager.DispatchResource(std::make_shared<ResData>(ResData{1, 0, {}}));
    isStartOver.Wait();
    runOnTaskQueue();
    Iolimit::GetInstance().Init();
    HeavySwitch heavy;
    Host::Journal::GetInstance().AddSink(&heavy);

    IolimitHandler& handler = IolimitHandler::GetInstance();
    handler.HandleSlideStart();
    handler.HandleSlideEnd();
    isShut.Set();
    isDue.Wait();
    handler.HandleAppStart(MAIL_STARTS);
    goesOn.Set();
    runOnTaskQueue();
    EXPECT_EQ(heavy.states, "11");

    manager.Deinit();
    Iolimit::GetInstance().Deinit();
    Host::Journal::GetInstance().RemoveSink(&heavy);
    Host::TaskRuntime::InstallDefault();
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
