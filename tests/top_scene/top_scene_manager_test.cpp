// SPDX-License-Identifier: Apache-2.0
// The learning with its tasks run by the test: what it counts, when it trains, and what a training does.

#include "tests/top_scene/learning_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

using Names = std::vector<std::string>;
using Set = std::set<std::string>;

const std::string REMOVE_CLOSE = "remove discn_db_task";
const std::string POST_CLOSE = "post discn_db_task 300000000";

const char TOP_ROWS[] = "SELECT bundle_name, app_intra_scene_name, is_top_scene, is_deleted FROM top_scene_table";
const char TEMP_ROWS[] = "SELECT scene_name, launched_count FROM temp_scene_table ORDER BY 1";
const char HISTORY[] = "SELECT train_times, last_train_time FROM train_history_table";

class TopSceneManagerTest : public LearningTest {
protected:
    void SetUp() override {
        LearningTest::SetUp();
        SetDevice(2, {"a", "b", "gone"});
    }
    // Of 49 names, 50 would be flushed.
    void LaunchNames(int count, int times = 1) {
        for (int name = 0; name < count; ++name) {
            Launch("a/" + std::to_string(name), times);
        }
    }
    // A table whose ranking with two places is a/1, a/3, and then b/1; a/2 counts for much and was never launched.
    static void FillTopTable() {
        Sql("INSERT INTO top_scene_table VALUES (1, 'a', '1', 3, 5, 0, 0), (2, 'a', '2', 0, 4, 1, 0), "
            "(3, 'a', '3', 2, 3, 0, 0), (4, 'b', '1', 9, 2, 1, 0)");
    }
    static void AddTemp(const std::string& scene) { Sql("INSERT INTO temp_scene_table VALUES ('" + scene + "', 1)"); }
};

TEST_F(TopSceneManagerTest, HandlersBeforeInitDoNothing) {
    LaunchNames(100);
    manager_.HandleShutdownEvent();
    manager_.HandleScreenOffEvent();
    manager_.HandleBundleStateChangeEvent("a", false);
    EXPECT_EQ(callback_->effects, Lines());
    EXPECT_EQ(logs_.Take(), Lines());
    Start();
    manager_.HandleShutdownEvent();
    RunTasks();
    EXPECT_EQ(Rows(TEMP_ROWS), Lines()) << "what was launched before has not been counted";
}

TEST_F(TopSceneManagerTest, NothingIsPostedWhereThePluginIsDisabled) {
    IOSchedEventUtil::GetInstance().UnregisterIOSchedEventCallback();
    manager_.Init(ROM_GB);
    LaunchNames(120);
    manager_.HandleShutdownEvent();
    manager_.HandleScreenOffEvent();
    manager_.HandleBundleStateChangeEvent("a", false);
    EXPECT_EQ(callback_->effects, Lines());
    EXPECT_NE(access(DATABASE, F_OK), 0);
}

TEST_F(TopSceneManagerTest, StartPublishesTheStoredSetAndSendsNoDecay) {
    manager_.Init(ROM_GB);
    EXPECT_EQ(RunTasks(), (Lines{"post load_topn_task 0", REMOVE_CLOSE, "publish 0", POST_CLOSE}));
    FillTopTable();
    Sql("INSERT INTO top_scene_table VALUES (5, 'gone', '1', 9, 99, 1, 1)");
    Sql("UPDATE train_history_table SET train_times = 7");
    logs_.Take();
    Start();
    EXPECT_EQ(callback_->published, (Set{"a/1", "a/3"}));
    EXPECT_FALSE(callback_->decayed.has_value());
    EXPECT_EQ(Rows(TOP_ROWS), (Lines{"a|1|1|0", "a|2|0|0", "a|3|1|0", "b|1|0|0", "gone|1|1|1"}));
    EXPECT_EQ(Rows(HISTORY), Lines{"7|1750000000"});
}

// (a) The history row is gone when the plugin starts again; (b) the number and the time of the trainings stay what they
// were in memory, and the stored set is published all the same.
TEST_F(TopSceneManagerTest, StartWithoutHistoryKeepsWhatItKnew) {
    Start();
    PassSeconds(240);
    Launch("a/1");
    ScreenOff();
    Sql("DELETE FROM train_history_table");
    manager_.Init(ROM_GB);
    RunTasks();
    EXPECT_EQ(logs_.Take('E'), (Lines{"E unexecpted record num.", "E failed to query train status"}));
    EXPECT_EQ(callback_->published, Set{"a/1"});
    PassSeconds(10);
    ScreenOff();
    EXPECT_EQ(logs_.Take('D').back(), "D trainTimes: 1,  timeInterval = 10, trainInterval:  240");
}

