// SPDX-License-Identifier: Apache-2.0
#include "top_scene/sqlite_statement.h"

#include <sqlite3.h>

#include <utility>

#include "frame/common/io_sched_log.h"
#include "top_scene/sqlite_result.h"

namespace ZYRA::ResourceSchedule {

void SqliteStatement::StatementFinalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

SqliteStatement::SqliteStatement(sqlite3* connection, std::string text) : db(connection), sql(std::move(text)) {}

SqliteStatement::~SqliteStatement() = default;

int32_t SqliteStatement::Prepare() {
    if (stmt != nullptr) {
        return SQLITE_UTIL_OK;
    }
    if (db == nullptr || sql.empty()) {
        IOSCHED_LOGE("invalid construct param for sqlitestatement.");
        return SQLITE_UTIL_ERROR;
    }
    sqlite3_stmt* prepared = nullptr;
    const int result = sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &prepared, nullptr);
    stmt.reset(prepared);
    if (result != SQLITE_OK) {
        IOSCHED_LOGE("Cannot prepare, errMsg: %{public}s", sqlite3_errmsg(db));
        stmt.reset();
        db = nullptr;
        sql.clear();
        columnCount = 0;
        argsCount = 0;
        return SQLITE_UTIL_ERROR;
    }
    columnCount = sqlite3_column_count(stmt.get());
    argsCount = sqlite3_bind_parameter_count(stmt.get());
    return SQLITE_UTIL_OK;
}

int32_t SqliteStatement::BindArguments(const std::vector<VariantValue>& args) {
    if (args.empty() && argsCount == 0) {
        return SQLITE_UTIL_OK;
    }
    if (args.size() > static_cast<size_t>(argsCount)) {
        IOSCHED_LOGE("bind argsNum > argsCount of sql statement.");
        return SQLITE_UTIL_TOO_MANY_ARGUMENTS;
    }
    if (args.size() == static_cast<size_t>(argsCount)) {
        return InnerBindArguments(args);
    }
    std::vector<VariantValue> padded = args;
    padded.resize(static_cast<size_t>(argsCount));
    return InnerBindArguments(padded);
}

int32_t SqliteStatement::InnerBindArguments(const std::vector<VariantValue>& args) {
    int32_t parameter = 0;
    for (const VariantValue& arg : args) {
        const int32_t result = BindArgument(++parameter, arg);
        if (result == SQLITE_UTIL_ERROR) {
            IOSCHED_LOGE("unexpected value type.");
            return result;
        }
        if (result != SQLITE_OK) {
            IOSCHED_LOGE("Cannot bind argument! errno: %{public}d", result);
            return result;
        }
    }
    return SQLITE_UTIL_OK;
}

int32_t SqliteStatement::BindArgument(int32_t parameter, const VariantValue& arg) {
    switch (arg.GetType()) {
        case VariantType::TYPE_NULL:
            return sqlite3_bind_null(stmt.get(), parameter);
        case VariantType::TYPE_BOOL:
            return sqlite3_bind_int(stmt.get(), parameter, arg.GetBool() ? 1 : 0);
        case VariantType::TYPE_INT32:
            return sqlite3_bind_int(stmt.get(), parameter, arg.GetInt32());
        case VariantType::TYPE_INT64:
            return sqlite3_bind_int64(stmt.get(), parameter, arg.GetInt64());
        case VariantType::TYPE_DOUBLE:
            return sqlite3_bind_double(stmt.get(), parameter, arg.GetDouble());
        case VariantType::TYPE_STRING: {
            const std::string& text = arg.GetString();
            return sqlite3_bind_text(stmt.get(), parameter, text.data(), static_cast<int>(text.size()),
                                     SQLITE_TRANSIENT);
        }
    }
    return SQLITE_UTIL_ERROR;
}

int32_t SqliteStatement::PrepareAndBindArguments(const std::vector<VariantValue>& args) {
    const int32_t result = Prepare();
    return result == SQLITE_UTIL_OK ? BindArguments(args) : result;
}

int32_t SqliteStatement::Step() {
    return sqlite3_step(stmt.get());
}

int32_t SqliteStatement::Reset() {
    if (stmt == nullptr) {
        return SQLITE_UTIL_OK;
    }
    if (const int result = sqlite3_reset(stmt.get()); result != SQLITE_OK) {
        IOSCHED_LOGE("Reset statement failed. %{public}d", result);
        return SQLITE_UTIL_ERROR;
    }
    return SQLITE_UTIL_OK;
}

int32_t SqliteStatement::GetColumnCount() const {
    return sqlite3_column_count(stmt.get());
}

std::string SqliteStatement::GetColumnName(int32_t index) const {
    const char* name = sqlite3_column_name(stmt.get(), index);
    return name == nullptr ? "" : name;
}

VariantValue SqliteStatement::GetValue(int32_t index) const {
    VariantValue value;
    ReadValue(index, value);
    return value;
}

void SqliteStatement::ReadValue(int32_t index, VariantValue& value) const {
    switch (sqlite3_column_type(stmt.get(), index)) {
        case SQLITE_TEXT: {
            // Null when there is no memory for the text.
            const unsigned char* text = sqlite3_column_text(stmt.get(), index);
            value.SetString(text == nullptr ? "" : reinterpret_cast<const char*>(text));
            break;
        }
        case SQLITE_FLOAT:
            value = sqlite3_column_double(stmt.get(), index);
            break;
        case SQLITE_INTEGER:
            value = static_cast<int64_t>(sqlite3_column_int64(stmt.get(), index));
            break;
        default:
            value = VariantValue();
            break;
    }
}

}  // namespace ZYRA::ResourceSchedule
