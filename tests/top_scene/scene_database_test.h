// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/runtime/virtual_runtime.h"
#include "tests/top_scene/log_lines.h"
#include "tests/top_scene/raw_database.h"
#include "top_scene/top_scene_database.h"

namespace ZYRA::ResourceSchedule {

using Lines = std::vector<std::string>;

// The scene database in a folder that it makes itself.
class SceneDatabaseTest : public ::testing::Test {
protected:
    static constexpr int64_t START_S = 1750000000;
    static constexpr double FACTOR = 0.900324;
    static constexpr char FOLDER[] = "/data/learning/";
    static constexpr char FILE_NAME[] = "/data/learning/top_scene.db";
    static constexpr char TOP_ROWS[] =
        "SELECT bundle_name, app_intra_scene_name, launched_count, decay_launched_count, is_top_scene, is_deleted "
        "FROM top_scene_table ORDER BY 1, 2";
    static constexpr char TEMP_ROWS[] = "SELECT scene_name, launched_count FROM temp_scene_table ORDER BY 1";

    void SetUp() override { Host::TaskRuntime::Install(runtime_); }
    void TearDown() override { Host::TaskRuntime::InstallDefault(); }

    TopSceneDatabase& Open(const char* folder = FOLDER) {
        database_.reset();
        database_ = std::make_unique<TopSceneDatabase>("top_scene.db", folder);
        return *database_;
    }
    static RawDatabase Raw() { return RawDatabase(FILE_NAME); }
    static ValuesBucket OneColumn() {
        ValuesBucket values;
        values.Put("launched_count", 1);
        return values;
    }

    Host::VirtualRuntime runtime_{START_S};
    LogLines logs_;
    std::unique_ptr<TopSceneDatabase> database_;

    // What the operations give.
    std::vector<ValuesBucket> rows_;
    std::vector<TempSceneRecord> tempScenes_;
    std::vector<TopSceneRecord> topScenes_;
    int times_ = -7;
    long time_ = -8;
};

}  // namespace ZYRA::ResourceSchedule
