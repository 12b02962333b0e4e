// SPDX-License-Identifier: Apache-2.0
// The least library that starts as the plugin has to: it needs the same libraries, and runs the statements that open
// the scene database and load it.

#include <sqlite3.h>

#include <algorithm>
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

void Check(sqlite3* database, int result, int wanted) {
    if (result != wanted) {
        Fail(sqlite3_errmsg(database));
    }
}

void Execute(sqlite3* database, const std::string& sql) {
    Check(database, sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
}

class Statement {
public:
    Statement(sqlite3* database, const char* sql) : database_(database) {
        Check(database, sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr), SQLITE_OK);
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // False behind the last row.
    bool Step() {
        const int result = sqlite3_step(statement_);
        Check(database_, result, result == SQLITE_ROW ? SQLITE_ROW : SQLITE_DONE);
        return result == SQLITE_ROW;
    }
    sqlite3_stmt* Get() const { return statement_; }

private:
    sqlite3* const database_;
    sqlite3_stmt* statement_ = nullptr;
};

struct Scene {
    int64_t id;
    double decayedCount;
    std::string name;
};

// Reads the stored scenes and stores who is top: as on the device, there is room for one.
void LoadScenes(sqlite3* database) {
    Statement(database, "SELECT * FROM train_history_table WHERE train_history_id=1").Step();
    std::vector<Scene> scenes;
    Statement query(database, "SELECT * FROM top_scene_table WHERE is_deleted=0");
    while (query.Step()) {
        sqlite3_stmt* const row = query.Get();
        const auto text = [row](int column) { return reinterpret_cast<const char*>(sqlite3_column_text(row, column)); };
        scenes.push_back({sqlite3_column_int64(row, 0), sqlite3_column_double(row, 4), text(1)});
        scenes.back().name.append("/").append(text(2));
    }
    const auto top = std::max_element(scenes.begin(), scenes.end(), [](const Scene& left, const Scene& right) {
        return left.decayedCount < right.decayedCount;
    });
    Execute(database, "BEGIN;");
    {
        Statement update(database, "UPDATE [top_scene_table] SET [is_top_scene] = ? WHERE [top_scene_id] = ?");
        for (auto scene = scenes.begin(); scene != scenes.end(); ++scene) {
            Check(database, sqlite3_bind_int(update.Get(), 1, scene == top ? 1 : 0), SQLITE_OK);
            Check(database, sqlite3_bind_int64(update.Get(), 2, scene->id), SQLITE_OK);
            update.Step();
            Check(database, sqlite3_reset(update.Get()), SQLITE_OK);
        }
    }
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

// The connection stays open.
EXPORTED void LoadLeast() {
    LoadScenes(OpenDatabase());
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
        Execute(database, "INSERT INTO top_scene_table VALUES(NULL,'com.example.application" +
                              std::to_string(scene % 60) + "','EntryAbility.pages.detail.Item" + number + "'," +
                              launches + "," + launches + ".5,0,0)");
    }
    Execute(database, "COMMIT;");
    Check(database, sqlite3_close(database), SQLITE_OK);
}
