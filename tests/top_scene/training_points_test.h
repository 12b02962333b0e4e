// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "tests/support/fault_vfs.h"
#include "tests/top_scene/learning_test.h"
#include "tests/top_scene/training_model.h"

namespace ZYRA::ResourceSchedule {

// Under a sanitizer a point costs many times as much, so only every so many are tried.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr uint64_t POINT_STRIDE = 13;
#else
inline constexpr uint64_t POINT_STRIDE = 1;
#endif

// Trainings of one prepared database, each disturbed at another point. The tables are of several pages, some of the
// scenes belong to a bundle that is not installed, and no two counts are equal.
class TrainingPointsTest : public LearningTest {
protected:
    static constexpr int TOP_N = 100;
    static constexpr int TRAIN_TIMES = 3;

    void SetUp() override {
        vfs_.Disarm();
        LearningTest::SetUp();
        SetDevice(TOP_N, INSTALLED);
        Start();
        Sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
            "INSERT INTO top_scene_table SELECT i, CASE WHEN i % 90 = 7 THEN 'gone' ELSE 'com.example.app' || (i % 5) "
            "END,"
            "'EntryAbility.pages.feature.number' || i, i % 4, (i * 7919 % 1000) + i * 0.0007, 0, i % 50 = 0 FROM n");
        Sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 120) "
            "INSERT INTO temp_scene_table SELECT CASE WHEN i % 30 = 9 THEN 'gone/' ELSE 'com.example.app' || (i * 3 % "
            "5) "
            "|| '/' END || 'EntryAbility.pages.feature.number' || (i * 3), i + 200 FROM n");
        Sql("UPDATE train_history_table SET train_times = " + std::to_string(TRAIN_TIMES));
        // Started once more, it has stored whom it takes for top.
        Start();
        CloseDatabase();
        prepared_ = ReadBytes(DATABASE);
        before_ = ReadState(DATABASE, Host::FaultVfs::RealName());
        std::set<double> counts;
        for (const StoredScene& scene : model_.Train(before_, 0, 0).scenes) {
            ASSERT_TRUE(counts.insert(scene.decayed).second) << "the ranking must not be left a choice";
        }
        ASSERT_GT(prepared_.size(), 4096u * 10);
    }

    // Brings the prepared file back, opens it as the plugin does when it starts, and lets a training be due.
    void StartPoint() {
        CloseDatabase();
        std::filesystem::remove(JOURNAL);
        std::ofstream(DATABASE, std::ios::binary | std::ios::trunc) << prepared_;
        Start();
        PassSeconds(240);
        callback_->published.reset();
    }
    int64_t Now() const { return runtime_.WallClockUs() / 1000000; }
    std::pair<int64_t, int64_t> TrainedHistory() const { return {TRAIN_TIMES + 1, Now()}; }

    // The state that a start would find now: that of a copy of the file with its journal, whatever the open connection
    // still holds.
    LearningState StateOnDisk() const {
        const std::string copy = "/data/copy.db";
        std::filesystem::remove(copy + "-journal");
        std::filesystem::copy_file(DATABASE, copy, std::filesystem::copy_options::overwrite_existing);
        if (std::filesystem::exists(JOURNAL)) {
            std::filesystem::copy_file(JOURNAL, copy + "-journal");
        }
        return ReadState(copy, Host::FaultVfs::RealName());
    }
    void Report(const std::string& name, uint64_t points) {
        std::cout << "tried: " << name << ", " << points << " points\n";
        RecordProperty(name, std::to_string(points));
    }

    static constexpr char JOURNAL[] = "/data/service/el1/public/ressched/top_scene.db-journal";
    static inline const std::vector<std::string> INSTALLED = {
        "com.example.app0", "com.example.app1", "com.example.app2", "com.example.app3", "com.example.app4"};

    Host::FaultVfs& vfs_ = Host::FaultVfs::Install();
    const TrainingModel model_{TOP_N, {INSTALLED.begin(), INSTALLED.end()}};
    std::string prepared_;
    LearningState before_;

private:
    static std::string ReadBytes(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
};

}  // namespace ZYRA::ResourceSchedule
