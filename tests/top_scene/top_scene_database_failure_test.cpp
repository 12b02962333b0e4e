// SPDX-License-Identifier: Apache-2.0
// The scene database when something refuses to work.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tests/top_scene/scene_database_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

const std::unordered_map<std::string, int> NEW_COUNT = {{"a/b", 1}};
const std::vector<TempSceneRecord> NEW_SCENE = {{1, "a/b"}};

class TopSceneDatabaseFailureTest : public SceneDatabaseTest {
protected:
    // Every operation that needs the file, by name.
    std::vector<std::pair<std::string, std::function<int()>>> Operations() {
        TopSceneDatabase& database = *database_;
        return {
            {"CreateTempSceneRecordTable", [&] { return database.CreateTempSceneRecordTable(); }},
            {"CreateTopSceneRecordTable", [&] { return database.CreateTopSceneRecordTable(); }},
            {"CreateTrainHistoryRecordTable", [&] { return database.CreateTrainHistoryRecordTable(); }},
            {"Query", [&] { return database.Query(rows_, "temp_scene_table", {}, "", {}); }},
            {"Update", [&] { return database.Update("temp_scene_table", OneColumn(), "", {}); }},
            {"Delete", [&] { return database.Delete("temp_scene_table", "", {}); }},
            {"ExecuteSqlWithBatchArgs", [&] { return database.ExecuteSqlWithBatchArgs("DELETE FROM x", {}); }},
            {"QueryTrainStatus", [&] { return database.QueryTrainStatus(times_, time_); }},
            {"UpdateTrainStatus", [&] { return database.UpdateTrainStatus(1, 2); }},
            {"AddTempScene", [&] { return database.AddTempScene(NEW_COUNT); }},
            {"QueryAllTempScene", [&] { return database.QueryAllTempScene(tempScenes_); }},
            {"DeleteAllTempScene", [&] { return database.DeleteAllTempScene(); }},
            {"UpdateOriginDecayLaunchCnt", [&] { return database.UpdateOriginDecayLaunchCnt(FACTOR); }},
            {"UpsertTopScene", [&] { return database.UpsertTopScene(NEW_SCENE); }},
            {"UpdateTopSceneData", [&] { return database.UpdateTopSceneData(FACTOR, NEW_SCENE); }},
            {"QueryActiveTopScene", [&] { return database.QueryActiveTopScene(topScenes_); }},
            {"UpdateTopSceneDeletedStatus", [&] { return database.UpdateTopSceneDeletedStatus({1}); }},
            {"UpdateTopSceneIsTopStatus", [&] { return database.UpdateTopSceneIsTopStatus({{}}); }},
            {"DeleteTopScene", [&] { return database.DeleteTopScene({1}); }},
            {"UpdateTopSceneAfterTrain", [&] { return database.UpdateTopSceneAfterTrain({{}}, {1}); }},
            {"UpdateTopSceneBundleStatus", [&] { return database.UpdateTopSceneBundleStatus("a", true); }},
        };
    }
    void ExpectEveryOperationFails() {
        for (const auto& [name, operation] : Operations()) {
            logs_.Take();
            EXPECT_EQ(operation(), -1) << name;
        }
        EXPECT_TRUE(rows_.empty());
        EXPECT_TRUE(tempScenes_.empty());
        EXPECT_TRUE(topScenes_.empty());
        EXPECT_EQ(times_, -7);
        EXPECT_EQ(time_, -8);
    }
};

TEST_F(TopSceneDatabaseFailureTest, HistoryOfSeveralRowsIsRefused) {
    Open();
    // Without a key the table can hold the row twice.
    Raw().Run(
        "DROP TABLE train_history_table; CREATE TABLE train_history_table (train_history_id, train_times, "
        "last_train_time); INSERT INTO train_history_table VALUES (1, 4, 5), (1, 4, 5)");
    logs_.Take();
    EXPECT_EQ(database_->QueryTrainStatus(times_, time_), -1);
    EXPECT_EQ(logs_.Take('E'), Lines{"E unexecpted record num."});
    EXPECT_EQ(times_, -7);
    EXPECT_EQ(time_, -8);
    EXPECT_EQ(database_->UpdateTrainStatus(1, 2), 0);
}