TEST_F(TopSceneManagerTest, FiftiethNameFlushesAndCountingStartsAfresh) {
    Start();
    for (int round = 1; round <= 2; ++round) {
        LaunchNames(49, 3);
        EXPECT_EQ(RunTasks(), Lines()) << "the number of launches does not matter";
        LaunchNames(50);
        EXPECT_EQ(RunTasks(), (Lines{"post save_db_task 0", REMOVE_CLOSE, POST_CLOSE}));
        EXPECT_TRUE(logs_.Has("I persist temp scene to the db finished: 50"));
        const std::string fourTimes = std::to_string(4 * round);
        EXPECT_EQ(Rows("SELECT launched_count, count(*) FROM temp_scene_table GROUP BY 1 ORDER BY 1"),
                  (Lines{std::to_string(round) + "|1", fourTimes + "|49"}));
    }
}

TEST_F(TopSceneManagerTest, EmptyMapsAndNamesWriteNothing) {
    Start();
    manager_.HandleBundleStateChangeEvent("", false);
    EXPECT_EQ(RunTasks(), Lines());
    manager_.HandleShutdownEvent();
    EXPECT_EQ(RunTasks(), (Lines{"post save_db_task 0", REMOVE_CLOSE, POST_CLOSE}));
    EXPECT_EQ(logs_.Take(), Lines());
    EXPECT_EQ(ScreenOff(), Lines{"post save_res_task 0"});
    EXPECT_EQ(logs_.Take(), Lines{"D trainTimes: 0,  timeInterval = 0, trainInterval:  240"});
    Launch("a/1", 2);
    EXPECT_EQ(ScreenOff(), (Lines{"post save_res_task 0", REMOVE_CLOSE, POST_CLOSE}));
    EXPECT_EQ(Rows(TEMP_ROWS), Lines{"a/1|2"});
}

TEST_F(TopSceneManagerTest, TrainsOnceTheStagesIntervalHasPassedOnACharger) {
    const std::string post = "post save_res_task 0";
    const Lines isTooEarly = {post};
    const Lines lacksPower = {post, "ask for the battery"};
    const Lines trains = {post, "ask for the battery", REMOVE_CLOSE, "decay 0", "publish 1", POST_CLOSE};
    const struct {
        int trainTimes;
        int seconds;
        bool isCharging;
        const Lines& effects;
    } rows[] = {
        {5, 239, true, isTooEarly},      {5, 240, true, trains},         {9, 240, true, trains},
        {10, 240, true, isTooEarly},     {10, 479, true, isTooEarly},    {10, 480, true, trains},
        {1000, 479, true, isTooEarly},   {5, 240, false, lacksPower},    {5, 999999, false, lacksPower},
        {10, 999999, false, lacksPower}, {5, -999999, true, isTooEarly},
    };
    Start();
    for (const auto& row : rows) {
        const std::string name = std::to_string(row.trainTimes) + " " + std::to_string(row.seconds);
        Sql("DELETE FROM temp_scene_table; UPDATE train_history_table SET train_times = " +
            std::to_string(row.trainTimes) + ", last_train_time = " + std::to_string(START_S - row.seconds));
        AddTemp("a/1");
        const Lines before = Rows(HISTORY);
        Start();
        callback_->isCharging = row.isCharging;
        EXPECT_EQ(ScreenOff(), row.effects) << name;
        const bool hasTrained = row.effects == trains;
        EXPECT_EQ(Rows(TEMP_ROWS), hasTrained ? Lines() : Lines{"a/1|1"}) << name;
        EXPECT_EQ(Rows(HISTORY), hasTrained ? Lines{std::to_string(row.trainTimes + 1) + "|1750000000"} : before);
    }
}

TEST_F(TopSceneManagerTest, DamagedHistoryIsTakenAsItIsRead) {
    const struct {
        const char* values;
        const char* line;
        const char* after;
    } rows[] = {
        {"train_times = 'x', last_train_time = 'y'", "I trainTimes: -1, lastTrainTime:-1", "0|1750000000"},
        {"train_times = 2147483647, last_train_time = 0", "I trainTimes: 2147483647, lastTrainTime:0",
         "2147483647|1750000000"},
        {"train_times = -2147483648, last_train_time = 9223372036854775807",
         "I trainTimes: -2147483648, lastTrainTime:9223372036854775807", "-2147483648|9223372036854775807"},
    };
    Start();
    for (const auto& row : rows) {
        Sql(std::string("UPDATE train_history_table SET ") + row.values);
        manager_.Init(ROM_GB);
        RunTasks();
        EXPECT_TRUE(logs_.Has(row.line)) << row.values;
        Launch("a/1");
        ScreenOff();
        EXPECT_EQ(Rows(HISTORY), Lines{row.after}) << row.values;
    }
}

