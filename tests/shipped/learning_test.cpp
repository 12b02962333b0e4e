// SPDX-License-Identifier: Apache-2.0
// What is learned stays: the database of the shipped plugin from one run of the shipped host to the next.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/replay/published_sets.h"
#include "tests/shipped/host_runner.h"
#include "tests/top_scene/raw_database.h"

namespace ZYRA::Host {
namespace {

using Counts = std::map<std::string, int>;

constexpr char DEVICE[] = R"({"bundles": {"com.example.mail": {"uid": 20010034}},
    "config": {"topScene": [{"properties": {"type": "trainInterval"},
                             "subItems": [{"name": "init_stage", "value": "1"}, {"name": "normal_stage", "value": "1"}]}]}})";

class LearnedDataTest : public HostRunnerTest {
protected:
    LearnedDataTest() { std::filesystem::create_directory(data_); }

    static std::string Event(int64_t t, uint32_t type, int64_t value, const nlohmann::json& payload) {
        return nlohmann::json{{"t", t}, {"event", {{"type", type}, {"value", value}, {"payload", payload}}}}.dump() +
               "\n";
    }
    static std::string Page(int64_t t, const std::string& url) {
        return Event(
            t, 10, 0,
            {{"bundleName", "com.example.mail"}, {"uid", "20010034"}, {"clientPid", "3121"}, {"pageUrl", url}});
    }
    static std::string ScreenOff(int64_t t) { return Event(t, 0, 0, nlohmann::json::object()); }

    // One run on the data of the runs before. Returns the journal.
    std::string Replay(const std::string& steps) const {
        const std::string scenario = Write("s.jsonl", steps);
        const std::string device = Write("s.device.json", DEVICE);
        const std::string journal = (folder_ / "journal").string();
        const Outcome outcome = RunHost("replay " + scenario + " --data " + data_.string() + " --journal " + journal);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.output;
        std::stringstream text;
        text << std::ifstream(journal).rdbuf();
        return text.str();
    }

    std::string Database() const { return (data_ / "service/el1/public/ressched/top_scene.db").string(); }

    // What was counted and not yet learned, by the page's name.
    Counts StoredCounts() const {
        Counts counts;
        ResourceSchedule::RawDatabase(Database())
            .ForEachRow(
                "SELECT replace(scene_name, 'com.example.mail/EntryAbility.', ''), launched_count FROM "
                "temp_scene_table",
                [&counts](sqlite3_stmt* row) {
                    counts[ResourceSchedule::RawDatabase::Text(row, 0)] = sqlite3_column_int(row, 1);
                });
        return counts;
    }

    const std::filesystem::path data_ = folder_ / "data";
};

// (a) 52 pages, so that the counts of the first 50 are flushed and two are lost with the run; (b) pages and a
// screen-off on a device that does not charge; (c) pages and a shutdown: each run adds to what the runs before have
// stored. (d) The next run charges and learns; (e) the one after that publishes the learned set at its start.
TEST_F(LearnedDataTest, CountsAndTheSetSurviveARestart) {
    std::string pages;
    Counts expected;
    for (int page = 0; page < 52; ++page) {
        const std::string url = "page" + std::to_string(page);
        pages += Page(1000 + page, url);
        if (page < 50) {
            expected[url] = 1;
        }
    }
    Replay(pages);
    EXPECT_EQ(StoredCounts(), expected);

    Replay(R"({"device": {"charging": 0}})"
           "\n" +
           Page(1000, "page0") + Page(2000, "page0") + Page(3000, "late") + ScreenOff(100000));
    expected["page0"] += 2;
    expected["late"] = 1;
    EXPECT_EQ(StoredCounts(), expected);

    Replay(Page(1000, "late") + "{\"t\":2000,\"shutdown\":true}\n");
    expected["late"] = 2;
    EXPECT_EQ(StoredCounts(), expected);

    Replay(ScreenOff(100000));
    EXPECT_EQ(StoredCounts(), Counts());
    const auto stored = LoadStoredTopScenes(Database());
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->size(), 51u);

    const std::string journal = Replay(Page(1000, "page7"));
    EXPECT_NE(journal.find("trainTimes: 1, lastTrainTime:1750000100"), std::string::npos) << journal;
    EXPECT_NE(journal.find("UpdateTopNScene success, cacheTopNScenes_ size:51"), std::string::npos) << journal;
    EXPECT_NE(journal.find(R"("kind":"topset","size":51)"), std::string::npos) << journal;
}

// Every answer that the plugin gives to a page of a generated week agrees with the sets that the journal tells.
TEST_F(LearnedDataTest, JournalTellsTheSetThatThePluginServes) {
    const std::string scenario = (folder_ / "week.jsonl").string();
    ASSERT_EQ(RunHost("generate --days 7 --apps 30 --seed 7 --output " + scenario).exitStatus, 0);
    const std::string journal = (folder_ / "journal").string();
    const std::string json = (folder_ / "summary.json").string();
    const Outcome outcome =
        RunHost("replay " + scenario + " --log-level DEBUG --journal " + journal + " --json " + json);
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.output;

    std::set<std::string> top;
    uint64_t inSet = 0;
    uint64_t beside = 0;
    std::ifstream lines(journal);
    for (std::string line; std::getline(lines, line);) {
        const bool isSet = line.find(R"("kind":"topset")") != std::string::npos;
        const bool isPage = line.find("[IsTopNScene:]sceneName: ") != std::string::npos;
        if (!isSet && !isPage) {
            continue;
        }
        const auto entry = nlohmann::json::parse(line);
        if (isSet) {
            for (const auto& scene : entry["removed"]) {
                ASSERT_EQ(top.erase(scene.get<std::string>()), 1u) << line;
            }
            for (const auto& scene : entry["added"]) {
                ASSERT_TRUE(top.insert(scene.get<std::string>()).second) << line;
            }
            ASSERT_EQ(top.size(), entry["size"].get<size_t>());
        } else {
            const std::string text = entry["text"];
            const std::string scene = text.substr(25, text.rfind(", isTopNScene: ") - 25);
            ASSERT_EQ(text.back() == '1', top.count(scene) == 1) << line;
            inSet += top.count(scene);
            beside += text.back() == '0' && text.find("isTopNScene: 1") != std::string::npos ? 1 : 0;
        }
    }
    EXPECT_GT(inSet, 0u);
    const auto learning = nlohmann::json::parse(std::ifstream(json))["learning"];
    EXPECT_EQ(learning["pagesServed"], inSet + beside);
    EXPECT_EQ(learning["pagesServedBeside"], beside);
    EXPECT_EQ(learning["setSize"], top.size());
    EXPECT_GT(learning["trainings"], 1);
}

}  // namespace
}  // namespace ZYRA::Host
