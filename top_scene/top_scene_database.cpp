// SPDX-License-Identifier: Apache-2.0
// The tables of the scene database: what is stored in them and asked of them.

#include "top_scene/top_scene_database.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "frame/common/common_util.h"
#include "frame/common/io_sched_log.h"
#include "top_scene/top_scene_schema.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr mode_t FOLDER_MODE = 0700;

// The history table's only row.
constexpr int32_t HISTORY_ID = 1;

std::string Bracketed(const char* identifier) {
    return std::string("[") + identifier + "]";
}

std::string WhereEquals(const char* column) {
    return std::string(column) + "=?";
}

using Args = std::vector<VariantValue>;

template <typename... Values>
void Fill(Args& args, const Values&... values) {
    args.clear();
    (args.emplace_back(values), ...);
}

// Gives one list of arguments for each row, which `fill` puts together.
// REQUIRES: the rows outlive what is returned.
template <typename Rows, typename FillArgs>
auto ArgsOfEach(const Rows& rows, FillArgs fill) {
    return [row = rows.begin(), end = rows.end(), fill](Args& args) mutable {
        if (row == end) {
            return false;
        }
        fill(*row++, args);
        return true;
    };
}

}  // namespace

TopSceneDatabase::TopSceneDatabase(const std::string& name, const std::string& dir) : SqliteUtil(name, dir) {
    if (access(dir.c_str(), F_OK) != 0 && mkdir(dir.c_str(), FOLDER_MODE) != 0) {
        IOSCHED_LOGE("create top scene database dir failure, errno:%{public}d", errno);
        return;
    }
    SqliteUtil::Open();
    CreateTempSceneRecordTable();
    CreateTopSceneRecordTable();
    CreateTrainHistoryRecordTable();
}

TopSceneDatabase::~TopSceneDatabase() {
    SqliteUtil::Close();
}

bool TopSceneDatabase::ParseSceneName(const std::string& sceneName, std::string& bundleName,
                                      std::string& appIntraSceneName) {
    const size_t slash = sceneName.find('/');
    if (slash == std::string::npos) {
        return false;
    }
    bundleName.assign(sceneName, 0, slash);
    appIntraSceneName.assign(sceneName, slash + 1);
    return true;
}

