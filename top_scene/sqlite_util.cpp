// SPDX-License-Identifier: Apache-2.0
#include "top_scene/sqlite_util.h"

#include <sqlite3.h>

#include <utility>

#include "frame/common/io_sched_log.h"

namespace ZYRA::ResourceSchedule {

void SqliteUtil::ConnectionCloser::operator()(sqlite3* connection) const {
    sqlite3_close(connection);
}

SqliteUtil::SqliteUtil(std::string name, std::string path) : dbName(std::move(name)), dbPath(std::move(path)) {}

SqliteUtil::~SqliteUtil() = default;

int32_t SqliteUtil::Open() {
    if (db != nullptr) {
        return SQLITE_UTIL_ERROR;
    }
    if (dbName.empty() || dbPath.empty()) {
        IOSCHED_LOGE("SqliteUtil construct para error.");
        return SQLITE_UTIL_ERROR;
    }
    const std::string file = dbPath + dbName;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(file.c_str(), &opened);
    // A failed open, too, leaves a connection that is to be closed.
    std::unique_ptr<sqlite3, ConnectionCloser> connection(opened);
    if (result != SQLITE_OK) {
        IOSCHED_LOGE("failed to open db: %{public}s", sqlite3_errmsg(connection.get()));
        return SQLITE_UTIL_ERROR;
    }
    db = std::move(connection);
    IOSCHED_LOGI("open db file %{public}s success.", file.c_str());
    return SQLITE_UTIL_OK;
}

int32_t SqliteUtil::Close() {
    if (db == nullptr) {
        IOSCHED_LOGW("open db first.");
        return SQLITE_UTIL_ERROR;
    }
    if (const int result = sqlite3_close(db.get()); result != SQLITE_OK) {
        IOSCHED_LOGW("sqlite3_close error, ret=%{public}d", result);
        return SQLITE_UTIL_ERROR;
    }
    static_cast<void>(db.release());
    return SQLITE_UTIL_OK;
}

int32_t SqliteUtil::Execute(const char* function, const char* sql) const {
    if (db == nullptr) {
        IOSCHED_LOGW_AS(function, "open db first.");
        return SQLITE_UTIL_ERROR;
    }
    struct MessageReleaser {
        void operator()(char* message) const { sqlite3_free(message); }
    };
    char* text = nullptr;
    const int result = sqlite3_exec(db.get(), sql, nullptr, nullptr, &text);
    const std::unique_ptr<char, MessageReleaser> message(text);
    if (result != SQLITE_OK) {
        IOSCHED_LOGE_AS(function, "failed, errMsg: %{public}s", static_cast<const char*>(message.get()));
        return SQLITE_UTIL_ERROR;
    }
    return SQLITE_UTIL_OK;
}

std::unique_ptr<SqliteStatement> SqliteUtil::CreateSqliteStatement(const std::string& sql) const {
    return std::make_unique<SqliteStatement>(db.get(), sql);
}

std::string SqliteUtil::SpitError() const {
    if (db == nullptr) {
        IOSCHED_LOGW("open db first.");
        return "";
    }
    return sqlite3_errmsg(db.get());
}

}  // namespace ZYRA::ResourceSchedule
