// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "top_scene/variant_value.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ZYRA::ResourceSchedule {

// One prepared statement: prepared once, then bound, stepped and reset any number of times. Results are those of
// sqlite_result.h unless said otherwise. Not thread-safe.
class SqliteStatement {
public:
    // REQUIRES: the connection, if any, stays open for as long as this object lives.
    SqliteStatement(sqlite3* connection, std::string text);
    virtual ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    // Compiles the first statement of the text. After a failure the object is of no use any more.
    int32_t Prepare();
    // Binds the arguments to the parameters in their order, and NULL to the parameters that are left over. More
    // arguments than parameters bind nothing. A refusal of SQLite is given as its own code.
    int32_t BindArguments(const std::vector<VariantValue>& args);
    int32_t PrepareAndBindArguments(const std::vector<VariantValue>& args);

    // SQLite's code: SQLITE_ROW, SQLITE_DONE or an error.
    int32_t Step();
    // Makes it ready for the next binding and the next step.
    int32_t Reset();

    // The columns of the row that a step gave, from 0. Integers come back as TYPE_INT64 however they were bound, blobs
    // as TYPE_NULL.
    int32_t GetColumnCount() const;
    std::string GetColumnName(int32_t index) const;
    VariantValue GetValue(int32_t index) const;
    // The same, in place of what `value` is: cheaper from row to row.
    void ReadValue(int32_t index, VariantValue& value) const;

private:
    struct StatementFinalizer {
        void operator()(sqlite3_stmt* statement) const;
    };

    int32_t InnerBindArguments(const std::vector<VariantValue>& args);
    // Gives SQLite's code, or SQLITE_UTIL_ERROR for a type that is none.
    int32_t BindArgument(int32_t parameter, const VariantValue& arg);

    sqlite3* db;  // Not owned.
    std::unique_ptr<sqlite3_stmt, StatementFinalizer> stmt;
    std::string sql;
    int32_t columnCount = 0;
    int32_t argsCount = 0;
};

}  // namespace ZYRA::ResourceSchedule
