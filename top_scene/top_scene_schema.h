// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::ResourceSchedule {

// Names of the tables and columns of the scene database. TEMP_SCENE_ID and TOP_LEVEL are part of the vocabulary; no
// statement uses them.

inline constexpr char TRAIN_HISTORY_TABLE[] = "train_history_table";
inline constexpr char TRAIN_HISTORY_ID[] = "train_history_id";
inline constexpr char TRAIN_TIMES[] = "train_times";
inline constexpr char LAST_TRAIN_TIME[] = "last_train_time";

inline constexpr char TEMP_SCENE_TABLE[] = "temp_scene_table";
inline constexpr char TEMP_SCENE_ID[] = "temp_scene_id";
inline constexpr char SCENE_NAME[] = "scene_name";
inline constexpr char LAUNCHED_COUNT[] = "launched_count";  // Of the top table as well.

inline constexpr char TOP_SCENE_TABLE[] = "top_scene_table";
inline constexpr char TOP_SCENE_ID[] = "top_scene_id";
inline constexpr char BUNDLE_NAME[] = "bundle_name";
inline constexpr char APP_INTRA_SCENE_NAME[] = "app_intra_scene_name";
inline constexpr char DECAY_LAUNCHED_COUNT[] = "decay_launched_count";
inline constexpr char TOP_LEVEL[] = "top_level";
inline constexpr char IS_TOP_SCENE[] = "is_top_scene";
inline constexpr char IS_DELETED[] = "is_deleted";
inline constexpr char UNIQUE_CONSTRAINT[] = "unique_constraint";

}  // namespace ZYRA::ResourceSchedule
