// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace ZYRA::ResourceSchedule {

// The content of a scene database, and what a training may make of it: told naively, and with a training that can stop,
// or be refused, between its transactions. They are
//   (1) the stored counts decay, the counted launches are added, and the temp table is emptied;
//   (2) the scenes of missing bundles are marked, each in a transaction of its own;
//   (3) all flags of top scenes are written;
//   (4) the history is written.

struct StoredScene {
    int64_t id;
    std::string bundle;
    std::string scene;
    int64_t launched;
    double decayed;
    bool isTop;
    bool isDeleted;

    std::string Name() const { return bundle + "/" + scene; }
    bool operator==(const StoredScene&) const = default;
};

struct LearningState {
    std::vector<std::pair<std::string, int64_t>> temp;  // In the order in which they are read.
    std::vector<StoredScene> scenes;                    // By id, which is also that order.
    int64_t trainTimes = 0;
    int64_t lastTrainTime = 0;

    bool operator==(const LearningState&) const = default;
};
// For the messages of failed tests.
void PrintTo(const LearningState& state, std::ostream* out);

// Opens the file, which must pass SQLite's check of its integrity, on the given VFS. Throws when it does not.
LearningState ReadState(const std::string& file, const char* vfs);

// What a training could be seen to do.
struct TrainingTraces {
    // Whether it said that it could not read all of the temp table, or all active scenes: it goes on with what it read.
    bool missedTempRows = false;
    bool missedScenes = false;
    std::optional<std::set<std::string>> published;
};

class TrainingModel {
public:
    TrainingModel(size_t topN, std::set<std::string> installed) : topN_(topN), installed_(std::move(installed)) {}

    // The state after a training that nothing disturbed, as the `trainTimes`-th, at `time`.
    LearningState Train(const LearningState& before, int64_t trainTimes, int64_t time) const;

    // What is wrong with `after`; empty when each transaction has been kept whole or not at all. `trained` is the
    // history that the training would have written.
    std::string Judge(const LearningState& before, const LearningState& after,
                      const std::pair<int64_t, int64_t>& trained, const TrainingTraces& traces) const;

    // Transaction (1), with the first `tempRows` of the temp table.
    static LearningState WithLaunches(LearningState state, size_t tempRows);
    // Whether both hold the same scenes with the same counts, whatever their flags.
    static bool HaveSameCounts(const LearningState& left, const LearningState& right);

private:
    // Transactions (2) and (3), with the first `seen` of the scenes that are not marked.
    struct Ranking {
        std::vector<int64_t> missing;  // Ids to be marked, in their order.
        std::set<int64_t> ranked;      // Ids of the scenes whose flags are written.
        std::set<int64_t> top;
        std::set<std::string> topNames;
    };
    Ranking Rank(const LearningState& state, size_t seen) const;
    std::string JudgeRanking(const LearningState& before, const LearningState& after, const Ranking& ranking,
                             const TrainingTraces& traces) const;

    const size_t topN_;
    const std::set<std::string> installed_;
};

}  // namespace ZYRA::ResourceSchedule
