// SPDX-License-Identifier: Apache-2.0
// The ranking on random tables, by way of the trainings and the starts that use it, against what can be said of it
// without sorting: how many are in, that no scene outside counts for more than one inside, and who left.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/top_scene/learning_test.h"
#include "tests/top_scene/training_model.h"

namespace ZYRA::ResourceSchedule {
namespace {

using Names = std::set<std::string>;

const std::vector<std::string> BUNDLES = {"a", "b", "gone"};

class RankingPropertyTest : public LearningTest {
protected:
    // A table of at most 36 scenes with few different counts, so that many are equal, and launches of them and others.
    static LearningState AnyTable() {
        const auto anyNames = rc::gen::container<std::set<std::pair<size_t, int>>>(
            rc::gen::pair(rc::gen::inRange<size_t>(0, BUNDLES.size()), rc::gen::inRange(0, 12)));
        LearningState table;
        for (const auto& [bundle, scene] : *anyNames) {
            table.scenes.push_back({static_cast<int64_t>(table.scenes.size()) + 1, BUNDLES[bundle],
                                    std::to_string(scene), *rc::gen::element(0, 0, 1, 2, 50),
                                    *rc::gen::element(0.0, 0.5, 1.0, 2.0, 2.5), *rc::gen::arbitrary<bool>(),
                                    *rc::gen::weightedElement<bool>({{4, false}, {1, true}})});
        }
        for (const auto& [bundle, scene] : *anyNames) {
            table.temp.emplace_back(BUNDLES[bundle] + "/" + std::to_string(scene), *rc::gen::inRange(1, 3));
        }
        return table;
    }
    static void Store(const LearningState& table) {
        std::string sql = "DELETE FROM top_scene_table; DELETE FROM temp_scene_table;";
        for (const StoredScene& scene : table.scenes) {
            sql += "INSERT INTO top_scene_table VALUES (" + std::to_string(scene.id) + ", '" + scene.bundle + "', '" +
                   scene.scene + "', " + std::to_string(scene.launched) + ", " + std::to_string(scene.decayed) + ", " +
                   std::to_string(scene.isTop) + ", " + std::to_string(scene.isDeleted) + ");";
        }
        for (const auto& [name, launched] : table.temp) {
            sql += "INSERT INTO temp_scene_table VALUES ('" + name + "', " + std::to_string(launched) + ");";
        }
        Sql(sql);
    }

    // The scenes that can be in a set, and the names of the others.
    static std::pair<std::vector<StoredScene>, Names> Split(const LearningState& table, const std::string& missing) {
        std::pair<std::vector<StoredScene>, Names> parts;
        for (const StoredScene& scene : table.scenes) {
            if (scene.isDeleted || scene.bundle == missing) {
                parts.second.insert(scene.Name());
            } else {
                parts.first.push_back(scene);
            }
        }
        return parts;
    }

    // What must hold of the set chosen from the `active` scenes, which are given with their flags of before.
    static void CheckSet(const std::vector<StoredScene>& active, size_t topN, const Names& set) {
        size_t eligible = 0;
        double leastInside = 1e9;
        double mostOutside = -1;
        size_t inside = 0;
        for (const StoredScene& scene : active) {
            const bool isIn = set.contains(scene.Name());
            inside += isIn ? 1 : 0;
            if (scene.launched < 1) {
                RC_ASSERT(!isIn);
                continue;
            }
            ++eligible;
            if (isIn) {
                leastInside = std::min(leastInside, scene.decayed);
            } else {
                mostOutside = std::max(mostOutside, scene.decayed);
            }
        }
        RC_ASSERT(set.size() == std::min(eligible, topN));
        RC_ASSERT(inside == set.size());
        RC_ASSERT(mostOutside <= leastInside);
    }
    // The flags of the scenes are those of the set, and those of the others are what they were.
    static void CheckFlags(const std::vector<StoredScene>& before, const Names& set, const Names& others) {
        std::map<std::string, bool> was;
        for (const StoredScene& scene : before) {
            was[scene.Name()] = scene.isTop;
        }
        for (const StoredScene& scene : ReadState(DATABASE, nullptr).scenes) {
            RC_ASSERT(scene.isTop == (others.contains(scene.Name()) ? was[scene.Name()] : set.contains(scene.Name())));
        }
    }
};

RC_GTEST_FIXTURE_PROP(RankingPropertyTest, StartPublishesTheBestOfTheActiveScenes, ()) {
    const LearningState table = AnyTable();
    const auto topN = *rc::gen::inRange<size_t>(1, table.scenes.size() + 4);
    SetDevice(static_cast<int>(topN), {"a", "b"});
    Start();
    Store(table);
    callback_->decayed.reset();
    Start();
    const auto [active, others] = Split(table, "");
    RC_ASSERT(callback_->published.has_value());
    CheckSet(active, topN, *callback_->published);
    CheckFlags(table.scenes, *callback_->published, others);
    RC_ASSERT(!callback_->decayed.has_value());
}

RC_GTEST_FIXTURE_PROP(RankingPropertyTest, TrainingPublishesTheBestAndNamesThoseThatLeft, ()) {
    const LearningState table = AnyTable();
    RC_PRE(!table.temp.empty());
    const auto topN = *rc::gen::inRange<size_t>(1, table.scenes.size() + 4);
    SetDevice(static_cast<int>(topN), {"a", "b"});
    Start();
    Store(table);
    PassSeconds(24 * 3600);
    ScreenOff();

    const LearningState stored = ReadState(DATABASE, nullptr);
    const LearningState expected = TrainingModel::WithLaunches(table, table.temp.size());
    RC_ASSERT(TrainingModel::HaveSameCounts(stored, expected));
    const auto [active, others] = Split(expected, "gone");
    for (const StoredScene& scene : stored.scenes) {
        RC_ASSERT(scene.isDeleted == others.contains(scene.Name()));
    }
    RC_ASSERT(callback_->published.has_value());
    CheckSet(active, topN, *callback_->published);
    CheckFlags(expected.scenes, *callback_->published, others);

    Names left;
    for (const StoredScene& scene : active) {
        if (scene.isTop && !callback_->published->contains(scene.Name())) {
            left.insert(scene.Name());
        }
    }
    RC_ASSERT(callback_->decayed.has_value());
    RC_ASSERT(callback_->decayed->size() == left.size());
    RC_ASSERT(Names(callback_->decayed->begin(), callback_->decayed->end()) == left);
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
