// The least library that starts as the plugin has to: it needs the same libraries, and runs the statements that open
// the scene database and load it.

#include <sqlite3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/log.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr char DATABASE[] = "/data/service/el1/public/ressched/top_scene.db";

[[noreturn]] void Fail(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(EXIT_FAILURE);
}

void Execute(sqlite3* database, const char* sql) {
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail(sqlite3_errmsg(database));
    }
}

// Reads the stored scenes and stores who is top, as the start has to.
void LoadScenes(sqlite3* database) {
    std::vector<int64_t> ids;
    sqlite3_stmt* query = nullptr;
    sqlite3_prepare_v2(database, "SELECT * FROM train_history_table WHERE train_history_id=1", -1, &query, nullptr);
    sqlite3_step(query);
    sqlite3_finalize(query);
    sqlite3_prepare_v2(database, "SELECT * FROM top_scene_table WHERE is_deleted=0", -1, &query, nullptr);
    while (sqlite3_step(query) == SQLITE_ROW) {
        ids.push_back(sqlite3_column_int64(query, 0));
        for (int column = 1; column < sqlite3_column_count(query); ++column) {
            static_cast<void>(sqlite3_column_text(query, column));
        }
    }
    sqlite3_finalize(query);
    Execute(database, "BEGIN;");
    sqlite3_stmt* update = nullptr;
    sqlite3_prepare_v2(database, "UPDATE [top_scene_table] SET [is_top_scene] = ? WHERE [top_scene_id] = ?", -1,
                       &update, nullptr);
    for (const int64_t id : ids) {
        sqlite3_bind_int(update, 1, 1);
        sqlite3_bind_int64(update, 2, id);
        sqlite3_step(update);
        sqlite3_reset(update);
    }
    sqlite3_finalize(update);
    Execute(database, "COMMIT;");
}

sqlite3* OpenDatabase() {
    sqlite3* database = nullptr;
    if (sqlite3_open(DATABASE, &database) != SQLITE_OK) {
        Fail(sqlite3_errmsg(database));
    }
    Execute(database,
            "CREATE TABLE IF NOT EXISTS [temp_scene_table] ( [scene_name] TEXT PRIMARY KEY NOT NULL,[launched_count] "
            "INTEGER NOT NULL DEFAULT 0)");
    Execute(database,
            "CREATE TABLE IF NOT EXISTS [top_scene_table] ([top_scene_id] INTEGER PRIMARY KEY,[bundle_name] TEXT NOT "
            "NULL,[app_intra_scene_name] TEXT NOT NULL,[launched_count] INTEGER NOT NULL DEFAULT "
            "0,[decay_launched_count] REAL NOT NULL DEFAULT 0,[is_top_scene] INTEGER NOT NULL DEFAULT 0,[is_deleted] "
            "INTEGER NOT NULL DEFAULT 0,CONSTRAINT [unique_constraint] UNIQUE ([bundle_name] ASC, "
            "[app_intra_scene_name] ASC))");
    Execute(database,
            "CREATE TABLE IF NOT EXISTS [train_history_table] ([train_history_id] INTEGER  PRIMARY KEY,[train_times] "
            "INTEGER NOT NULL DEFAULT 0,[last_train_time] INTEGER NOT NULL DEFAULT CURRENT_TIMESTAMP)");
    Execute(database,
            "INSERT OR IGNORE INTO [train_history_table] ([train_history_id], [train_times], [last_train_time]) "
            "VALUES(1, 0, 1750000000)");
    return database;
}

}  // namespace

EXPORTED void LoadLeast() {
    sqlite3* const database = OpenDatabase();
    LoadScenes(database);
    sqlite3_close(database);
    // Needs the platform, as the plugin does.
    static_cast<void>(ZYRA::IsLoggable(ZYRA::LogLevel::FATAL));
}

// Makes the database of a device that knows so many scenes.
EXPORTED void FillDatabase(int scenes) {
    sqlite3* const database = OpenDatabase();
    Execute(database, "BEGIN;");
    for (int scene = 0; scene < scenes; ++scene) {
        const std::string number = std::to_string(scene);
        const std::string launches = std::to_string(1 + scene % 90);
        Execute(database,
                ("INSERT INTO top_scene_table VALUES(NULL,'com.example.application" + std::to_string(scene % 60) +
                 "','EntryAbility.pages.detail.Item" + number + "'," + launches + "," + launches + ".5,0,0)")
                    .c_str());
    }
    Execute(database, "COMMIT;");
    sqlite3_close(database);
}
