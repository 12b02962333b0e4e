// SPDX-License-Identifier: Apache-2.0
// What is told of the learning, from log lines written by hand, and the sets that it is compared with.

#include "host/report/learning_summary.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/report/scene_cache.h"
#include "host/report/summary_json.h"
#include "host/report/summary_text.h"

namespace ZYRA::Host {
namespace {

constexpr int64_t MINUTE_US = 60000000;
constexpr int64_t DAY_US = 24 * 60 * MINUTE_US;

// A run of which every line is written by hand.
class LearningTest : public ::testing::Test {
protected:
    void Log(int64_t timeUs, const std::string& text) {
        learning_.OnEntry({timeUs, LogEntry{LogLevel::DEBUG, "IOSched", "[AnyFunction:]" + text}});
    }
    void Open(int64_t timeUs, const std::string& scene, bool isServed, bool isInSet) {
        Log(timeUs, "sceneName: " + scene + ", isTopNScene: " + (isServed ? "1" : "0") +
                        ", isTrained: " + (isInSet ? "1" : "0"));
    }
    void Train(int64_t timeUs, uint64_t size, std::vector<std::string> added, std::vector<std::string> removed) {
        Log(timeUs, "satisfy train condition.");
        Log(timeUs, "trainTimes: 1, lastTrainTime: 1750000000");
        Log(timeUs, "UpdateTopNScene success, cacheTopNScenes_ size:" + std::to_string(size));
        learning_.OnEntry({timeUs, TopSetEntry{size, std::move(added), std::move(removed)}});
    }

