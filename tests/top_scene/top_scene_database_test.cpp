// SPDX-License-Identifier: Apache-2.0
// The scene database on a real file: its tables, its texts and what its operations do.

#include "top_scene/top_scene_database.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "tests/top_scene/scene_database_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

using TopSceneDatabaseTest = SceneDatabaseTest;

TEST_F(TopSceneDatabaseTest, TablesHaveTheTextThatFilesAlreadyHave) {
    Open();
    EXPECT_EQ(logs_.Take(), Lines{"I open db file /data/learning/top_scene.db success."});
    EXPECT_EQ(Raw().Rows("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"),
              (Lines{"CREATE TABLE [temp_scene_table] ( [scene_name] TEXT PRIMARY KEY NOT NULL,"
                     "[launched_count] INTEGER NOT NULL DEFAULT 0)",
                     "CREATE TABLE [top_scene_table] ([top_scene_id] INTEGER PRIMARY KEY,[bundle_name] TEXT NOT NULL,"
                     "[app_intra_scene_name] TEXT NOT NULL,[launched_count] INTEGER NOT NULL DEFAULT 0,"
                     "[decay_launched_count] REAL NOT NULL DEFAULT 0,[is_top_scene] INTEGER NOT NULL DEFAULT 0,"
                     "[is_deleted] INTEGER NOT NULL DEFAULT 0,CONSTRAINT [unique_constraint] UNIQUE "
                     "([bundle_name] ASC, [app_intra_scene_name] ASC))",
                     "CREATE TABLE [train_history_table] ([train_history_id] INTEGER  PRIMARY KEY,"
                     "[train_times] INTEGER NOT NULL DEFAULT 0,"
                     "[last_train_time] INTEGER NOT NULL DEFAULT CURRENT_TIMESTAMP)"}));
    struct stat folder = {};
    ASSERT_EQ(stat(FOLDER, &folder), 0);
    EXPECT_EQ(folder.st_mode & 0777, 0700u);
}

TEST_F(TopSceneDatabaseTest, HistoryStartsWithTheFileAndSurvivesReopening) {
    runtime_.RunUntil(5000000);
    Open();
    runtime_.RunUntil(90000000);
    EXPECT_EQ(Open().QueryTrainStatus(times_, time_), 0);
    EXPECT_EQ(times_, 0);
    EXPECT_EQ(time_, START_S + 5);
    EXPECT_EQ(database_->UpdateTrainStatus(3, 5000000000), 0);
    EXPECT_EQ(Open().QueryTrainStatus(times_, time_), 0);
    EXPECT_EQ(Raw().Rows("SELECT * FROM train_history_table"), Lines{"1|3|5000000000"});
    EXPECT_EQ(times_, 3);
    EXPECT_EQ(time_, 5000000000);
}

TEST_F(TopSceneDatabaseTest, NameIsSplitAtItsFirstSlash) {
    const struct {
        const char* name;
        bool isScene;
        const char* bundle;
        const char* scene;
    } rows[] = {
        {"a/b", true, "a", "b"}, {"a/b/c", true, "a", "b/c"}, {"a/", true, "a", ""},     {"/b", true, "", "b"},
        {"/", true, "", ""},     {"//", true, "", "/"},       {"", false, "was", "was"}, {"ab", false, "was", "was"},
    };
    for (const auto& row : rows) {
        std::string bundle = "was";
        std::string scene = "was";
        EXPECT_EQ(TopSceneDatabase::ParseSceneName(row.name, bundle, scene), row.isScene) << row.name;
        EXPECT_EQ(bundle, row.bundle) << row.name;
        EXPECT_EQ(scene, row.scene) << row.name;
    }
}

