// SPDX-License-Identifier: Apache-2.0
// Device documents: what a good one means, and where and how a bad one is refused.

#include "host/replay/device_model.h"

#include <gtest/gtest.h>

#include <string>

#include "host/replay/json_node.h"
#include "host/runtime/errno_names.h"
#include "platform/executor_client.h"
#include "platform/file_util.h"
#include "tests/support/virtual_device_test.h"

namespace ZYRA::Host {
namespace {

// "" or what LoadDeviceModel's reader says.
std::string Apply(const std::string& text, DeviceModel& model, DeviceChange& change,
                  DevicePhase phase = DevicePhase::RUNNING) {
    InputError error;
    const auto document = ParseLocatedJson("d.json", text, 1, error);
    if (!document) {
        return error.Text();
    }
    try {
        change = ApplyDevicePatch(JsonNode(*document), phase, model);
        return "";
    } catch (const InputFailure& failure) {
        return failure.error.Text();
    }
}

std::string ErrorOf(const std::string& text) {
    DeviceModel model;
    DeviceChange change;
    return Apply(text, model, change, DevicePhase::DESCRIBING);
}

TEST(DeviceModelTest, BadDocumentsAreRefusedWithPlaceAndReason) {
    const struct {
        const char* text;
        const char* error;
    } rows[] = {
        {"", "d.json:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"},
        {"{\n\"charging\": 1\n\"oobe\": true}",
         "d.json:3: syntax error while parsing object - unexpected string literal; expected '}'"},
        {"{\"charging\": 1\n}\n\n{}",
         "d.json:4: syntax error while parsing value - unexpected '{'; expected end of input"},
        {"{\n\"oobe\": true,\n\"oobe\": true}", "d.json:3: duplicate member \"oobe\""},
        {"{\"romGB\":\n1e999}", "d.json:2: number overflow parsing '1e999'"},
        {"[]", "d.json:1: must be an object"},
        {"{\n\n\"chargin\": 1}", "d.json:3: unknown member \"chargin\""},
        {"{\"charging\":\n\"1\"}", "d.json:1: /charging: must be an integer from -2147483648 to 2147483647"},
        {"{\"charging\": 1.0}", "d.json:1: /charging: must be an integer from -2147483648 to 2147483647"},
        {"{\"charging\": 18446744073709551615}",
         "d.json:1: /charging: must be an integer from -2147483648 to 2147483647"},
        {"{\"oobe\": 1}", "d.json:1: /oobe: must be true or false"},
        {"{\"startTime\": -1}", "d.json:1: /startTime: must be an integer from 0 to 253402300799"},
        {"{\"romGB\": 0}", "d.json:1: /romGB: must be an integer from 1 to 1048576"},
        {"{\n\"romGB\": 100\n}", "d.json:2: /romGB: must be a power of two, not 100"},
        {"{\"services\": {\"0401\": true}}",
         "d.json:1: /services/0401: the name must be a number from 0 to 2147483647"},
        {"{\"processes\": {\n\"3121\": {},\n\"-1\": {}}}",
         "d.json:3: /processes/-1: the name must be a number from 0 to 2147483647"},
        {"{\"processes\": {\"7\": {\n\"bundles\": [\"a\",\n7]}}}", "d.json:3: /processes/7/bundles/1: must be a text"},
        {"{\"bundles\": {\"com.a\": {\n\"uid\": 1,\n\"colour\": 1}}}",
         "d.json:3: /bundles/com.a: unknown member \"colour\""},
        {"{\"config\": {\"ioLimit\": []}}", "d.json:1: /config: unknown member \"ioLimit\""},
        {"{\"config\": {\"topScene\": [{\"subItems\": [{\"name\": \"a\"}]}]}}",
         "d.json:1: /config/topScene/0/subItems/0: needs \"name\" and \"value\""},
        {"{\"scenes\": {\"a/b\": {\"record\": \"new\"}}}",
         "d.json:1: /scenes/a~1b/record: \"new\" is none of absent, uptodate, older"},
        {"{\"scenes\": {\"\": {}}}", "d.json:1: /scenes/: a scene needs a name"},
        {"{\"kernel\": {\"monitors\": {\"2\": {}}}}", "d.json:1: /kernel/monitors: unknown member \"2\""},
        {"{\"kernel\": {\"dfxinfo\": {\"size\": -1}}}",
         "d.json:1: /kernel/dfxinfo/size: must be a number that is not negative, or a text"},
        {"{\"kernel\": {\"faults\": [{\"path\": \"/dev/x\", \"op\": \"write\"}]}}",
         "d.json:1: /kernel/faults/0: needs \"path\", \"op\" and one of \"errno\", \"short\", \"delayMs\""},
        {R"({"kernel": {"faults": [{"path": "/dev/x", "op": "read", "short": true}]}})",
         "d.json:1: /kernel/faults/0: only a write that does not fail can be short"},
        {"{\"kernel\": {\"faults\": [{\"path\": \"dev/x\"}]}}",
         "d.json:1: /kernel/faults/0/path: must be an absolute path, with * for any part of a name"},
        {"{\"kernel\": {\"faults\": [{\"op\": \"writ\"}]}}",
         "d.json:1: /kernel/faults/0/op: \"writ\" is none of open, read, write, any"},
        {"{\"kernel\": {\"faults\": [{\"errno\": \"EBAD\"}]}}",
         "d.json:1: /kernel/faults/0/errno: \"EBAD\" is not the name of an errno"},
        {"{\"kernel\": {\"faults\": [{\"errno\": \"ENOSYS\"}]}}",
         "d.json:1: /kernel/faults/0/errno: ENOSYS cannot be delivered by the virtual device"},
        // Names come from the file, and must neither break the line nor reach the terminal as control characters.
        {R"({"a\n\u001b": 1})", R"(d.json:1: unknown member "a\n\u001b")"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ErrorOf(row.text), row.error) << row.text;
    }
    const std::string deep(1000, '[');
    EXPECT_EQ(ErrorOf(deep), "d.json:1: nested deeper than 500 levels");
}

// A patch is a JSON Merge Patch: objects are merged, everything else is replaced, null takes away.
TEST(DeviceModelTest, PatchesMergeReplaceAndTakeAway) {
    DeviceModel model;
    DeviceChange change;
    ASSERT_EQ(Apply(R"({"charging": 0, "topAbility": "Main", "services": {"401": false},
                        "bundles": {"com.a": {"uid": 7, "systemApp": true}, "com.b": {}},
                        "processes": {"12": {"uid": 7, "bundles": ["com.a"], "foreground": true}},
                        "config": {"topScene": [{"properties": {"type": "x"},
                                                 "subItems": [{"name": "n", "value": "v", "properties": {"p": "q"}}]}]}})",
                    model, change),
              "");
    EXPECT_TRUE(change.state);
    ASSERT_EQ(Apply(R"({"charging": null, "services": {"501": null},
                        "bundles": {"com.a": {"systemApp": null, "removable": false}, "com.b": null},
                        "processes": {"12": {"bundles": ["com.c", "com.d"]}, "13": {}}, "config": {"IoLimit": []}})",
                    model, change),
              "");
    const DeviceState& state = model.state;
    EXPECT_EQ(state.charging, 1);
    EXPECT_EQ(state.topAbility, "Main");
    EXPECT_EQ(state.services, (std::map<int32_t, bool>{{401, false}, {601, true}, {3301, true}}));
    ASSERT_EQ(state.bundles.size(), 1u);
    EXPECT_EQ(state.bundles.at("com.a").uid, 7);
    EXPECT_FALSE(state.bundles.at("com.a").systemApp);
    EXPECT_FALSE(state.bundles.at("com.a").removable);
    EXPECT_EQ(state.processes.at(12).bundles, (std::vector<std::string>{"com.c", "com.d"}));
    EXPECT_TRUE(state.processes.at(12).foreground);
    EXPECT_EQ(state.processes.at(13).uid, -1);
    const auto& item = state.config.at("topScene").itemList.front();
    EXPECT_EQ(item.itemProperties.at("type"), "x");
    EXPECT_EQ(item.subItemList.front().properties.at("p"), "q");
    EXPECT_TRUE(state.config.at("IoLimit").itemList.empty());
    EXPECT_EQ(state.config.at("exactPreread").itemList.size(), 1u);

    ASSERT_EQ(Apply(R"({"services": null, "parameters": {"zyra.boot.vendor.ddrsize": null}, "bundles": null,
                        "config": {"IoLimit": null}})",
                    model, change),
              "");
    EXPECT_EQ(state.services.size(), 4u);
    EXPECT_TRUE(state.parameters.empty());
    EXPECT_TRUE(state.bundles.empty());
    EXPECT_FALSE(state.config.at("IoLimit").itemList.empty());
}

