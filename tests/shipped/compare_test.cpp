// SPDX-License-Identifier: Apache-2.0
// What a change of the device changes, through the shipped host.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

using nlohmann::json;

class CompareTest : public HostRunnerTest {
protected:
    static json ReadJson(const std::string& path) { return json::parse(std::ifstream(path)); }
    static Outcome Compare(const std::string& scenario, const std::vector<std::string>& devices,
                           const std::string& more = "") {
        std::string arguments = "compare " + scenario;
        for (const std::string& device : devices) {
            arguments += " --device " + device;
        }
        return RunHost(arguments + more);
    }
    // The difference of a measure of all the run.
    static json DifferenceOf(const json& comparison, const std::string& measure) {
        for (const json& one : comparison["differences"]) {
            if (one["measure"] == measure && one["scene"].is_null()) {
                return one;
            }
        }
        return nullptr;
    }

    const std::string result_ = folder_ / "result.json";
};

TEST_F(CompareTest, TellsWhatARecordAndASwitchChange) {
    const std::string scenario = std::string(SCENARIO_DIR) + "/cold_start_first.jsonl";
    json device = ReadJson(std::string(SCENARIO_DIR) + "/cold_start_first.device.json");
    const std::string base = Write("base.json", device.dump());
    device["scenes"]["com.example.mail/com.example.mail"] = {{"record", "uptodate"}, {"pages", 1000}};
    const std::string recorded = Write("recorded.json", device.dump());
    device["config"]["exactPreread"] =
        json::parse(R"([{"properties": {"type": "switch"}, "subItems": [{"name": "switch", "value": "0"}]}])");
    const std::string off = Write("off.json", device.dump());

    const Outcome outcome = Compare(scenario, {base, recorded, off}, " --json " + result_);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.output;
    const std::string numbers = R"( +prereads +0 +1 +\+1 +0 += *\n)";
    for (const std::string& line :
         {std::string("^cold_start_first.jsonl\n +base.json +recorded.json +off.json\n"), numbers,
          std::string(R"( +bytes preread +0 B +4.1 MB +\+4.1 MB +0 B +=\n)"),
          std::string(R"( +records written +[12] +0 +-[12] +0 +-[12]\n)"),
          std::string(R"(\nScenes that differ most\n +scene +base.json +recorded.json +off.json\n)"
                      R"( +com.example.mail/com.example.mail +bytes preread +0 B +4.1 MB )")}) {
        EXPECT_TRUE(std::regex_search(outcome.output, std::regex(line))) << line << outcome.output;
    }
    EXPECT_EQ(outcome.output.find(" \n"), std::string::npos);

    const json told = ReadJson(result_);
    EXPECT_EQ(told["schema"], 1);
    EXPECT_EQ(DifferenceOf(told, "bytes")["differences"], json({0, 4096000, 0}));
    EXPECT_TRUE(DifferenceOf(told, "slides").is_null());
    // Each summary is that of a replay.
    const std::string alone = folder_ / "alone.json";
    EXPECT_EQ(RunHost("replay " + scenario + " --device " + recorded + " --json " + alone).exitStatus, 0);
    json replayed = ReadJson(alone), compared = told["devices"][1]["summary"];
    replayed["counts"].erase("wallUs"), compared["counts"].erase("wallUs");
    EXPECT_EQ(compared, replayed);
}

TEST_F(CompareTest, TellsHowManyScenesAreKept) {
    const std::string scenario = folder_ / "day.jsonl";
    EXPECT_EQ(RunHost("generate --days 2 --apps 10 --seed 1 --output " + scenario).exitStatus, 0);
    json device = ReadJson(folder_ / "day.device.json");
    device["config"]["topScene"] = json::parse(R"([{"properties": {"type": "trainInterval"},
        "subItems": [{"name": "init_train_times", "value": "10"}, {"name": "init_stage", "value": "10"}]}])");
    const std::string many = Write("many.json", device.dump());
    json kept = json::parse(R"({"properties": {}, "subItems": [{"name": "topN", "value": "5"}]})");
    kept["properties"]["romsize"] = std::to_string(device.value("romGB", 128));
    device["config"]["topScene"].push_back(kept);
    const Outcome outcome = Compare(scenario, {many, Write("few.json", device.dump())}, " --json -");
    const json told = json::parse(outcome.output.substr(0, outcome.output.find("\n}\n") + 3));
    EXPECT_EQ(DifferenceOf(told, "setSize")["values"][1], 5) << outcome.output;
    EXPECT_LT(DifferenceOf(told, "publishedShare")["differences"][1], 0);
    EXPECT_TRUE(
        std::regex_search(outcome.output, std::regex(R"(published set +\d+.\d % +\d+.\d % +-\d+.\d points\n)")));
    EXPECT_NE(outcome.output.find(" scenes more\n"), std::string::npos);
}

TEST_F(CompareTest, SameDevicesDoNotDifferAndBadOnesAreRefusedBeforeTheFirstReplay) {
    const std::string scenario = Write("s.jsonl", R"({"t":5,"event":{"type":9,"value":1}})");
    std::filesystem::create_directories(folder_ / "a"), std::filesystem::create_directories(folder_ / "b");
    const std::string one = Write("a/d.json", "{}"), other = Write("b/d.json", "{\"charging\": 1}");
    EXPECT_EQ(Compare("/dev/stdin", {one, other}, " < " + scenario).output,
              "stdin: nothing differs between a/d.json and b/d.json\n");
    const struct {
        std::vector<std::string> devices;
        std::string more;
        std::string message;
    } rows[] = {
        {{one}, "", "--device: two are needed"},
        {std::vector<std::string>(17, one), "", "--device"},
        {{one, Write("bad.json", "{\n \"bundels\": {}}")}, "", "bad.json:2: "},
        {{one, other}, " --plugin " + scenario, "s.jsonl: "},
        {{one, other}, " --json /nowhere/x", "/nowhere/x: No such file"},
        {{one, other}, " --json " + scenario, "s.jsonl: is the scenario, and cannot be written to"},
        {{one, other}, " --json " + other, "d.json: is a device model, and cannot be written to"},
        {{one, other, (folder_ / "missing.json").string()}, "", "missing.json: No such file"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Compare(scenario, row.devices, row.more);
        EXPECT_EQ(outcome.exitStatus, 2) << row.message << outcome.output;
        EXPECT_NE(outcome.output.find(row.message), std::string::npos) << outcome.output;
        EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
    }
    EXPECT_EQ(Compare(scenario, {one, other}, " --json /dev/full").exitStatus, 1);
}

}  // namespace
}  // namespace ZYRA::Host