TEST_F(TopSceneDatabaseTest, BundleStatusMarksEveryRowOfTheBundle) {
    Open();
    Raw().Run(
        "INSERT INTO top_scene_table VALUES (1, 'x', 'a', 1, 1, 1, 0), (2, 'x', 'b', 1, 1, 0, 0), (3, 'y', 'a', 1, 1, "
        "1, 0)");
    logs_.Take();
    EXPECT_EQ(database_->UpdateTopSceneBundleStatus("x", false), 0);
    EXPECT_EQ(logs_.Take(),
              Lines{"D update: UPDATE top_scene_table SET is_deleted=?, is_top_scene=? WHERE bundle_name=?"});
    EXPECT_EQ(Raw().Rows(TOP_ROWS), (Lines{"x|a|1|1.0|0|1", "x|b|1|1.0|0|1", "y|a|1|1.0|1|0"}));
    EXPECT_EQ(database_->QueryActiveTopScene(topScenes_), 0);
    ASSERT_EQ(topScenes_.size(), 1u);
    EXPECT_EQ(topScenes_[0].topSceneId, 3);
    EXPECT_TRUE(topScenes_[0].isTopScene);
    Raw().Run("UPDATE top_scene_table SET is_top_scene = 1 WHERE top_scene_id = 2");
    logs_.Take();
    EXPECT_EQ(database_->UpdateTopSceneBundleStatus("x", true), 0);
    EXPECT_EQ(logs_.Take(), Lines{"D update: UPDATE top_scene_table SET is_deleted=? WHERE bundle_name=?"});
    EXPECT_EQ(Raw().Rows(TOP_ROWS), (Lines{"x|a|1|1.0|0|0", "x|b|1|1.0|1|0", "y|a|1|1.0|1|0"}));
    EXPECT_EQ(database_->UpdateTopSceneBundleStatus("unknown", false), 0);
}

TEST_F(TopSceneDatabaseTest, GenericOperationsBindTheirValuesBeforeTheirConditions) {
    Open();
    Raw().Run("INSERT INTO temp_scene_table VALUES ('a/b', 1), ('a/c', 2), ('a/d', 3)");
    ValuesBucket values;
    values.Put("scene_name", VariantValue(std::string("z/z")));
    values.Put("launched_count", int64_t{9});
    EXPECT_EQ(database_->Update("temp_scene_table", values, "launched_count=? AND scene_name=?",
                                {int32_t{2}, std::string("a/c")}),
              0);
    EXPECT_EQ(database_->Delete("temp_scene_table", "launched_count>=? AND launched_count<?", {int32_t{3}, 4.5}), 0);
    EXPECT_EQ(Raw().Rows(TEMP_ROWS), (Lines{"a/b|1", "z/z|9"}));
    logs_.Take();
    EXPECT_EQ(database_->Query(rows_, "temp_scene_table", {"scene_name", "2"}, "launched_count=?", {int32_t{9}}), 0);
    EXPECT_EQ(logs_.Functions(), Lines{"Query"});
    EXPECT_EQ(logs_.Take(), Lines{"D querySql: SELECT scene_name, 2 FROM temp_scene_table WHERE launched_count=?"});
    ASSERT_EQ(rows_.size(), 1u);
    EXPECT_EQ(rows_[0].GetAllKeyValue().size(), 2u);
    EXPECT_EQ(rows_[0].GetString("scene_name"), "z/z");
    EXPECT_EQ(database_->Update("", values, "", {}), -1);
    EXPECT_EQ(database_->Update("temp_scene_table", ValuesBucket(), "", {}), -1);
    EXPECT_EQ(logs_.Take(), Lines()) << "nothing reached the database";
    EXPECT_EQ(database_->Query(rows_, "temp_scene_table", {}, "", {int32_t{1}}), -1)
        << "more arguments than parameters";
    // The rows before the one that fails stay.
    EXPECT_EQ(database_->Query(rows_, "temp_scene_table", {"abs(launched_count - 9 + ?)"}, "", {INT64_MIN}), -1);
    EXPECT_EQ(rows_.size(), 2u);
    EXPECT_EQ(database_->Update("temp_scene_table", OneColumn(), "", {}), 0);
    EXPECT_EQ(Raw().Rows(TEMP_ROWS), (Lines{"a/b|1", "z/z|1"})) << "of every row";
}