// (a) A trigger, made through a second connection, refuses the second step of a transaction; (b) the operation fails
// and says so; (c) the first step is undone; (d) without the trigger both are done.
TEST_F(TopSceneDatabaseFailureTest, FailureInsideATransactionUndoesWhatWasDone) {
    Open();
    Raw().Run(
        "INSERT INTO top_scene_table VALUES (1, 'a', 'b', 10, 10, 1, 0), (2, 'a', 'c', 5, 5, 0, 0);"
        "CREATE TRIGGER refusal BEFORE DELETE ON top_scene_table BEGIN SELECT RAISE(ABORT, 'refused'); END");
    TopSceneRecord first;
    first.topSceneId = 1;
    logs_.Take();
    EXPECT_EQ(database_->UpdateTopSceneAfterTrain({first}, {2}), -1);
    EXPECT_EQ(logs_.Take('E'), (Lines{"E failed, errMsg: refused", "E batch delete top scene failed."}));
    EXPECT_EQ(Raw().Rows(TOP_ROWS), (Lines{"a|b|10|10.0|1|0", "a|c|5|5.0|0|0"}));
    Raw().Run("DROP TRIGGER refusal");
    EXPECT_EQ(database_->UpdateTopSceneAfterTrain({first}, {2}), 0);
    EXPECT_EQ(Raw().Rows(TOP_ROWS), Lines{"a|b|10|10.0|0|0"});
}

TEST_F(TopSceneDatabaseFailureTest, BatchStopsAtTheFirstListThatFails) {
    Open();
    const std::string insert = "INSERT INTO temp_scene_table VALUES (?, ?)";
    const std::string a = "a/a";
    const std::string b = "b/b";
    const struct {
        std::string sql;
        std::vector<std::vector<VariantValue>> batch;
        Lines lines;
        Lines rows;
    } rows[] = {
        {insert,
         {{a, 1}, {b, 1, 1}, {b, 2}},
         {"E bind argsNum > argsCount of sql statement.", "E bind argument failed. 206"},
         {"a/a|1"}},
        {insert,
         {{b, 1}, {a, 1}, {std::string("c/c"), 2}},
         {"E failed, errMsg: UNIQUE constraint failed: temp_scene_table.scene_name"},
         {"a/a|1", "b/b|1"}},
        {insert,
         {{std::string("c/c"), 1}, {std::string("d/d")}},
         {"E failed, errMsg: NOT NULL constraint failed: temp_scene_table.launched_count"},
         {"a/a|1", "b/b|1", "c/c|1"}},
        {"SELECT * FROM temp_scene_table WHERE scene_name=?",
         {{a}},
         {"E failed, errMsg: another row available"},
         {"a/a|1", "b/b|1", "c/c|1"}},
    };
    for (const auto& row : rows) {
        logs_.Take();
        EXPECT_EQ(database_->ExecuteSqlWithBatchArgs(row.sql, row.batch), -1) << row.sql;
        EXPECT_EQ(logs_.Functions().back(), "ExecuteSqlWithBatchArgs");
        EXPECT_EQ(logs_.Take(), row.lines);
        EXPECT_EQ(Raw().Rows(TEMP_ROWS), row.rows);
    }
}

TEST_F(TopSceneDatabaseFailureTest, FolderThatCannotBeMadeLeavesEveryOperationFailing) {
    Open("/data/no/such/parent/");
    EXPECT_EQ(logs_.Take(), Lines{"E create top scene database dir failure, errno:2"});
    ExpectEveryOperationFails();
}

// (a) Something else stands where the database should be, or a folder of that name; (b) opening survives it; (c) every
// operation fails; (d) what was there is unchanged.
TEST_F(TopSceneDatabaseFailureTest, ForeignFileInPlaceOfTheDatabaseIsLeftAlone) {
    const std::string content(5000, 'x');
    ASSERT_EQ(mkdir(FOLDER, 0700), 0);
    std::ofstream(FILE_NAME) << content;
    Open();
    EXPECT_EQ(logs_.Take('E'),
              (Lines{"E failed, errMsg: file is not a database", "E failed to create temp_scene_table.",
                     "E failed, errMsg: file is not a database", "E failed to create top_scene_table.",
                     "E failed, errMsg: file is not a database", "E failed to creat train_history_table."}));
    ExpectEveryOperationFails();
    database_.reset();
    std::string after;
    std::getline(std::ifstream(FILE_NAME), after);
    EXPECT_EQ(after, content);
    ASSERT_EQ(unlink(FILE_NAME), 0);
    ASSERT_EQ(mkdir(FILE_NAME, 0700), 0);
    Open();
    ExpectEveryOperationFails();
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
