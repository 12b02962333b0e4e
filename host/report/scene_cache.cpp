// SPDX-License-Identifier: Apache-2.0
#include "host/report/scene_cache.h"

#include <iterator>

namespace ZYRA::Host {

void SceneCache::SetCapacity(size_t capacity) {
    capacity_ = capacity;
    Balance();
}

bool SceneCache::Holds(const std::string& scene) const {
    const auto rank = ranks_.find(scene);
    return rank != ranks_.end() && held_.contains(rank->second);
}

void SceneCache::Open(const std::string& scene) {
    Rank& rank = ranks_[scene];
    Ranked& home = held_.contains(rank) ? held_ : others_;
    home.erase(rank);
    rank = {ranking_ == SceneRanking::FREQUENCY ? rank.first + 1 : 0, ++openings_};
    home.emplace(rank, scene);
    Balance();
}

void SceneCache::Balance() {
    const auto move = [this](Ranked& from, Ranked::iterator which, Ranked& to) {
        to.insert(from.extract(which));
        ++changes_;
    };
    while (held_.size() > capacity_) {
        move(held_, held_.begin(), others_);
    }
    while (held_.size() < capacity_ && !others_.empty()) {
        move(others_, std::prev(others_.end()), held_);
    }
    while (!held_.empty() && !others_.empty() && held_.begin()->first < others_.rbegin()->first) {
        move(held_, held_.begin(), others_);
        move(others_, std::prev(others_.end()), held_);
    }
}

}  // namespace ZYRA::Host
