// SPDX-License-Identifier: Apache-2.0
#include "tests/top_scene/raw_database.h"

#include <sqlite3.h>

#include <stdexcept>

namespace ZYRA::ResourceSchedule {

void RawDatabase::Closer::operator()(sqlite3* connection) const {
    sqlite3_close(connection);
}

void RawDatabase::Closer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

RawDatabase::RawDatabase(const std::string& path, const char* vfs) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, vfs);
    db_.reset(opened);
    Check(result, path);
}

void RawDatabase::Run(const std::string& sql) {
    Check(sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, nullptr), sql);
}

void RawDatabase::ForEachRow(const std::string& sql, const std::function<void(sqlite3_stmt*)>& take) {
    sqlite3_stmt* prepared = nullptr;
    const int result = sqlite3_prepare_v2(db_.get(), sql.c_str(), -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, Closer> statement(prepared);
    Check(result, sql);
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(prepared)) == SQLITE_ROW) {
        take(prepared);
    }
    Check(step == SQLITE_DONE ? SQLITE_OK : step, sql);
}

std::vector<std::string> RawDatabase::Rows(const std::string& sql) {
    std::vector<std::string> rows;
    ForEachRow(sql, [&rows](sqlite3_stmt* row) {
        std::string& line = rows.emplace_back();
        for (int column = 0; column < sqlite3_column_count(row); ++column) {
            line += (column == 0 ? "" : "|") + Text(row, column);
        }
    });
    return rows;
}

std::string RawDatabase::Text(sqlite3_stmt* row, int column) {
    const void* bytes = sqlite3_column_blob(row, column);
    const auto size = static_cast<size_t>(sqlite3_column_bytes(row, column));
    return sqlite3_column_type(row, column) == SQLITE_NULL ? "NULL"
           : bytes == nullptr                              ? ""
                                                           : std::string(static_cast<const char*>(bytes), size);
}

void RawDatabase::Check(int result, const std::string& what) {
    if (result != SQLITE_OK) {
        throw std::runtime_error(what + ": " + sqlite3_errmsg(db_.get()));
    }
}

}  // namespace ZYRA::ResourceSchedule
