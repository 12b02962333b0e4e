// SPDX-License-Identifier: Apache-2.0
// What the learning takes from the configuration, as far as it says so in its log. Every row needs an instance of its
// own, since a configuration changes what the one before has left.

#include "tests/top_scene/learning_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

struct ConfigRow {
    const char* name;
    long romSize;
    std::list<Item> items;
    Lines lines;  // Without the last one, which says that it was read.
};

std::string Default(int n) {
    return "I ApplyDefaultTopNConfig cacheTopNSceneNum_ = " + std::to_string(n);
}
std::string Configured(int n) {
    return "I ApplyTopNConfig cacheTopNSceneNum_ = " + std::to_string(n);
}
std::string Intervals(int times, int initStage, int normalStage) {
    return "I initTrainTimes: " + std::to_string(times) + ", initStageTrainInterval: " + std::to_string(initStage) +
           ", normalStageTrainInterval:" + std::to_string(normalStage) + ",";
}
Item Interval(std::list<SubItem> subItems) {
    return {{{"type", "trainInterval"}}, std::move(subItems)};
}
Item Rom(const std::string& bound, const std::string& topN) {
    return {{{"romsize", bound}}, {{"topN", topN, {}}}};
}

class TopSceneConfigTest : public LearningTest, public ::testing::WithParamInterface<ConfigRow> {};

TEST_P(TopSceneConfigTest, GivesTheValuesOfTheRow) {
    SetDevice(GetParam().items, {});
    manager_.Init(GetParam().romSize);
    Lines expected = GetParam().lines;
    expected.push_back("I LoadTopNSceneConfig success.");
    EXPECT_EQ(logs_.Take(), expected);
}

const Item OTHER = {{{"type", "other"}}, {{"topN", "7", {}}}};

const ConfigRow ROM_ROWS[] = {
    {"NoRom", 0, {OTHER}, {Default(100)}},
    {"Rom16", 16, {OTHER}, {Default(100)}},
    {"Rom17", 17, {OTHER}, {Default(200)}},
    {"Rom32", 32, {OTHER}, {Default(200)}},
    {"Rom33", 33, {OTHER}, {Default(500)}},
    {"Rom64", 64, {OTHER}, {Default(500)}},
    {"Rom65", 65, {OTHER}, {Default(1000)}},
    {"Rom128", 128, {OTHER}, {Default(1000)}},
    {"Rom129", 129, {OTHER}, {Default(2000)}},
    {"Rom256", 256, {OTHER}, {Default(2000)}},
    {"Rom257", 257, {OTHER}, {Default(3000)}},
    {"Rom4096", 4096, {OTHER}, {Default(3000)}},
    {"ItemBelow", 32, {Rom("64", "800")}, {Default(200)}},
    {"ItemLowest", 33, {Rom("64", "800")}, {Configured(800)}},
    {"ItemHighest", 64, {Rom("64", "800")}, {Configured(800)}},
    {"ItemAbove", 65, {Rom("64", "800")}, {Default(1000)}},
    {"OddBoundHalvesDownwards", 32, {Rom("65", "800")}, {Default(200)}},
    {"BoundOfOne", 1, {Rom("1", "8")}, {Configured(8)}},
    {"FirstMatchWins", 64, {Rom("32", "1"), Rom("64", "2"), Rom("64", "3"), Rom("100", "4")}, {Configured(2)}},
    {"ItemThatIsRefusedDoesNotMatch", 64, {Rom("64", "0"), Rom("64", "3")}, {Configured(3)}},
    {"TopNNegative", 64, {Rom("64", "-5")}, {Default(500)}},
    {"TopNEmpty", 64, {Rom("64", "")}, {Default(500)}},
    {"TopNOfEightDigits", 64, {Rom("64", "99999999")}, {Configured(99999999)}},
    {"TopNOfNineDigits", 64, {Rom("64", "000000100")}, {Default(500)}},
    {"TopNBlank", 64, {Rom("64", " 9")}, {Default(500)}},
    {"BoundEmpty", 64, {Rom("", "9")}, {Default(500)}},
    {"BoundNotNumeric", 64, {Rom("64GB", "9")}, {Default(500)}},
    {"BoundOfEightDigits", 99999999, {Rom("99999999", "9")}, {Configured(9)}},
    {"BoundOfNineDigits", 64, {Rom("000000064", "9")}, {Default(500)}},
    {"SubItemsThatAreInvalidOrOthersAreSkipped",
     64,
     {{{{"romsize", "64"}},
       {{"", "1", {}},
        {"topn", "2", {}},
        {"topN", "x", {}},
        {"topN", "123456789", {}},
        {"topN", "5", {}},
        {"topN", "6", {}}}}},
     {Configured(5)}},
    {"FirstValidTopNDecides", 64, {{{{"romsize", "64"}}, {{"topN", "0", {}}, {"topN", "5", {}}}}}, {Default(500)}},
    {"NoTopN", 64, {{{{"romsize", "64"}}, {{"normal_stage", "5", {}}}}}, {Default(500)}},
    {"RomItemMayHaveAType", 64, {{{{"type", "other"}, {"romsize", "64"}}, {{"topN", "5", {}}}}}, {Configured(5)}},
    {"IntervalItemIsNoRomItem",
     64,
     {{{{"type", "trainInterval"}, {"romsize", "64"}}, {{"topN", "5", {}}, {"normal_stage", "1", {}}}}},
     {Intervals(10, 240, 60), Default(500)}},
};