// Reading a patch onto the model gives what reading the merged documents gives.
TEST(DeviceModelTest, PatchingAgreesWithMergingTheDocuments) {
    const char* const documents[] = {
        R"({"processes": {"7": {"uid": 7, "bundles": ["com.a"]}}, "parameters": {"a": "b"}, "charging": 3})",
        R"({"processes": {"7": {"bundles": ["com.b"], "frozen": true}, "8": {"uid": 8}}, "oobe": false})",
        R"({"processes": {"7": {"bundles": null, "uid": null}}, "charging": null, "oobe": null})",
        R"({"processes": {"7": null}, "parameters": {"a": null, "c": ""}})",
        R"({"processes": null, "parameters": {"a": "x"}})",
    };
    const auto textOf = [](const DeviceState& state) {
        nlohmann::json text = {state.charging, state.oobe, state.parameters};
        for (const auto& [pid, process] : state.processes) {
            text.push_back({pid, process.uid, process.bundles, process.foreground, process.frozen});
        }
        return text.dump();
    };
    for (const char* first : documents) {
        for (const char* second : documents) {
            DeviceChange change;
            DeviceModel patched;
            DeviceModel merged;
            nlohmann::json document = nlohmann::json::parse(first);
            document.merge_patch(nlohmann::json::parse(second));
            ASSERT_EQ(Apply(first, patched, change), "");
            ASSERT_EQ(Apply(second, patched, change), "");
            ASSERT_EQ(Apply(document.dump(), merged, change), "");
            // A null that met nothing to take away is gone from the merged document: both leave the default.
            EXPECT_EQ(textOf(patched.state), textOf(merged.state)) << first << '\n' << second;
        }
    }
}

