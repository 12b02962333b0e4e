// SPDX-License-Identifier: Apache-2.0
// The manager on a virtual device: what reaches which feature, the hook on the shutdown, and the dump.

#include "frame/common/io_sched_event_callback.h"
#include "frame/common/io_sched_event_util.h"
#include "host/services/power_service.h"
#include "tests/support/plugin_on_device_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

class ManagerTest : public PluginOnDeviceTest {
protected:
    std::string Dump(const std::vector<std::string>& args) {
        std::string result = "kept ";
        manager_.Dump(args, result);
        RunFor(0);
        return result;
    }
};

TEST_F(ManagerTest, ValuesOutsideTheRoutingDoNothing) {
    Start();
    const nlohmann::json start = {{"uid", "1000"}, {"bundleName", "com.example.mail"}};
    const std::string line =
        "monitor0/workingset.data <- 1000 0 com.example.mail/com.example.mail "
        "/data/service/el1/public/ressched/workingset/com.example.mail/com.example.mail";
    const struct {
        uint32_t resType;
        int64_t value;
        Effects effects;
    } rows[] = {
        {27, 0, {}},
        {27, 2, {}},
        {150, 1, {}},
        {0, 1, {}},
        {0, 0, {"workingset.dfxinfo <- 0"}},
        {48, 1, {}},
        {48, 0, {R"(request 8/1 {"extType":"1010"})"}},
        {10011, 0, {}},
        {1, 1, {}},
        {4242, 0, {}},
        {27, 1, {line}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Send(row.resType, row.value, start), row.effects) << row.resType << " " << row.value;
    }
    manager_.DispatchResource(nullptr);
}

TEST_F(ManagerTest, NothingIsHandledWhileDisabled) {
    EXPECT_EQ(Send(48, 0, {}), Effects());
    Start();
    // Posted, and discarded with the queue.
    manager_.DispatchResource(std::make_shared<ResData>(ResData{48, 0, {}}));
    manager_.Deinit();
    RunFor(10000);
    EXPECT_EQ(TakeEffects(), Effects());
    EXPECT_EQ(Dump({"-h"}), "kept ");
    Start();
    EXPECT_EQ(Send(48, 0, {}).size(), 1u);
    EXPECT_EQ(Dump({"-s"}), "kept test protect_lru SetCacheFile");
}

TEST_F(ManagerTest, ShutdownSavesNothingWhileExactPrereadIsOff) {
    device_->Apply(nlohmann::json::parse(R"({"config": {"exactPreread": [
        {"properties": {"type": "switch"}, "subItems": [{"name": "switch", "value": "0"}]}]}})"));
    Start();
    EXPECT_EQ(Host::PowerService::GetInstance().Shutdown(), 1u);
    EXPECT_EQ(TakeEffects(), Effects());
    EXPECT_EQ(Dump({"-dfx"}), "kept ");
    EXPECT_EQ(TakeEffects(), (Effects{"workingset.dfxinfo <- 0"}));
}

TEST_F(ManagerTest, BatteryCountsAsChargingInTwoOfItsStates) {
    Start();
    const auto callback = IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    ASSERT_NE(callback, nullptr);
    for (const auto& [status, expected] :
         std::vector<std::pair<int, bool>>{{0, false}, {1, true}, {2, false}, {3, true}, {4, false}}) {
        device_->Apply({{"charging", status}});
        EXPECT_EQ(callback->OnBatteryStateChange(), expected) << status;
    }
}

TEST_F(ManagerTest, FirstRegisteredCallbackStays) {
    Start();
    const auto first = IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    EXPECT_TRUE(IOSchedEventUtil::GetInstance().RegisterIOSchedEventCallback(nullptr));
    EXPECT_EQ(IOSchedEventUtil::GetInstance().GetIOSchedEventCallback(), first);
    first->OnTopSceneDecay(std::make_shared<std::vector<std::string>>());
    EXPECT_EQ(TakeEffects(), Effects());
    first->OnTopSceneDecay(std::make_shared<std::vector<std::string>>(std::vector<std::string>{"com.a/x", "com.b/y"}));
    EXPECT_EQ(TakeEffects(), (Effects{"workingset.clearRecord <- com.a/x", "workingset.clearRecord <- com.b/y"}));
    manager_.Deinit();
    first->OnTopSceneDecay(std::make_shared<std::vector<std::string>>(std::vector<std::string>{"com.a/x"}));
    EXPECT_EQ(TakeEffects(), Effects());
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
