// SPDX-License-Identifier: Apache-2.0
// How the scene database runs statements: single ones, batches, and several in one transaction.

#include <sqlite3.h>

#include "frame/common/io_sched_log.h"
#include "top_scene/top_scene_database.h"

namespace ZYRA::ResourceSchedule {

namespace {

// The operations that the log lines of their inner parts bear.
constexpr char QUERY[] = "Query";
constexpr char EXECUTE_BATCH[] = "ExecuteSqlWithBatchArgs";

std::string WithWhere(const std::string& sql, const std::string& whereClause) {
    return whereClause.empty() ? sql : sql + " WHERE " + whereClause;
}

}  // namespace

std::string TopSceneDatabase::CreatePreparedQuerySql(const std::string& table, const std::vector<std::string>& columns,
                                                     const std::string& whereClause) {
    std::string sql = "SELECT ";
    if (columns.empty()) {
        sql += "* ";
    } else {
        AppendQueryColumns(sql, columns);
    }
    return WithWhere(sql + "FROM " + table, whereClause);
}

void TopSceneDatabase::AppendQueryColumns(std::string& sql, const std::vector<std::string>& columns) {
    const char* separator = "";
    for (const std::string& column : columns) {
        sql += separator + column;
        separator = ", ";
    }
    sql += " ";
}

int TopSceneDatabase::Query(std::vector<ValuesBucket>& rows, const std::string& table,
                            const std::vector<std::string>& columns, const std::string& whereClause,
                            const std::vector<VariantValue>& whereArgs) const {
    return QueryEach([&rows](const ValuesBucket& row) { rows.push_back(row); }, table, columns, whereClause, whereArgs);
}

int TopSceneDatabase::QueryEach(const RowVisitor& visit, const std::string& table,
                                const std::vector<std::string>& columns, const std::string& whereClause,
                                const std::vector<VariantValue>& whereArgs) const {
    const std::string sql = CreatePreparedQuerySql(table, columns, whereClause);
    IOSCHED_LOGD_AS(QUERY, "querySql: %{public}s", sql.c_str());
    const auto statement = CreateSqliteStatement(sql);
    if (statement->PrepareAndBindArguments(whereArgs) != SQLITE_UTIL_OK) {
        return DB_FAILED;
    }
    ValuesBucket row;
    std::vector<VariantValue*> values;  // Of the columns, null for one that has the name of one before it.
    int32_t result = statement->Step();
    // The names of now: a first step finds out whether another connection has changed the table.
    for (int32_t column = 0; result == SQLITE_ROW && column < statement->GetColumnCount(); ++column) {
        values.push_back(row.Add(statement->GetColumnName(column)));
    }
    for (; result == SQLITE_ROW; result = statement->Step()) {
        for (size_t column = 0; column < values.size(); ++column) {
            if (values[column] != nullptr) {
                statement->ReadValue(static_cast<int32_t>(column), *values[column]);
            }
        }
        visit(row);
    }
    return result == SQLITE_DONE ? DB_OK : DB_FAILED;
}

int TopSceneDatabase::Update(const std::string& table, const ValuesBucket& values, const std::string& whereClause,
                             const std::vector<VariantValue>& whereArgs) const {
    if (table.empty() || values.IsEmpty()) {
        return DB_FAILED;
    }
    std::string sql = "UPDATE " + table + " SET ";
    std::vector<VariantValue> args;
    const char* separator = "";
    for (const auto& [column, value] : values.GetAllKeyValue()) {
        sql += separator + column + "=?";
        separator = ", ";
        args.push_back(value);
    }
    args.insert(args.end(), whereArgs.begin(), whereArgs.end());
    sql = WithWhere(sql, whereClause);
    IOSCHED_LOGD("update: %{public}s", sql.c_str());
    return ExecuteUpdate(sql, args);
}

int TopSceneDatabase::Delete(const std::string& table, const std::string& whereClause,
                             const std::vector<VariantValue>& whereArgs) const {
    const std::string sql = WithWhere("DELETE FROM " + table, whereClause);
    IOSCHED_LOGD("deleteSql: %{public}s", sql.c_str());
    return ExecuteUpdate(sql, whereArgs);
}

int TopSceneDatabase::ExecuteUpdate(const std::string& sql, const std::vector<VariantValue>& args) const {
    const auto statement = CreateSqliteStatement(sql);
    if (statement->PrepareAndBindArguments(args) != SQLITE_UTIL_OK) {
        return DB_FAILED;
    }
    return statement->Step() == SQLITE_DONE ? DB_OK : DB_FAILED;
}

int TopSceneDatabase::ExecuteSqlWithBatchArgs(const std::string& sql,
                                              const std::vector<std::vector<VariantValue>>& batch) const {
    return ExecuteSqlWithEachArgs(sql, [&batch, list = batch.begin()](std::vector<VariantValue>& args) mutable {
        if (list == batch.end()) {
            return false;
        }
        args = *list++;
        return true;
    });
}

int TopSceneDatabase::ExecuteSqlWithEachArgs(const std::string& sql, const ArgsSource& next) const {
    const auto statement = CreateSqliteStatement(sql);
    if (statement->Prepare() != SQLITE_UTIL_OK) {
        return DB_FAILED;
    }
    std::vector<VariantValue> args;
    while (next(args)) {
        if (const int32_t result = statement->BindArguments(args); result != SQLITE_UTIL_OK) {
            IOSCHED_LOGE_AS(EXECUTE_BATCH, "bind argument failed. %{public}d", result);
            return DB_FAILED;
        }
        if (statement->Step() != SQLITE_DONE) {
            IOSCHED_LOGE_AS(EXECUTE_BATCH, "failed, errMsg: %{public}s", SpitError().c_str());
            return DB_FAILED;
        }
        statement->Reset();
    }
    return DB_OK;
}

int TopSceneDatabase::ExecuteInTransaction(std::initializer_list<std::function<int()>> changes) const {
    // Rolls back whatever did not reach the end, also when the transaction could not begin: should one have been left
    // open, everything written later would be lost with it.
    struct Rollback {
        const SqliteUtil& database;
        bool isWanted = true;
        ~Rollback() {
            if (isWanted) {
                database.RollbackTransaction();
            }
        }
    } rollback{*this};
    if (BeginTransaction() != SQLITE_UTIL_OK) {
        return DB_FAILED;
    }
    for (const std::function<int()>& change : changes) {
        if (change() != DB_OK) {
            return DB_FAILED;
        }
    }
    if (CommitTransaction() != SQLITE_UTIL_OK) {
        return DB_FAILED;
    }
    rollback.isWanted = false;
    return DB_OK;
}

}  // namespace ZYRA::ResourceSchedule
