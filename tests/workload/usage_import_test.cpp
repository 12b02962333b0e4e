// SPDX-License-Identifier: Apache-2.0
// What the rows of a log become.

#include "host/workload/usage_import.h"

#include <gtest/gtest.h>

#include <string>

#include "host/replay/scenario.h"
#include "tests/workload/consistent_device.h"

namespace ZYRA::Host {
namespace {

constexpr int64_t MINUTE_MS = 60000;
constexpr int64_t HOUR_MS = 60 * MINUTE_MS;
constexpr int64_t FIRST_MS = 1700000000000;

UsageRow Row(int64_t timeMs, const std::string& app, std::optional<int64_t> durationMs = {},
             const std::string& page = "") {
    return {FIRST_MS + timeMs, durationMs, app, page};
}

struct Imported {
    explicit Imported(std::vector<UsageRow> rows) {
        UsageLog log;
        log.rows = std::move(rows);
        ScenarioText scenario([this](std::string_view lines) { text += lines; });
        UsageImport usage(log, scenario);
        usage.Run();
        device = usage.Device();
    }

    std::string text;
    nlohmann::json device;
};

// The steps in short, with the seconds since the first row for what the log decides. "com.example." is left out.
std::string Story(const Imported& imported) {
    InputError error;
    const auto scenario = ParseScenario("s.jsonl", imported.text, error);
    EXPECT_TRUE(scenario.has_value()) << error.Text();
    if (!scenario) {
        return "";
    }
    EXPECT_EQ(ConsistentDevice(ModelOf(imported.device)).Walk(scenario->steps), "");
    std::string story;
    for (const ScenarioStep& step : scenario->steps) {
        const std::string at = std::to_string(step.timeUs / 1000000 - 60);
        if (const auto* device = std::get_if<DeviceStep>(&step.action)) {
            const auto charging = device->patch.find("charging");
            story += charging == device->patch.end() ? "" : *charging == 1 ? at + " plugs in, " : at + " unplugs, ";
            continue;
        }
        const auto& event = std::get<EventStep>(step.action);
        const std::string page = event.payload.value("pageUrl", "");
        switch (event.resType) {
            case 0:
                story += at + (event.value == 1 ? " on, " : " off, ");
                break;
            case 9:
                story += "touch, ";
                break;
            case 10:
                story += event.value == 0 ? page + ", " : "";
                break;
            case 27:
                story += at + (event.value == 1 ? " cold " : " warm ") +
                         event.payload.value("bundleName", "").substr(12) + ", ";
                break;
            default:
                break;
        }
    }
    return story;
}

TEST(UsageImportTest, RowsBecomeStartsPagesAndScreens) {
    const std::string a = "com.example.a";
    const std::string b = "com.example.b";
    const struct {
        const char* condition;
        std::vector<UsageRow> rows;
        std::string story;  // After the start of the first row.
    } rows[] = {
        {"one row", {Row(0, a)}, "60 off, "},
        {"with a duration", {Row(0, a, 7000)}, "7 off, "},
        {"with a page", {Row(0, a, 7000, "x/y")}, "touch, x/y, 7 off, "},
        {"with the page that a start shows", {Row(0, a, 7000, "pages/Index")}, "7 off, "},
        {"returning, and the same application in front",
         {Row(0, a), Row(20000, b), Row(40000, a, {}, "p"), Row(50000, a, {}, "q"), Row(60000, a)},
         "20 cold b, pages/Index, 40 warm a, touch, p, touch, q, touch, pages/Index, 120 off, "},
        {"the next row within ten minutes",
         {Row(0, a), Row(10 * MINUTE_MS, b, 0)},
         "600 cold b, pages/Index, 600 off, "},
        {"the next row after more than ten minutes",
         {Row(0, a), Row(10 * MINUTE_MS + 1, a, 5000)},
         "60 off, 600 on, 600 warm a, touch, pages/Index, 605 off, "},
        {"the next row within a minute of the end",
         {Row(0, a, 5000), Row(65000, b, 0)},
         "65 cold b, pages/Index, 65 off, "},
        {"the next row more than a minute after the end",
         {Row(0, a, 5000), Row(65001, b, 9000)},
         "5 off, 65 on, 65 cold b, pages/Index, 74 off, "},
        {"a duration beyond the next row",
         {Row(0, a, HOUR_MS), Row(20000, b, 9000)},
         "20 cold b, pages/Index, 29 off, "},
        {"a pause of nearly three hours",
         {Row(0, a, 0), Row(3 * HOUR_MS - 1, b, 9000)},
         "0 off, 10799 on, 10799 cold b, pages/Index, 10808 off, "},
        {"a pause of three hours",
         {Row(0, a, 0), Row(3 * HOUR_MS, b, 9000)},
         "0 plugs in, 0 off, 10800 on, 10800 unplugs, 10800 cold b, pages/Index, 10809 off, "},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Story(Imported(row.rows)), "0 on, 0 cold a, pages/Index, " + row.story) << row.condition;
    }
}

// The eleventh application takes the process of the second: the first has been used again meanwhile.
TEST(UsageImportTest, TheProcessOfTheApplicationLongestUnusedIsKilled) {
    std::vector<UsageRow> rows;
    for (const int app : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 10, 0, 2, 1}) {
        rows.push_back(Row(static_cast<int64_t>(rows.size()) * 5000, "com.example.a" + std::to_string(app)));
    }
    const std::string story = Story(Imported(rows));
    for (const char* start : {"50 warm a0, ", "55 cold a10, ", "60 warm a0, ", "65 warm a2, ", "70 cold a1, "}) {
        EXPECT_NE(story.find(start), std::string::npos) << start << story;
    }
}

// Nothing leaves room for the time that a start takes: the steps come later, and in order.
TEST(UsageImportTest, RowsOfOneMomentFollowEachOther) {
    std::vector<UsageRow> rows;
    for (int row = 0; row < 200; ++row) {
        rows.push_back(Row(0, "com.example.a" + std::to_string(row % 13), 0, "p" + std::to_string(row % 3)));
    }
    EXPECT_TRUE(Story(Imported(rows)).ends_with("off, "));
}

TEST(UsageImportTest, LabelsAreToldInTheScenarioAndScenesInTheModel) {
    const Imported imported({Row(999, "My \"App\"", {}, "a b/c"), Row(5000, "com.example.a"), Row(6000, "\xFF App")});
    EXPECT_EQ(imported.text.substr(0, imported.text.find("{\"t\"")),
              "{\"comment\":\"app.My__App_ stands for \\\"My \\\\\\\"App\\\\\\\"\\\"\"}\n"
              "{\"comment\":\"app.__App stands for \\\"\xEF\xBF\xBD App\\\"\"}\n");
    const DeviceModel model = ModelOf(imported.device);
    EXPECT_EQ(model.startTimeS, FIRST_MS / 1000 - 60);
    EXPECT_EQ(model.state.charging, 2);
    EXPECT_EQ(model.state.bundles.size(), 3u);
    EXPECT_TRUE(model.scenes.contains("app.My__App_/app.My__App_"));
    EXPECT_TRUE(model.scenes.contains("app.My__App_/EntryAbility.pages.Index"));
    EXPECT_TRUE(model.scenes.contains("app.My__App_/EntryAbility.a b.c"));
    EXPECT_EQ(model.scenes.size(), 7u);
}

}  // namespace
}  // namespace ZYRA::Host
