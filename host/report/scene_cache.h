// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace ZYRA::Host {

// What the set of top scenes is measured against: sets of at most as many scenes, kept up to date with every opening.

enum class SceneRanking {
    RECENCY,    // Holds the scenes opened last.
    FREQUENCY,  // Holds the scenes opened most often so far; among equals those opened last.
};

// The best scenes by a rank that only an opening of the scene changes, and only upwards. Not thread-safe.
class SceneCache {
public:
    explicit SceneCache(SceneRanking ranking) : ranking_(ranking) {}

    // How many scenes it holds at most. A smaller number drops the worst, a larger one takes the best of the others in.
    void SetCapacity(size_t capacity);

    bool Holds(const std::string& scene) const;
    void Open(const std::string& scene);

    // How many times a scene has come in or gone out.
    uint64_t Changes() const { return changes_; }

private:
    // Openings by which the scene ranks, and the number of the last of them, which is different for each scene.
    using Rank = std::pair<uint64_t, uint64_t>;
    using Ranked = std::map<Rank, std::string>;

    // Makes the held scenes the best again.
    void Balance();

    const SceneRanking ranking_;
    size_t capacity_ = 0;
    uint64_t openings_ = 0;
    uint64_t changes_ = 0;
    std::map<std::string, Rank> ranks_;
    Ranked held_;
    Ranked others_;
};

}  // namespace ZYRA::Host