// The kernel's state moves on by itself: a patch must not set back what it does not mention.
TEST(DeviceModelTest, PatchesTellWhichPartsOfTheKernelTheyMention) {
    DeviceModel model;
    DeviceChange change;
    ASSERT_EQ(Apply(R"({"scenes": {"a/a": {"pages": 7}, "b/b": {"record": "older"}},
                        "kernel": {"monitors": {"1": {"state": "PAUSED"}}, "dfxinfo": {"succ": 4, "size": "0x10 "}}})",
                    model, change),
              "");
    EXPECT_FALSE(change.state);
    EXPECT_EQ(change.scenePages, std::set<std::string>{"a/a"});
    EXPECT_EQ(change.sceneRecords, std::set<std::string>{"b/b"});
    EXPECT_EQ(change.monitorStates, std::set<int>{1});
    EXPECT_TRUE(change.dfxInfo);
    EXPECT_FALSE(change.dfxError || change.faults);
    EXPECT_EQ(model.kernel.monitorStates.at(1), "PAUSED");
    EXPECT_EQ(model.kernel.dfxInfo.size, "0x10 ");

    ASSERT_EQ(Apply(R"({"scenes": null, "kernel": {"monitors": {"1": {"state": null}}, "dfxinfo": {"size": 9}, "faults":
                        [{"path": "/dev/workingset/*", "op": "read", "errno": "EIO", "skip": 2, "times": 3}]}})",
                    model, change),
              "");
    EXPECT_EQ(change.scenePages, (std::set<std::string>{"a/a", "b/b"}));
    EXPECT_EQ(change.sceneRecords, change.scenePages);
    EXPECT_TRUE(model.scenes.empty());
    EXPECT_EQ(model.kernel.monitorStates.at(1), "OUTOFWORK");
    EXPECT_EQ(model.kernel.dfxInfo.succ, 4);
    EXPECT_EQ(model.kernel.dfxInfo.size, "9");
    ASSERT_TRUE(change.faults);
    const FaultRule& rule = model.kernel.faults.front();
    EXPECT_EQ(rule.operation, FileOperation::READ);
    EXPECT_EQ(rule.error, EIO);
    EXPECT_EQ(rule.skip, 2u);
    EXPECT_EQ(rule.times, 3u);
}

