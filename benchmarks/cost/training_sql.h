// SPDX-License-Identifier: Apache-2.0
#pragma once

/* The tables of the scene database, and what a training asks of them, word for word as the plugin does. */

#define CREATE_TEMP_SCENES                                                                    \
    "CREATE TABLE IF NOT EXISTS [temp_scene_table] ( [scene_name] TEXT PRIMARY KEY NOT NULL," \
    "[launched_count] INTEGER NOT NULL DEFAULT 0)"
#define CREATE_TOP_SCENES                                                                                           \
    "CREATE TABLE IF NOT EXISTS [top_scene_table] ([top_scene_id] INTEGER PRIMARY KEY,[bundle_name] TEXT NOT NULL," \
    "[app_intra_scene_name] TEXT NOT NULL,[launched_count] INTEGER NOT NULL DEFAULT 0,"                             \
    "[decay_launched_count] REAL NOT NULL DEFAULT 0,[is_top_scene] INTEGER NOT NULL DEFAULT 0,"                     \
    "[is_deleted] INTEGER NOT NULL DEFAULT 0,"                                                                      \
    "CONSTRAINT [unique_constraint] UNIQUE ([bundle_name] ASC, [app_intra_scene_name] ASC))"
#define CREATE_HISTORY                                                                           \
    "CREATE TABLE IF NOT EXISTS [train_history_table] ([train_history_id] INTEGER  PRIMARY KEY," \
    "[train_times] INTEGER NOT NULL DEFAULT 0,[last_train_time] INTEGER NOT NULL DEFAULT CURRENT_TIMESTAMP)"

#define SEED_HISTORY                                                                                      \
    "INSERT OR IGNORE INTO [train_history_table] ([train_history_id], [train_times], [last_train_time]) " \
    "VALUES(1, 0, 1750000000)"
#define SELECT_HISTORY "SELECT * FROM train_history_table WHERE train_history_id=?"
#define UPDATE_HISTORY "UPDATE train_history_table SET last_train_time=?, train_times=? WHERE train_history_id=?"

#define SELECT_TEMP_SCENES "SELECT * FROM temp_scene_table"
#define DELETE_TEMP_SCENES "DELETE FROM temp_scene_table"

#define DECAY_TOP_SCENES "UPDATE [top_scene_table] SET [decay_launched_count] = ? * [decay_launched_count]"
#define UPSERT_TOP_SCENE                                                                                            \
    "INSERT INTO [top_scene_table] ([bundle_name], [app_intra_scene_name], [launched_count], "                      \
    "[decay_launched_count]) VALUES(?, ?, ?, ?) ON CONFLICT ([bundle_name], [app_intra_scene_name]) DO UPDATE SET " \
    "[launched_count] = [launched_count] + ?, [decay_launched_count] = [decay_launched_count] + ?"
#define SELECT_ACTIVE_SCENES "SELECT * FROM top_scene_table WHERE is_deleted=?"
#define MARK_DELETED_SCENE "UPDATE [top_scene_table] SET [is_deleted] = ? WHERE [top_scene_id] = ?"
#define MARK_TOP_SCENE "UPDATE [top_scene_table] SET [is_top_scene] = ? WHERE [top_scene_id] = ?"
#define DELETE_TOP_SCENE "DELETE FROM [top_scene_table] WHERE [top_scene_id] = ?"
