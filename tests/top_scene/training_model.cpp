// SPDX-License-Identifier: Apache-2.0
#include "tests/top_scene/training_model.h"

#include <sqlite3.h>

#include <algorithm>
#include <iterator>
#include <ostream>
#include <stdexcept>

#include "tests/top_scene/raw_database.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr double FACTOR = 0.900324;

size_t CountActive(const LearningState& state) {
    return static_cast<size_t>(std::count_if(state.scenes.begin(), state.scenes.end(),
                                             [](const StoredScene& scene) { return !scene.isDeleted; }));
}

}  // namespace

void PrintTo(const LearningState& state, std::ostream* out) {
    *out << state.temp.size() << " launched, " << state.trainTimes << " trainings, the last at " << state.lastTrainTime;
    for (const StoredScene& scene : state.scenes) {
        *out << "\n"
             << scene.id << " " << scene.Name() << " " << scene.launched << " " << scene.decayed
             << (scene.isTop ? " top" : "") << (scene.isDeleted ? " deleted" : "");
    }
}

LearningState ReadState(const std::string& file, const char* vfs) {
    RawDatabase database(file, vfs);
    if (const auto check = database.Rows("PRAGMA integrity_check"); check != std::vector<std::string>{"ok"}) {
        throw std::runtime_error("integrity check: " + check.front());
    }
    LearningState state;
    database.ForEachRow("SELECT scene_name, launched_count FROM temp_scene_table", [&state](sqlite3_stmt* row) {
        state.temp.emplace_back(RawDatabase::Text(row, 0), sqlite3_column_int64(row, 1));
    });
    database.ForEachRow("SELECT * FROM top_scene_table ORDER BY top_scene_id", [&state](sqlite3_stmt* row) {
        state.scenes.push_back({sqlite3_column_int64(row, 0), RawDatabase::Text(row, 1), RawDatabase::Text(row, 2),
                                sqlite3_column_int64(row, 3), sqlite3_column_double(row, 4),
                                sqlite3_column_int(row, 5) != 0, sqlite3_column_int(row, 6) != 0});
    });
    database.ForEachRow("SELECT train_times, last_train_time FROM train_history_table", [&state](sqlite3_stmt* row) {
        state.trainTimes = sqlite3_column_int64(row, 0);
        state.lastTrainTime = sqlite3_column_int64(row, 1);
    });
    return state;
}

LearningState TrainingModel::WithLaunches(LearningState state, size_t tempRows) {
    for (StoredScene& scene : state.scenes) {
        scene.decayed *= FACTOR;
    }
    int64_t lastId = state.scenes.empty() ? 0 : state.scenes.back().id;
    for (size_t row = 0; row < tempRows; ++row) {
        const std::string& name = state.temp[row].first;
        const int64_t launched = state.temp[row].second;
        const size_t slash = name.find('/');
        if (slash == std::string::npos) {
            continue;
        }
        auto scene = std::find_if(state.scenes.begin(), state.scenes.end(),
                                  [&](const StoredScene& candidate) { return candidate.Name() == name; });
        if (scene == state.scenes.end()) {
            state.scenes.push_back({++lastId, name.substr(0, slash), name.substr(slash + 1), 0, 0, false, false});
            scene = std::prev(state.scenes.end());
        }
        scene->launched += launched;
        scene->decayed += static_cast<double>(launched);
    }
    state.temp.clear();
    return state;
}

bool TrainingModel::HaveSameCounts(const LearningState& left, const LearningState& right) {
    return std::equal(left.scenes.begin(), left.scenes.end(), right.scenes.begin(), right.scenes.end(),
                      [](const StoredScene& one, const StoredScene& other) {
                          return one.id == other.id && one.Name() == other.Name() && one.launched == other.launched &&
                                 one.decayed == other.decayed;
                      });
}