// (a) With an item that leaves "normal_stage" out, (b) every screen-off of a charging device trains once the initial
// trainings are done, also one in the same second.
TEST_F(TopSceneManagerTest, MissingNormalStageTrainsAlways) {
    SetDevice({{{{"type", "trainInterval"}}, {{"init_train_times", "1", {}}}}}, {"a"});
    Start();
    PassSeconds(240);
    for (int training = 1; training <= 3; ++training) {
        Launch("a/1");
        ScreenOff();
        EXPECT_EQ(Rows(HISTORY), Lines{std::to_string(training) + "|" + std::to_string(START_S + 240)});
    }
}

TEST_F(TopSceneManagerTest, EmptyTempTableTrainsNothing) {
    Start();
    FillTopTable();
    PassSeconds(1000);
    const Lines before = Rows("SELECT * FROM top_scene_table");
    EXPECT_EQ(ScreenOff(), (Lines{"post save_res_task 0", "ask for the battery", REMOVE_CLOSE, POST_CLOSE}));
    EXPECT_TRUE(logs_.Has("I temp scene table is empty, no training."));
    EXPECT_EQ(Rows("SELECT * FROM top_scene_table"), before);
    EXPECT_EQ(Rows(HISTORY), Lines{"0|1750000000"});
    // Nothing counted as a training, so that the next screen-off is in time for one.
    Launch("a/1");
    ScreenOff();
    EXPECT_EQ(Rows(HISTORY), Lines{"1|1750001000"});
}

TEST_F(TopSceneManagerTest, TrainingSaysWhoLeftBeforeItPublishesWhoIsIn) {
    Start();
    FillTopTable();
    // Counts for less than one launch and ranks below the set: it is remembered all the same.
    Sql("INSERT INTO top_scene_table VALUES (5, 'b', '2', 1, 0.5, 0, 0)");
    PassSeconds(240);
    Launch("a/5");
    Launch("without a slash", 50);
    EXPECT_EQ(ScreenOff(), (Lines{"post save_res_task 0", REMOVE_CLOSE, POST_CLOSE, "ask for the battery", REMOVE_CLOSE,
                                  "decay 2", "publish 2", POST_CLOSE}));
    EXPECT_EQ(callback_->decayed, (Names{"a/2", "b/1"}));
    EXPECT_EQ(callback_->published, (Set{"a/1", "a/3"}));
    EXPECT_EQ(Rows(TOP_ROWS), (Lines{"a|1|1|0", "a|2|0|0", "a|3|1|0", "b|1|0|0", "b|2|0|0", "a|5|0|0"}));
    EXPECT_EQ(Rows("SELECT decay_launched_count, launched_count FROM top_scene_table WHERE top_scene_id IN (1, 6)"),
              (Lines{"4.50162|3", "1.0|1"}));
    EXPECT_EQ(Rows(TEMP_ROWS), Lines());
    EXPECT_EQ(Rows(HISTORY), Lines{"1|1750000240"});
    EXPECT_EQ(logs_.Take('I'), (Lines{"I persist temp scene to the db finished: 2", "I satisfy train condition."}));
}

// (a) The bundle of the best scene, which is top, is not installed any more; (b) the training neither takes the scene
// nor says that it left, marks it and gives its place to the next; (c) launches do not unmark it; (d) once the bundle
// is installed again the scene comes back with all its launches.
TEST_F(TopSceneManagerTest, ScenesOfAMissingBundleAreMarkedUntilItIsBack) {
    SetDevice(2, {"a", "b"});
    Start();
    FillTopTable();
    Sql("INSERT INTO top_scene_table VALUES (5, 'gone', '1', 9, 99, 1, 0)");
    PassSeconds(240);
    Launch("gone/1");
    ScreenOff();
    EXPECT_EQ(callback_->published, (Set{"a/1", "a/3"}));
    EXPECT_EQ(callback_->decayed, (Names{"a/2", "b/1"}));
    EXPECT_EQ(Rows(TOP_ROWS), (Lines{"a|1|1|0", "a|2|0|0", "a|3|1|0", "b|1|0|0", "gone|1|1|1"}));
    SetDevice(2, {"a", "b", "gone"});
    PassSeconds(240);
    Launch("gone/1");
    ScreenOff();
    EXPECT_EQ(callback_->published, (Set{"a/1", "a/3"}));
    manager_.HandleBundleStateChangeEvent("gone", true);
    EXPECT_EQ(RunTasks(), (Lines{"post update_db_task 0", REMOVE_CLOSE, POST_CLOSE}));
    PassSeconds(240);
    Launch("b/2");
    ScreenOff();
    EXPECT_EQ(callback_->published, (Set{"a/1", "gone/1"}));
    EXPECT_EQ(callback_->decayed, Names{"a/3"});
    EXPECT_EQ(Rows("SELECT launched_count FROM top_scene_table WHERE bundle_name = 'gone'"), Lines{"11"});
    manager_.HandleBundleStateChangeEvent("gone", false);
    RunTasks();
    EXPECT_EQ(Rows("SELECT is_top_scene, is_deleted FROM top_scene_table WHERE bundle_name = 'gone'"), Lines{"0|1"});
}

