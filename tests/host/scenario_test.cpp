// SPDX-License-Identifier: Apache-2.0
// Scenario lines: how they are read, and where and how a bad one is refused.

#include "host/replay/scenario.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "host/replay/scenario_file.h"

namespace ZYRA::Host {
namespace {

std::string ErrorOf(const std::string& text) {
    InputError error;
    return ParseScenario("s.jsonl", text, error) ? "" : error.Text();
}

TEST(ScenarioTest, BadLinesAreRefusedWithPlaceAndReason) {
    const struct {
        const char* text;
        const char* error;
    } rows[] = {
        {"{\"comment\": \"x\"}\n\n{\"dump\": []",
         "s.jsonl:3: syntax error while parsing object - unexpected end of "
         "input; expected '}'"},
        {"{\"dump\": []} {\"dump\": []}",
         "s.jsonl:1: syntax error while parsing value - unexpected '{'; expected end of input"},
        {"[]", "s.jsonl:1: must be an object"},
        {"{}", "s.jsonl:1: needs exactly one of device, event, dump, shutdown, plugin, comment"},
        {"{\"t\": 1}", "s.jsonl:1: needs exactly one of device, event, dump, shutdown, plugin, comment"},
        {"{\"dump\": [], \"comment\": \"x\"}",
         "s.jsonl:1: needs exactly one of device, event, dump, shutdown, plugin, comment"},
        {"\n{\"evnt\": {}}", "s.jsonl:2: unknown member \"evnt\""},
        {"{\"t\": 30, \"dump\": []}\n{\"dump\": []}\n{\"t\": 20, \"dump\": []}",
         "s.jsonl:3: /t: must not decrease: 20 after 30"},
        {"{\"t\": 30, \"comment\": \"x\"}\n{\"t\": 20, \"dump\": []}", "s.jsonl:2: /t: must not decrease: 20 after 30"},
        {"{\"t\": -1, \"dump\": []}", "s.jsonl:1: /t: must be an integer from 0 to 10000000000000"},
        {"{\"t\": \"1\", \"dump\": []}", "s.jsonl:1: /t: must be an integer from 0 to 10000000000000"},
        {"{\"event\": {}}", "s.jsonl:1: /event: needs \"type\""},
        {"{\"event\": {\"type\": 4294967296}}", "s.jsonl:1: /event/type: must be an integer from 0 to 4294967295"},
        {"{\"event\": {\"type\": 1, \"value\": 9223372036854775808}}",
         "s.jsonl:1: /event/value: must be an integer from -9223372036854775808 to 9223372036854775807"},
        {"{\"event\": {\"type\": 1, \"vlaue\": 1}}", "s.jsonl:1: /event: unknown member \"vlaue\""},
        {"{\"dump\": \"-h\"}", "s.jsonl:1: /dump: must be an array"},
        {"{\"dump\": [\"-h\", 1]}", "s.jsonl:1: /dump/1: must be a text"},
        {"{\"shutdown\": false}", "s.jsonl:1: /shutdown: must be true"},
        {"{\"plugin\": \"on\"}", "s.jsonl:1: /plugin: \"on\" is none of enable, disable"},
        {"{\"comment\": 1}", "s.jsonl:1: /comment: must be a text"},
        {"{\"dump\": []}\n{\"device\": {\"romGB\": 64}}",
         "s.jsonl:2: /device/romGB: cannot change once the plugin has been started"},
        {"{\"dump\": []}\n{\"device\": {\"startTime\": null}}",
         "s.jsonl:2: /device/startTime: cannot change once the plugin has been started"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ErrorOf(row.text), row.error) << row.text;
    }
}

TEST(ScenarioTest, LinesBecomeStepsWithTheTimeOfTheLineBefore) {
    InputError error;
    const auto scenario = ParseScenario("s.jsonl",
                                        "{\"device\": {\"romGB\": 64}}\r\n"
                                        "{\"t\": 5, \"comment\": \"still describing\"}\n"
                                        "{\"device\": {\"charging\": 0}}\n"
                                        " \t\n"
                                        "{\"event\": {\"type\": 27}}\n"
                                        "{\"t\": 7, \"event\": {\"type\": 4, \"value\": -1, \"payload\": [null]}}\n"
                                        "{\"device\": {\"charging\": 3}}\n"
                                        "{\"t\": 9, \"dump\": [\"-h\"]}\n"
                                        "{\"shutdown\": true}\n"
                                        "{\"plugin\": \"disable\"}",
                                        error);
    ASSERT_TRUE(scenario.has_value()) << error.Text();
    ASSERT_EQ(scenario->startDevice.size(), 2u);
    EXPECT_EQ(scenario->startDevice.back().patch.dump(), R"({"charging":0})");
    ASSERT_EQ(scenario->steps.size(), 6u);
    const int64_t times[] = {5000, 7000, 7000, 9000, 9000, 9000};
    for (size_t i = 0; i < std::size(times); ++i) {
        EXPECT_EQ(scenario->steps[i].timeUs, times[i]);
    }
    const auto& first = std::get<EventStep>(scenario->steps[0].action);
    EXPECT_EQ(first.value, 0);
    EXPECT_EQ(first.payload.dump(), "{}");
    const auto& second = std::get<EventStep>(scenario->steps[1].action);
    EXPECT_EQ(second.value, -1);
    EXPECT_EQ(second.payload.dump(), "[null]");
    EXPECT_TRUE(std::holds_alternative<DeviceStep>(scenario->steps[2].action));
    EXPECT_EQ(std::get<DumpStep>(scenario->steps[3].action).args, std::vector<std::string>{"-h"});
    EXPECT_FALSE(std::get<PluginStep>(scenario->steps[5].action).enable);
}

// (a) A file that is read in pieces, with a line longer than a piece and no end of the last line, gives what the text
// as a whole gives, and so does a pipe. (b) One that is another when it is replayed is refused, be it longer, shorter
// or no scenario any more.
TEST(ScenarioTest, AFileIsReadAgainWhileItIsReplayed) {
    std::string text = "{\"device\": {\"romGB\": 64}}\n";
    for (int i = 0; i < 3000; ++i) {
        const std::string page(i == 1000 ? 200000 : 50, 'p');
        text += "{\"t\": " + std::to_string(i) + ", \"event\": {\"type\": 10, \"payload\": \"" + page + "\"}}\n\n";
    }
    text += "{\"dump\": []}";
    InputError error;
    const auto whole = ParseScenario("s.jsonl", text, error);
    ASSERT_TRUE(whole.has_value());
    const std::string path = "/data/s.jsonl";
    const auto write = [&](const std::string& content) { std::ofstream(path) << content; };
    write(text);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::thread writer([&] {
        std::ofstream("/proc/self/fd/" + std::to_string(ends[1])) << text;
        close(ends[1]);
    });
    for (const std::string& source : {path, "/proc/self/fd/" + std::to_string(ends[0])}) {
        const auto file = ScenarioFile::Open(source, error);
        ASSERT_NE(file, nullptr) << error.Text();
        EXPECT_EQ(file->StartDevice().size(), 1u);
        for (const ScenarioStep& expected : whole->steps) {
            const auto step = file->Next(error);
            ASSERT_TRUE(step.has_value()) << error.Text();
            ASSERT_EQ(step->timeUs, expected.timeUs);
            if (const auto* event = std::get_if<EventStep>(&expected.action); event != nullptr) {
                ASSERT_EQ(std::get<EventStep>(step->action).payload, event->payload);
            }
        }
        EXPECT_FALSE(file->Next(error).has_value());
        EXPECT_EQ(error.what, "");
    }
    writer.join();
    close(ends[0]);

    std::string otherDevice = text;
    otherDevice.replace(otherDevice.find("64"), 2, "32");
    for (const std::string& content : {text + "\n{\"dump\": []}\n", text.substr(0, text.rfind('{')), otherDevice}) {
        write(text);
        // Within one tick of the clock a second change leaves no trace.
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
        const auto file = ScenarioFile::Open(path, error);
        write(content);
        error = {};
        while (file->Next(error)) {
        }
        EXPECT_EQ(error.Text(), path + ": has changed while it was replayed");
    }
}

}  // namespace
}  // namespace ZYRA::Host
