// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "top_scene/sqlite_result.h"
#include "top_scene/sqlite_statement.h"

struct sqlite3;

namespace ZYRA::ResourceSchedule {

// One connection to one database file. Failures are logged and given as a result. Not thread-safe.
class SqliteUtil {
public:
    // `path` is the folder, with a slash at its end. Opens nothing.
    SqliteUtil(std::string name, std::string path);
    // REQUIRES: no statement on the connection is left.
    virtual ~SqliteUtil();
    SqliteUtil(const SqliteUtil&) = delete;
    SqliteUtil& operator=(const SqliteUtil&) = delete;

    // Opens the file, and creates it where it is missing. An open connection stays, which is a failure.
    int32_t Open();
    // Closes the connection. When SQLite refuses, because a statement is left, the connection stays open.
    int32_t Close();

    int32_t BeginTransaction() const { return Execute(__func__, "BEGIN;"); }
    int32_t CommitTransaction() const { return Execute(__func__, "COMMIT;"); }
    int32_t RollbackTransaction() const { return Execute(__func__, "ROLLBACK;"); }
    // Runs statements whose rows, if any, are of no interest.
    int32_t ExecuteSql(const std::string& sql) const { return Execute(__func__, sql.c_str()); }

    // A statement on this connection, not yet prepared. It must go before the connection is closed.
    std::unique_ptr<SqliteStatement> CreateSqliteStatement(const std::string& sql) const;

    // The text of the connection's last error, empty without a connection.
    std::string SpitError() const;

private:
    struct ConnectionCloser {
        void operator()(sqlite3* connection) const;
    };

    // `function` is whose failure it is.
    int32_t Execute(const char* function, const char* sql) const;

    const std::string dbName;
    const std::string dbPath;
    std::unique_ptr<sqlite3, ConnectionCloser> db;
};

}  // namespace ZYRA::ResourceSchedule