TEST_F(TopSceneManagerTest, ScenesStayWhereTheInstalledBundlesAreNotKnown) {
    const struct {
        bool oobe;
        bool hasBundleMgr;
        Lines lines;
        Set published;
    } rows[] = {
        {false, true, {"E failed to get BundleMgrProxy,status is not agree"}, {"gone/1", "gone/2"}},
        {true,
         false,
         {"E failed to get bundle manager proxy.", "E failed to get BundleMgrProxy."},
         {"gone/1", "gone/2"}},
        {true, true, {}, {"a/1"}},
    };
    SetDevice(2, {"a"});
    Start();
    Sql("INSERT INTO top_scene_table VALUES (1, 'gone', '1', 9, 9, 1, 0), (2, 'gone', '2', 8, 8, 1, 0)");
    for (const auto& row : rows) {
        PassSeconds(240);
        device_.oobe = row.oobe;
        device_.services[401] = row.hasBundleMgr;
        SetDevice(2, {"a"});
        Launch("a/1");
        ScreenOff();
        EXPECT_EQ(logs_.Take('E'), row.lines);
        EXPECT_EQ(callback_->published, row.published);
        EXPECT_EQ(callback_->decayed, Names());
    }
}

// (a) A step of a training is refused by a trigger; (b) the manager says so; (c) what the step's transaction had done
// is undone, and the training goes on with the table as it is, publishes, and counts as one in memory, even where that
// could not be stored.
TEST_F(TopSceneManagerTest, TrainingGoesOnAfterAStepThatFailed) {
    const std::string refused = "E failed, errMsg: refused";
    const std::string batch = "E batch update top scene delete status failed.";
    const std::string data = "E failed to update top scene.";
    const std::string training = "E update top scene data failed.";
    const struct {
        const char* trigger;
        Lines lines;
        Set published;
    } rows[] = {
        {"INSERT ON temp_scene_table",
         {refused, "E batch insert temp scene failed.", "E persistent temp scene failed"},
         {"a/1", "a/3"}},
        {"UPDATE OF decay_launched_count ON top_scene_table", {data, training}, {"a/1", "a/3"}},
        {"INSERT ON top_scene_table", {refused, "E batch insert temp scene failed.", data, training}, {"a/1", "a/3"}},
        {"DELETE ON temp_scene_table", {"E failed to update train status.", data, training}, {"a/1", "a/3"}},
        {"UPDATE OF is_deleted ON top_scene_table",
         {refused, batch, "E batch update top scene get deleted status failed."},
         {"a/9", "a/1"}},
        {"UPDATE OF is_top_scene ON top_scene_table",
         {refused, batch, "E batch update top scene after train fail."},
         {"a/9", "a/1"}},
        {"UPDATE ON train_history_table",
         {"E update train status failed.", "E failed to update train status."},
         {"a/9", "a/1"}},
    };
    SetDevice(2, {"a", "b"});
    for (const auto& row : rows) {
        CloseDatabase();
        unlink(DATABASE);
        Start();
        FillTopTable();
        Sql("INSERT INTO top_scene_table VALUES (5, 'gone', '1', 9, 99, 1, 0)");
        AddTemp("b/7");
        Sql(std::string("CREATE TRIGGER refusal BEFORE ") + row.trigger + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
        PassSeconds(240);
        logs_.Take();
        Launch("a/9", 50);
        ScreenOff();
        EXPECT_EQ(logs_.Take('E'), row.lines) << row.trigger;
        EXPECT_EQ(callback_->published, row.published) << row.trigger;
        ScreenOff();
        EXPECT_TRUE(logs_.Has("D trainTimes: 1,  timeInterval = 0, trainInterval:  240")) << row.trigger;
    }
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