TrainingModel::Ranking TrainingModel::Rank(const LearningState& state, size_t seen) const {
    Ranking ranking;
    std::vector<StoredScene> candidates;
    for (const StoredScene& scene : state.scenes) {
        if (scene.isDeleted || seen == 0) {
            continue;
        }
        --seen;
        if (!installed_.contains(scene.bundle)) {
            ranking.missing.push_back(scene.id);
            continue;
        }
        ranking.ranked.insert(scene.id);
        if (scene.launched >= 1) {
            candidates.push_back(scene);
        }
    }
    std::sort(candidates.begin(), candidates.end(),
              [](const StoredScene& left, const StoredScene& right) { return left.decayed > right.decayed; });
    candidates.resize(std::min(candidates.size(), topN_));
    for (const StoredScene& scene : candidates) {
        ranking.top.insert(scene.id);
        ranking.topNames.insert(scene.Name());
    }
    return ranking;
}

LearningState TrainingModel::Train(const LearningState& before, int64_t trainTimes, int64_t time) const {
    LearningState after = WithLaunches(before, before.temp.size());
    const Ranking ranking = Rank(after, after.scenes.size());
    for (StoredScene& scene : after.scenes) {
        if (ranking.ranked.contains(scene.id)) {
            scene.isTop = ranking.top.contains(scene.id);
        } else {
            scene.isDeleted = true;
        }
    }
    after.trainTimes = trainTimes;
    after.lastTrainTime = time;
    return after;
}

std::string TrainingModel::Judge(const LearningState& before, const LearningState& after,
                                 const std::pair<int64_t, int64_t>& trained, const TrainingTraces& traces) const {
    if (!traces.published.has_value()) {
        // Without a row there is no training.
        return !traces.missedTempRows ? "no training, and no reason given" : after == before ? "" : "changed untrained";
    }
    const std::pair<int64_t, int64_t> history = {after.trainTimes, after.lastTrainTime};
    if (history != trained && history != std::pair(before.trainTimes, before.lastTrainTime)) {
        return "the history is neither old nor new";
    }
    // The first transaction decides what the others worked on.
    LearningState counted = before;
    if (!HaveSameCounts(before, after) || before.temp != after.temp) {
        size_t rows = traces.missedTempRows ? 1 : before.temp.size();
        while (rows <= before.temp.size() && !HaveSameCounts(counted = WithLaunches(before, rows), after)) {
            ++rows;
        }
        if (rows > before.temp.size() || !after.temp.empty()) {
            return "the counts and the temp table are neither old nor new";
        }
    }
    const size_t active = CountActive(counted);
    std::string verdict;
    for (size_t seen = traces.missedScenes ? 0 : active; seen <= active; ++seen) {
        verdict = JudgeRanking(counted, after, Rank(counted, seen), traces);
        if (verdict.empty()) {
            break;
        }
    }
    return verdict;
}

std::string TrainingModel::JudgeRanking(const LearningState& before, const LearningState& after, const Ranking& ranking,
                                        const TrainingTraces& traces) const {
    std::vector<int64_t> marked;
    bool areOld = true;
    bool areNew = true;
    for (size_t index = 0; index < before.scenes.size(); ++index) {
        const StoredScene& was = before.scenes[index];
        const StoredScene& is = after.scenes[index];
        if (is.isDeleted != was.isDeleted) {
            marked.push_back(is.id);
        }
        areOld = areOld && is.isTop == was.isTop;
        areNew = areNew && is.isTop == (ranking.ranked.contains(is.id) ? ranking.top.contains(is.id) : was.isTop);
    }
    // The marks are set one after the other, up to the first that fails.
    if (marked.size() > ranking.missing.size() || !std::equal(marked.begin(), marked.end(), ranking.missing.begin())) {
        return "other scenes are marked than those of missing bundles";
    }
    if (!areOld && !areNew) {
        return "the flags of top scenes are neither old nor new";
    }
    if (*traces.published != ranking.topNames) {
        return "another set is published than the ranking's";
    }
    return "";
}

}  // namespace ZYRA::ResourceSchedule