const ConfigRow INTERVAL_ROWS[] = {
    {"All",
     128,
     {Interval({{"init_train_times", "5", {}}, {"init_stage", "10", {}}, {"normal_stage", "20", {}}})},
     {Intervals(5, 600, 1200), Default(1000)}},
    {"None", 128, {Interval({})}, {Intervals(10, 240, -60), Default(1000)}},
    {"OnlyNormal", 128, {Interval({{"normal_stage", "8", {}}})}, {Intervals(10, 240, 480), Default(1000)}},
    {"Clamped",
     128,
     {Interval({{"init_train_times", "500", {}}, {"init_stage", "1000", {}}, {"normal_stage", "9999", {}}})},
     {Intervals(100, 43200, 86400), Default(1000)}},
    {"Zero",
     128,
     {Interval({{"init_train_times", "0", {}}, {"init_stage", "0", {}}, {"normal_stage", "0", {}}})},
     {Intervals(0, 240, 0), Default(1000)}},
    {"InvalidValuesAreMissing",
     128,
     {Interval(
         {{"init_train_times", "-1", {}}, {"init_stage", "000000005", {}}, {"normal_stage", "5m", {}}, {"", "5", {}}})},
     {Intervals(10, 240, -60), Default(1000)}},
    {"LastValueOfANameCounts",
     128,
     {Interval(
         {{"init_stage", "3", {}}, {"normal_stage", "4", {}}, {"init_stage", "5", {}}, {"normal_stage", "x", {}}})},
     {Intervals(10, 300, 240), Default(1000)}},
    // Once it is not above zero, no item sets the normal interval any more.
    {"SecondItem",
     128,
     {Interval({{"init_train_times", "7", {}}}), Rom("128", "9"),
      Interval({{"init_stage", "1", {}}, {"normal_stage", "5", {}}})},
     {Intervals(7, 240, -60), Configured(9), Intervals(7, 60, -60)}},
};

std::string NameOf(const ::testing::TestParamInfo<ConfigRow>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(RomSize, TopSceneConfigTest, ::testing::ValuesIn(ROM_ROWS), NameOf);
INSTANTIATE_TEST_SUITE_P(Interval, TopSceneConfigTest, ::testing::ValuesIn(INTERVAL_ROWS), NameOf);

class MissingTopSceneConfigTest : public LearningTest {};

// (a) There is no configuration; (b) the set keeps its initial size of 500, whatever the storage; (c) a configuration
// that is there when the plugin is enabled again is taken.
TEST_F(MissingTopSceneConfigTest, KeepsTheInitialValues) {
    SetDevice(std::list<Item>(), {"a"});
    manager_.Init(4096);
    EXPECT_EQ(logs_.Take(), Lines{"E no topScene config item."});
    RunTasks();
    Sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 600) "
        "INSERT INTO top_scene_table SELECT i, 'a', i, 1, 1000 - i, 0, 0 FROM n");
    manager_.Init(4096);
    EXPECT_EQ(RunTasks(),
              (Lines{"post load_topn_task 0", "remove discn_db_task", "publish 500", "post discn_db_task 300000000"}));
    SetDevice(3, {"a"});
    Start();
    EXPECT_EQ(callback_->published, (std::set<std::string>{"a/1", "a/2", "a/3"}));
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