int TopSceneDatabase::CreateTempSceneRecordTable() const {
    const std::string sql = "CREATE TABLE IF NOT EXISTS " + Bracketed(TEMP_SCENE_TABLE) + " ( " +
                            Bracketed(SCENE_NAME) + " TEXT PRIMARY KEY NOT NULL," + Bracketed(LAUNCHED_COUNT) +
                            " INTEGER NOT NULL DEFAULT 0)";
    if (ExecuteSql(sql) != SQLITE_UTIL_OK) {
        IOSCHED_LOGE("failed to create temp_scene_table.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::CreateTopSceneRecordTable() const {
    const std::string sql = "CREATE TABLE IF NOT EXISTS " + Bracketed(TOP_SCENE_TABLE) + " (" +
                            Bracketed(TOP_SCENE_ID) + " INTEGER PRIMARY KEY," + Bracketed(BUNDLE_NAME) +
                            " TEXT NOT NULL," + Bracketed(APP_INTRA_SCENE_NAME) + " TEXT NOT NULL," +
                            Bracketed(LAUNCHED_COUNT) + " INTEGER NOT NULL DEFAULT 0," +
                            Bracketed(DECAY_LAUNCHED_COUNT) + " REAL NOT NULL DEFAULT 0," + Bracketed(IS_TOP_SCENE) +
                            " INTEGER NOT NULL DEFAULT 0," + Bracketed(IS_DELETED) +
                            " INTEGER NOT NULL DEFAULT 0,CONSTRAINT " + Bracketed(UNIQUE_CONSTRAINT) + " UNIQUE (" +
                            Bracketed(BUNDLE_NAME) + " ASC, " + Bracketed(APP_INTRA_SCENE_NAME) + " ASC))";
    if (ExecuteSql(sql) != SQLITE_UTIL_OK) {
        IOSCHED_LOGE("failed to create top_scene_table.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::CreateTrainHistoryRecordTable() const {
    // The two blanks and the default, which no row ever takes, are part of the files that exist.
    const std::string createSql = "CREATE TABLE IF NOT EXISTS " + Bracketed(TRAIN_HISTORY_TABLE) + " (" +
                                  Bracketed(TRAIN_HISTORY_ID) + " INTEGER  PRIMARY KEY," + Bracketed(TRAIN_TIMES) +
                                  " INTEGER NOT NULL DEFAULT 0," + Bracketed(LAST_TRAIN_TIME) +
                                  " INTEGER NOT NULL DEFAULT CURRENT_TIMESTAMP)";
    if (ExecuteSql(createSql) != SQLITE_UTIL_OK) {
        IOSCHED_LOGE("failed to creat train_history_table.");
        return DB_FAILED;
    }
    const std::string insertSql = "INSERT OR IGNORE INTO " + Bracketed(TRAIN_HISTORY_TABLE) + " (" +
                                  Bracketed(TRAIN_HISTORY_ID) + ", " + Bracketed(TRAIN_TIMES) + ", " +
                                  Bracketed(LAST_TRAIN_TIME) + ") VALUES(" + std::to_string(HISTORY_ID) + ", 0, " +
                                  std::to_string(CommonUtil::GetCurrentTimestamp()) + ")";
    if (ExecuteSql(insertSql) != SQLITE_UTIL_OK) {
        IOSCHED_LOGE("failed to insert train history item.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::QueryTrainStatus(int& trainTimes, long& lastTrainTime) const {
    std::vector<ValuesBucket> rows;
    const int result = Query(rows, TRAIN_HISTORY_TABLE, {}, WhereEquals(TRAIN_HISTORY_ID), {HISTORY_ID});
    if (result != DB_OK || rows.size() != 1) {
        IOSCHED_LOGE("unexecpted record num.");
        return DB_FAILED;
    }
    TrainHistoryRecord record;
    TrainHistoryRecord::TranslateToTopSceneRecord(rows.front(), record);
    trainTimes = record.trainTimes;
    lastTrainTime = record.lastTrainTime;
    return DB_OK;
}

int TopSceneDatabase::UpdateTrainStatus(int trainTimes, long lastTrainTime) const {
    ValuesBucket values;
    values.Put(TRAIN_TIMES, trainTimes);
    values.Put(LAST_TRAIN_TIME, lastTrainTime);
    if (Update(TRAIN_HISTORY_TABLE, values, WhereEquals(TRAIN_HISTORY_ID), {HISTORY_ID}) != DB_OK) {
        IOSCHED_LOGE("update train status failed.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::AddTempScene(const std::unordered_map<std::string, int>& scenes) const {
    const std::string sql = "INSERT INTO " + Bracketed(TEMP_SCENE_TABLE) + " (" + Bracketed(SCENE_NAME) + ", " +
                            Bracketed(LAUNCHED_COUNT) + ") VALUES(?, ?) ON CONFLICT (" + Bracketed(SCENE_NAME) +
                            ") DO UPDATE SET " + Bracketed(LAUNCHED_COUNT) + " = " + Bracketed(LAUNCHED_COUNT) + " + ?";
    IOSCHED_LOGD("upsertSql: %{public}s", sql.c_str());
    const auto fill = [](const auto& scene, Args& args) { Fill(args, scene.first, scene.second, scene.second); };
    if (ExecuteSqlWithEachArgs(sql, ArgsOfEach(scenes, fill)) != DB_OK) {
        IOSCHED_LOGE("batch insert temp scene failed.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::QueryAllTempScene(std::vector<TempSceneRecord>& scenes) const {
    const auto visit = [&scenes](const ValuesBucket& row) {
        TempSceneRecord::TranslateToTempSceneRecord(row, scenes.emplace_back());
    };
    return QueryEach(visit, TEMP_SCENE_TABLE, {}, "", {});
}

int TopSceneDatabase::DeleteAllTempScene() const {
    if (Delete(TEMP_SCENE_TABLE, "", {}) != DB_OK) {
        IOSCHED_LOGE("failed to update train status.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::UpdateOriginDecayLaunchCnt(double factor) const {
    const std::string sql = "UPDATE " + Bracketed(TOP_SCENE_TABLE) + " SET " + Bracketed(DECAY_LAUNCHED_COUNT) +
                            " = ? * " + Bracketed(DECAY_LAUNCHED_COUNT);
    IOSCHED_LOGD("updateSql: %{public}s", sql.c_str());
    const auto statement = CreateSqliteStatement(sql);
    if (statement->PrepareAndBindArguments({factor}) != SQLITE_UTIL_OK) {
        return DB_FAILED;
    }
    const int32_t result = statement->Step();
    if (result == SQLITE_ROW) {
        IOSCHED_LOGE("Queries can be performed using query");
    }
    return result == SQLITE_DONE ? DB_OK : DB_FAILED;
}

int TopSceneDatabase::UpsertTopScene(const std::vector<TempSceneRecord>& scenes) const {
    const std::string sql = "INSERT INTO " + Bracketed(TOP_SCENE_TABLE) + " (" + Bracketed(BUNDLE_NAME) + ", " +
                            Bracketed(APP_INTRA_SCENE_NAME) + ", " + Bracketed(LAUNCHED_COUNT) + ", " +
                            Bracketed(DECAY_LAUNCHED_COUNT) + ") VALUES(?, ?, ?, ?) ON CONFLICT (" +
                            Bracketed(BUNDLE_NAME) + ", " + Bracketed(APP_INTRA_SCENE_NAME) + ") DO UPDATE SET " +
                            Bracketed(LAUNCHED_COUNT) + " = " + Bracketed(LAUNCHED_COUNT) + " + ?, " +
                            Bracketed(DECAY_LAUNCHED_COUNT) + " = " + Bracketed(DECAY_LAUNCHED_COUNT) + " + ?";
    IOSCHED_LOGD("upsertSql: %{public}s", sql.c_str());
    auto scene = scenes.begin();
    std::string bundleName;
    std::string appIntraSceneName;
    const auto next = [&](Args& args) {
        while (scene != scenes.end() && !ParseSceneName(scene->sceneName, bundleName, appIntraSceneName)) {
            ++scene;
        }
        if (scene == scenes.end()) {
            return false;
        }
        const int32_t count = scene++->launchedCount;
        Fill(args, bundleName, appIntraSceneName, count, count, count, count);
        return true;
    };
    if (ExecuteSqlWithEachArgs(sql, next) != DB_OK) {
        IOSCHED_LOGE("batch insert temp scene failed.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::UpdateTopSceneData(double factor, const std::vector<TempSceneRecord>& scenes) const {
    const int result =
        ExecuteInTransaction({[&] { return UpdateOriginDecayLaunchCnt(factor); },
                              [&] { return UpsertTopScene(scenes); }, [&] { return DeleteAllTempScene(); }});
    if (result != DB_OK) {
        IOSCHED_LOGE("failed to update top scene.");
    }
    return result;
}

int TopSceneDatabase::QueryActiveTopScene(std::vector<TopSceneRecord>& scenes) const {
    const auto visit = [&scenes](const ValuesBucket& row) {
        TopSceneRecord::TranslateToTopSceneRecord(row, scenes.emplace_back());
    };
    return QueryEach(visit, TOP_SCENE_TABLE, {}, WhereEquals(IS_DELETED), {false});
}

int TopSceneDatabase::UpdateTopSceneDeletedStatus(const std::vector<int>& ids) const {
    const std::string sql = "UPDATE " + Bracketed(TOP_SCENE_TABLE) + " SET " + Bracketed(IS_DELETED) + " = ? WHERE " +
                            Bracketed(TOP_SCENE_ID) + " = ?";
    IOSCHED_LOGD("updateSql: %{public}s", sql.c_str());
    const auto fill = [](int id, Args& args) { Fill(args, true, id); };
    if (ExecuteSqlWithEachArgs(sql, ArgsOfEach(ids, fill)) != DB_OK) {
        IOSCHED_LOGE("batch update top scene delete status failed.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::UpdateTopSceneIsTopStatus(const std::vector<TopSceneRecord>& records) const {
    const std::string sql = "UPDATE " + Bracketed(TOP_SCENE_TABLE) + " SET " + Bracketed(IS_TOP_SCENE) + " = ? WHERE " +
                            Bracketed(TOP_SCENE_ID) + " = ?";
    IOSCHED_LOGD("updateSql: %{public}s", sql.c_str());
    const auto fill = [](const TopSceneRecord& record, Args& args) {
        Fill(args, record.isTopScene, record.topSceneId);
    };
    if (ExecuteSqlWithEachArgs(sql, ArgsOfEach(records, fill)) != DB_OK) {
        IOSCHED_LOGE("batch update top scene delete status failed.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::DeleteTopScene(const std::vector<int>& ids) const {
    const std::string sql = "DELETE FROM " + Bracketed(TOP_SCENE_TABLE) + " WHERE " + Bracketed(TOP_SCENE_ID) + " = ?";
    IOSCHED_LOGD("deleteSql: %{public}s", sql.c_str());
    const auto fill = [](int id, Args& args) { Fill(args, id); };
    if (ExecuteSqlWithEachArgs(sql, ArgsOfEach(ids, fill)) != DB_OK) {
        IOSCHED_LOGE("batch delete top scene failed.");
        return DB_FAILED;
    }
    return DB_OK;
}

int TopSceneDatabase::UpdateTopSceneAfterTrain(const std::vector<TopSceneRecord>& records,
                                               const std::vector<int>& removeIds) const {
    return ExecuteInTransaction(
        {[&] { return UpdateTopSceneIsTopStatus(records); }, [&] { return DeleteTopScene(removeIds); }});
}

int TopSceneDatabase::UpdateTopSceneBundleStatus(const std::string& bundleName, bool isInstalled) const {
    ValuesBucket values;
    values.Put(IS_DELETED, !isInstalled);
    if (!isInstalled) {
        values.Put(IS_TOP_SCENE, false);
    }
    if (Update(TOP_SCENE_TABLE, values, WhereEquals(BUNDLE_NAME), {bundleName}) != DB_OK) {
        IOSCHED_LOGE("failed to update top scene bundle status.");
        return DB_FAILED;
    }
    return DB_OK;
}

}  // namespace ZYRA::ResourceSchedule
