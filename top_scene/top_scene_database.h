// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <unordered_map>
#include <vector>

#include "top_scene/sqlite_util.h"
#include "top_scene/top_scene_records.h"
#include "top_scene/values_bucket.h"
#include "top_scene/variant_value.h"

namespace ZYRA::ResourceSchedule {

// The store of what is known about scenes: the launches since the last training, every scene ever seen with its raw and
// decayed launches, and how many trainings have run.
//
// Operations give 0, or -1 after a failure; those that say so change everything or nothing. When the file could not be
// opened, every operation fails. Not thread-safe: the tasks of the background queue use it one at a time.
class TopSceneDatabase : public SqliteUtil {
public:
    // `dir` ends in a slash. Creates the folder (its parent must exist), the file and the tables where they are
    // missing.
    TopSceneDatabase(const std::string& name, const std::string& dir);
    ~TopSceneDatabase() override;

    // Splits a scene name at its first "/" into the bundle name and the scene inside the application, either of which
    // may be empty. Returns false, and leaves both as they were, for a name without "/". Any thread.
    static bool ParseSceneName(const std::string& sceneName, std::string& bundleName, std::string& appIntraSceneName);

    // The tables. The history's only row is written when there is none: the first training counts from now.
    int CreateTempSceneRecordTable() const;
    int CreateTopSceneRecordTable() const;
    int CreateTrainHistoryRecordTable() const;

    // Rows by hand. `whereClause` may be empty; `whereArgs` are bound to its parameters.

    static std::string CreatePreparedQuerySql(const std::string& table, const std::vector<std::string>& columns,
                                              const std::string& whereClause);
    static void AppendQueryColumns(std::string& sql, const std::vector<std::string>& columns);
    // Appends to `rows`, also the rows that came before a failure. No columns mean all of them.
    int Query(std::vector<ValuesBucket>& rows, const std::string& table, const std::vector<std::string>& columns,
              const std::string& whereClause, const std::vector<VariantValue>& whereArgs) const;
    int Update(const std::string& table, const ValuesBucket& values, const std::string& whereClause,
               const std::vector<VariantValue>& whereArgs) const;
    int Delete(const std::string& table, const std::string& whereClause,
               const std::vector<VariantValue>& whereArgs) const;
    // Runs one statement for each list of arguments, up to the first that fails. Opens no transaction.
    int ExecuteSqlWithBatchArgs(const std::string& sql, const std::vector<std::vector<VariantValue>>& batch) const;

    // The training history.

    int QueryTrainStatus(int& trainTimes, long& lastTrainTime) const;
    int UpdateTrainStatus(int trainTimes, long lastTrainTime) const;

    // Launches since the last training.

    // Adds to the counts that are there.
    int AddTempScene(const std::unordered_map<std::string, int>& scenes) const;
    int QueryAllTempScene(std::vector<TempSceneRecord>& scenes) const;
    int DeleteAllTempScene() const;

    // Every scene.

    // Multiplies every decayed count by `factor`.
    int UpdateOriginDecayLaunchCnt(double factor) const;
    // Adds launches to both counts of each scene. Names without "/" are left out.
    int UpsertTopScene(const std::vector<TempSceneRecord>& scenes) const;
    // Decays the old counts, adds the new launches undecayed and empties the temp table: all or nothing.
    int UpdateTopSceneData(double factor, const std::vector<TempSceneRecord>& scenes) const;
    // The scenes whose bundles are installed, in no defined order.
    int QueryActiveTopScene(std::vector<TopSceneRecord>& scenes) const;
    int UpdateTopSceneDeletedStatus(const std::vector<int>& ids) const;
    int UpdateTopSceneIsTopStatus(const std::vector<TopSceneRecord>& records) const;
    int DeleteTopScene(const std::vector<int>& ids) const;
    // Stores who is top and deletes the scenes to be removed: all or nothing.
    int UpdateTopSceneAfterTrain(const std::vector<TopSceneRecord>& records, const std::vector<int>& removeIds) const;
    // Marks the scenes of a bundle that was installed or removed; a removed one's are no top scenes any more.
    int UpdateTopSceneBundleStatus(const std::string& bundleName, bool isInstalled) const;

private:
    static constexpr int DB_OK = 0;
    static constexpr int DB_FAILED = -1;

    using RowVisitor = std::function<void(const ValuesBucket&)>;
    // Fills the list with the next arguments, in place of those that it holds; returns false when there are no more.
    using ArgsSource = std::function<bool(std::vector<VariantValue>&)>;

    // Query and ExecuteSqlWithBatchArgs, whose names their log lines bear, for tables and batches of any size: one row,
    // or list, is held at a time. The row is the visitor's until it returns.
    int QueryEach(const RowVisitor& visit, const std::string& table, const std::vector<std::string>& columns,
                  const std::string& whereClause, const std::vector<VariantValue>& whereArgs) const;
    int ExecuteSqlWithEachArgs(const std::string& sql, const ArgsSource& next) const;

    // Makes the changes one after the other, up to the first that fails, and keeps all or none of them.
    int ExecuteInTransaction(std::initializer_list<std::function<int()>> changes) const;
    // Runs one statement that changes rows.
    int ExecuteUpdate(const std::string& sql, const std::vector<VariantValue>& args) const;
};

}  // namespace ZYRA::ResourceSchedule