class PatchedDeviceTest : public VirtualDeviceTest {
protected:
    void Start(const std::string& text) {
        DeviceModel model;
        DeviceChange change;
        ASSERT_EQ(Apply(text, model, change), "");
        std::string error;
        device_.reset();
        device_ = VirtualDevice::Start(model, error);
        ASSERT_NE(device_, nullptr) << error;
    }
    void Patch(const char* text) { device_->Apply(nlohmann::json::parse(text)); }

    static std::string Read(const std::string& file) { return ReadFile("/dev/workingset/" + file); }
    static std::string Write(const std::string& file, const std::string& content) {
        return SaveStringToFile("/dev/workingset/" + file, content, false) ? "" : ErrnoName(errno);
    }
};

constexpr char SCENE_LINE[] = "7 0 a/a /data/service/el1/public/ressched/workingset/a/a";

// (a) The device starts as its model says; (b) it moves on: a monitor is set to work and prereads are counted; (c) a
// patch changes what it mentions, at once, and nothing else; (d) it leaves its place.
TEST_F(PatchedDeviceTest, PatchesChangeTheRunningDeviceInWhatTheyMention) {
    ASSERT_NO_FATAL_FAILURE(Start(R"({"charging": 2, "scenes": {"a/a": {"pages": 3, "record": "uptodate"}},
                                      "kernel": {"monitors": {"1": {"state": "STOP"}}, "dfxinfo": {"succ": 5}}})"));
    EXPECT_EQ(DeviceServices::GetInstance().Snapshot()->charging, 2);
    EXPECT_EQ(Read("monitor1/workingset.state"), "STOP");
    ASSERT_EQ(Write("monitor0/workingset.data", SCENE_LINE), "");
    EXPECT_EQ(Read("monitor0/workingset.data").substr(0, 21), "RecordState:uptodate\n");

    ASSERT_EQ(Write("monitor0/workingset.state", "PAUSED"), "");
    ResourceSchedule::ExecutorClient::GetInstance().SendRequestAsync(8, 0, {{"index", "0"}});
    RunFor(0);
    EXPECT_EQ(Read("workingset.dfxinfo"), "Succ: 6\nFail: 0\nSize: 12288\n");

    Patch(R"({"topAbility": "Main", "scenes": {"a/a": {"record": "older"}},
              "kernel": {"monitors": {"1": {"state": "ODD"}}, "dfxerror": "2"}})");
    EXPECT_EQ(DeviceServices::GetInstance().Snapshot()->topAbility, "Main");
    EXPECT_EQ(Read("monitor0/workingset.data").substr(0, 18), "RecordState:older\n");
    EXPECT_EQ(Read("monitor0/workingset.state"), "PAUSED");
    EXPECT_EQ(Read("monitor1/workingset.state"), "ODD");
    EXPECT_EQ(Read("workingset.dfxerror"), "2");
    EXPECT_EQ(Read("workingset.dfxinfo"), "Succ: 6\nFail: 0\nSize: 12288\n");
    device_.reset();
    EXPECT_EQ(Read("monitor0/workingset.state"), "errno " + std::to_string(ENOENT));
}

TEST_F(PatchedDeviceTest, FaultsCountAfreshWithEachPatchThatNamesThem) {
    for (int round = 0; round < 2; ++round) {
        Patch(R"({"kernel": {"faults": [{"path": "/dev/workingset/monitor*/workingset.state", "op": "write",
                                         "errno": "EIO", "skip": 1}]}})");
        EXPECT_EQ(Write("monitor0/workingset.state", "PAUSED"), "");
        Patch(R"({"charging": 0})");
        EXPECT_EQ(Write("monitor1/workingset.state", "PAUSED"), "EIO");
        EXPECT_EQ(Write("monitor1/workingset.state", "PAUSED"), "");
    }
    Patch(R"({"kernel": null})");
    EXPECT_EQ(Read("monitor1/workingset.state"), "OUTOFWORK");
}

}  // namespace
}  // namespace ZYRA::Host