    Findings findings_;
    LearningSummary& learning_ = findings_.learning;
};

// (a) A set of two is configured and an empty one published; (b) what is opened before the first training is not
// counted; (c) after it an opening counts when the scene was not opened for half an hour; (d) a day later the set
// changes.
TEST_F(LearningTest, ColdOpeningsAreCountedFromTheFirstTrainingOn) {
    Log(0, "ApplyDefaultTopNConfig cacheTopNSceneNum_ = 2");
    Log(0, "trainTimes: 4, lastTrainTime:1750000000");
    Log(0, "UpdateTopNScene success, cacheTopNScenes_ size:0");
    learning_.OnEntry({0, TopSetEntry{0, {}, {}}});
    Open(0, "a/1", true, false);
    Open(MINUTE_US, "a/2", true, false);
    EXPECT_FALSE(learning_.Quality());

    Train(MINUTE_US, 2, {"a/1", "a/2"}, {});
    Open(30 * MINUTE_US, "a/1", true, true);
    Open(31 * MINUTE_US, "a/2", true, true);
    Open(60 * MINUTE_US - 1, "a/1", true, true);
    Open(90 * MINUTE_US, "a/3", false, false);
    Open(120 * MINUTE_US, "a/1", true, true);
    Open(150 * MINUTE_US, "a/3", false, false);
    Train(150 * MINUTE_US, 2, {"a/3"}, {"a/2"});
    Open(180 * MINUTE_US, "a/2", true, false);
    learning_.OnEntry({MINUTE_US + DAY_US, PluginStep{false}});

    const auto quality = learning_.Quality();
    ASSERT_TRUE(quality);
    EXPECT_EQ(quality->fromUs, MINUTE_US);
    // a/1, a/2, a/3, a/1, a/3, a/2: the third opening of a/1 was not cold.
    EXPECT_EQ(quality->coldOpenings, 6u);
    EXPECT_EQ(quality->published.held, 3u);
    EXPECT_EQ(quality->served.held, 4u);
    EXPECT_EQ(quality->recent.held, 4u);
    EXPECT_EQ(quality->frequent.held, 3u);
    EXPECT_EQ(quality->bestFixed.held, 4u);
    EXPECT_EQ(quality->seenBefore.held, 5u);
    EXPECT_DOUBLE_EQ(quality->published.changesADay.value_or(-1), 2);
    EXPECT_FALSE(quality->served.changesADay);
    EXPECT_DOUBLE_EQ(quality->ShareOf(quality->published), 0.5);
    EXPECT_EQ(learning_.SetChanges(), 4u);
    EXPECT_EQ(learning_.Trainings(), 2u);
    EXPECT_EQ(learning_.Publications(), 3u);
}

TEST_F(LearningTest, EveryKindOfLineIsUnderstoodAndOthersAreNot) {
    Log(0, "persist temp scene to the db finished: 50");
    Log(0, "persist temp scene to the db finished: 3");
    Log(0, "persistent temp scene failed");
    Log(0, "satisfy train condition.");
    Log(0, "temp scene table is empty, no training.");
    Log(0, "ApplyTopNConfig cacheTopNSceneNum_ = 7");
    // A page may bear any name.
    Open(0, "a/x, isTopNScene: 0, isTrained: 0", true, true);
    Open(0, "a/:]y\nz", true, false);
    for (const char* other : {"", "sceneName: x", "UpdateTopNScene", "trainTimes: 1, lastTrainTime:5"}) {
        Log(0, other);
    }
    learning_.OnEntry({0, LogEntry{LogLevel::INFO, "OTHER", "[A:]satisfy train condition."}});
    EXPECT_EQ(learning_.Flushes(), 2u);
    EXPECT_EQ(learning_.FlushedNames(), 53u);
    EXPECT_EQ(learning_.FailedFlushes(), 1u);
    EXPECT_EQ(learning_.SkippedTrainings(), 1u);
    EXPECT_EQ(learning_.Capacity(), 7u);
    EXPECT_EQ(learning_.PageScenes(), 2u);
    EXPECT_EQ(learning_.PagesServed(), 2u);
    EXPECT_EQ(learning_.PagesServedBeside(), 1u);
    EXPECT_EQ(learning_.Trainings() + learning_.Publications(), 0u);
}

TEST_F(LearningTest, TextAndJsonTellTheSame) {
    Train(0, 1, {"a/1"}, {});
    Open(MINUTE_US, "a/1", true, true);
    Open(2 * MINUTE_US, "a/2", true, false);
    learning_.OnEntry({2 * DAY_US, PluginStep{false}});
    const std::string text = SummaryText(findings_, false);
    const std::string expected =
        "Learning\n"
        "  1 training\n"
        "  1 of 500 scenes in the set, published 1 time, 1 scene in or out\n"
        "  0 flushes of 0 names, 0 failed\n"
        "  2 openings of 2 page scenes, 2 served: 1 from the set, 1 beside it\n"
        "\n"
        "Page scenes opened cold\n"
        "  2 openings since the first training, at 0.0 days; cold is not opened for 30 minutes\n"
        "  500 scenes held by                    openings    share  changes a day\n"
        "  published set                                1   50.0 %            0.0\n"
        "  published set and the room beside it         2  100.0 %              -\n"
        "  least recently used (LRU)                    0    0.0 %            1.0\n"
        "  most frequently used, no decay               0    0.0 %            1.0\n"
        "  best fixed set in hindsight                  2  100.0 %            0.0\n"
        "  seen before, no limit                        0    0.0 %            1.0\n";
    EXPECT_NE(text.find(expected), std::string::npos) << text;

    const auto json = nlohmann::json::parse(SummaryJson(findings_));
    EXPECT_EQ(json["schema"], 1);
    EXPECT_EQ(json["learning"]["setChanges"], 1);
    EXPECT_EQ(json["learning"]["cold"]["openings"], 2);
    EXPECT_EQ(json["learning"]["cold"]["heldBy"]["published"],
              (nlohmann::json{{"openings", 1}, {"share", 0.5}, {"changesADay", 0.0}}));
    EXPECT_TRUE(json["learning"]["cold"]["heldBy"]["served"]["changesADay"].is_null());
    EXPECT_TRUE(nlohmann::json::parse(SummaryJson(Findings()))["learning"]["cold"].is_null());
}

// What a set should hold after some openings, worked out from all of them.
std::vector<std::string> BestScenes(const std::vector<std::string>& openings, SceneRanking ranking, size_t capacity) {
    std::map<std::string, std::pair<size_t, size_t>> ranks;
    for (size_t i = 0; i < openings.size(); ++i) {
        const size_t count = ranking == SceneRanking::FREQUENCY ? ranks[openings[i]].first + 1 : 0;
        ranks[openings[i]] = {count, i};
    }
    std::vector<std::string> scenes;
    for (const auto& [scene, rank] : ranks) {
        scenes.push_back(scene);
    }
    std::sort(scenes.begin(), scenes.end(), [&](const auto& a, const auto& b) { return ranks[a] > ranks[b]; });
    scenes.resize(std::min(scenes.size(), capacity));
    return scenes;
}

RC_GTEST_PROP(SceneCacheTest, HoldsTheBestOfAllOpenings, ()) {
    const auto ranking = *rc::gen::element(SceneRanking::RECENCY, SceneRanking::FREQUENCY);
    const auto openings =
        *rc::gen::container<std::vector<std::string>>(rc::gen::element<std::string>("a", "b", "c", "d", "e", "f"));
    const size_t first = *rc::gen::inRange<size_t>(0, 8);
    const size_t second = *rc::gen::inRange<size_t>(0, 8);
    SceneCache cache(ranking);
    cache.SetCapacity(first);
    for (const std::string& scene : openings) {
        cache.Open(scene);
    }
    for (const size_t capacity : {first, second}) {
        cache.SetCapacity(capacity);
        const std::vector<std::string> best = BestScenes(openings, ranking, capacity);
        for (const char* scene : {"a", "b", "c", "d", "e", "f"}) {
            RC_ASSERT(cache.Holds(scene) == (std::find(best.begin(), best.end(), scene) != best.end()));
        }
    }
}

// Of more publications than are told one by one, neighbours are told together, and nothing is lost.
TEST_F(LearningTest, PeriodsAreJoinedWhereThereAreTooMany) {
    constexpr uint64_t PUBLICATIONS = 2 * LearningSummary::MOST_PERIODS + 3;
    for (uint64_t day = 0; day < PUBLICATIONS; ++day) {
        const auto timeUs = static_cast<int64_t>(day) * DAY_US;
        Train(timeUs, day, {"a/" + std::to_string(day)}, {"b/1", "b/2"});
        Open(timeUs + MINUTE_US, "a/1", true, day % 2 == 0);
    }
    const auto& periods = learning_.Periods();
    EXPECT_LE(periods.size(), LearningSummary::MOST_PERIODS);
    EXPECT_GE(periods.size(), LearningSummary::MOST_PERIODS / 2);
    LearningPeriod sum;
    sum.publications = 0;
    for (size_t index = 0; index < periods.size(); ++index) {
        const LearningPeriod& period = periods[index];
        EXPECT_EQ(period.fromUs, static_cast<int64_t>(sum.publications) * DAY_US);
        EXPECT_EQ(period.publications, index + 1 < periods.size() ? periods[0].publications : period.publications);
        sum.publications += period.publications;
        EXPECT_EQ(period.setSize, sum.publications - 1);
        sum.added += period.added;
        sum.removed += period.removed;
        sum.coldOpenings += period.coldOpenings;
        sum.published += period.published;
        sum.served += period.served;
        sum.recent += period.recent;
        sum.seenBefore += period.seenBefore;
    }
    EXPECT_EQ(sum.publications, PUBLICATIONS);
    EXPECT_EQ(sum.added, PUBLICATIONS);
    EXPECT_EQ(sum.removed, 2 * PUBLICATIONS);
    EXPECT_EQ(sum.coldOpenings, PUBLICATIONS);
    EXPECT_EQ(sum.published, (PUBLICATIONS + 1) / 2);
    EXPECT_EQ(sum.served, PUBLICATIONS);
    EXPECT_EQ(sum.recent, PUBLICATIONS - 1);
    EXPECT_EQ(sum.seenBefore, PUBLICATIONS - 1);
}

}  // namespace
}  // namespace ZYRA::Host