// Whatever types follow one another in a column, and also where two columns have one name: the first counts.
TEST_F(TopSceneDatabaseTest, RowsKeepNothingOfTheRowsBefore) {
    Open();
    const std::string longer(100, 'l');
    const std::string values =
        "(VALUES ('" + longer + "', 1), ('', 2.5), (NULL, 'c'), ('d', x'41'), (5, NULL), ('e', 6))";
    EXPECT_EQ(database_->Query(rows_, values, {"column1 AS a", "column2 AS b", "'no' AS a"}, "", {}), 0);
    Lines rows;
    for (const ValuesBucket& row : rows_) {
        std::string& line = rows.emplace_back();
        for (const auto& [name, value] : row.GetAllKeyValue()) {
            line += name + std::to_string(static_cast<uint32_t>(value.GetType())) + " " + row.GetString(name) + " " +
                    std::to_string(row.GetInt64(name)) + " ";
        }
    }
    EXPECT_EQ(rows, (Lines{"a5 " + longer + " -1 b3  1 ", "a5  -1 b4  -1 ", "a0  -1 b5 c -1 ", "a5 d -1 b0  -1 ",
                           "a3  5 b0  -1 ", "a5 e -1 b3  6 "}));
}

TEST_F(TopSceneDatabaseTest, HostileNamesAreOnlyNames) {
    Open();
    std::vector<std::string> names = {"a/it's",
                                      "a/\"quoted\"",
                                      "a/[x]]`",
                                      "a/'); DROP TABLE top_scene_table; --",
                                      "a/?1 :name @name $name",
                                      "a/%s%n{public}",
                                      "a/line\nfeed\r\t",
                                      "a/\xff\xc0\x80\xed\xa0\x80",
                                      "a/..///../../etc",
                                      " / "};
    names.push_back("a/" + std::string(4096, 'n'));
    names.push_back(std::string(4096, 'b') + "/");
    std::unordered_map<std::string, int> scenes;
    for (const std::string& name : names) {
        scenes[name] = static_cast<int>(scenes.size()) + 1;
    }
    EXPECT_EQ(database_->AddTempScene(scenes), 0);
    EXPECT_EQ(database_->QueryAllTempScene(tempScenes_), 0);
    EXPECT_EQ(database_->UpdateTopSceneData(FACTOR, tempScenes_), 0);
    EXPECT_EQ(database_->QueryActiveTopScene(topScenes_), 0);
    std::unordered_map<std::string, int> stored;
    for (const TopSceneRecord& scene : topScenes_) {
        stored[scene.bundleName + "/" + scene.appIntraSceneName] = scene.launchedCount;
        EXPECT_EQ(scene.decayLaunchedCount, scene.launchedCount);
    }
    EXPECT_EQ(stored, scenes);
    EXPECT_EQ(database_->UpdateTopSceneBundleStatus("a' OR '1'='1", false), 0);
    EXPECT_EQ(Raw().Rows("SELECT count(*) FROM top_scene_table WHERE is_deleted"), Lines{"0"});
}

// Such a name is stored whole, and read as far as a C string goes.
TEST_F(TopSceneDatabaseTest, NameWithAZeroByteIsReadUpToIt) {
    Open();
    EXPECT_EQ(database_->AddTempScene({{std::string("a/b\0c", 5), 2}}), 0);
    EXPECT_EQ(Raw().Rows("SELECT hex(scene_name) FROM temp_scene_table"), Lines{"612F620063"});
    EXPECT_EQ(database_->QueryAllTempScene(tempScenes_), 0);
    ASSERT_EQ(tempScenes_.size(), 1u);
    EXPECT_EQ(tempScenes_[0].sceneName, "a/b");
    EXPECT_EQ(database_->UpdateTopSceneData(FACTOR, tempScenes_), 0);
    EXPECT_EQ(Raw().Rows(TOP_ROWS), Lines{"a|b|2|2.0|0|0"});
}

TEST_F(TopSceneDatabaseTest, RowWithoutItsColumnsGivesTheFallbacks) {
    TempSceneRecord temp;
    TempSceneRecord::TranslateToTempSceneRecord(OneColumn(), temp);
    EXPECT_EQ(temp.sceneName, "");
    EXPECT_EQ(temp.launchedCount, -1) << "of another integer type, which is not converted";
    TopSceneRecord top;
    TopSceneRecord::TranslateToTopSceneRecord(ValuesBucket(), top);
    EXPECT_EQ(top.topSceneId, -1);
    EXPECT_EQ(top.decayLaunchedCount, -1.0);
    EXPECT_TRUE(top.isTopScene);
    EXPECT_TRUE(top.isDeleted);
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
