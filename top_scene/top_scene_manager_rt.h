// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

namespace ZYRA::ResourceSchedule {

// Tells whether a scene is among the most used ones: the set of the last training, and, for as long as there is room
// beside it, the scenes that are asked for first.
//
// Main queue only: both the pages that ask and the publication run there.
class TopSceneManagerRt {
public:
    static TopSceneManagerRt& GetInstance();

    TopSceneManagerRt(const TopSceneManagerRt&) = delete;
    TopSceneManagerRt& operator=(const TopSceneManagerRt&) = delete;

    // `topNSceneNum` is how many scenes may be served at most.
    void Init(int topNSceneNum);
    // False for every scene until a set has been published. A scene that finds room is admitted until the next
    // publication.
    bool IsTopNScene(const std::string& sceneName);
    // Publishes a set, which is moved from, and forgets the scenes that were admitted.
    void UpdateTopNScene(std::unordered_set<std::string>& scenes);

private:
    TopSceneManagerRt() = default;

    bool Admit(const std::string& sceneName);

    bool isTrained_ = false;
    int32_t cacheTopNSceneNum_ = 500;
    std::unordered_set<std::string> cacheTopNScenes_;
    std::unordered_set<std::string> newTopNScenes_;
};

}  // namespace ZYRA::ResourceSchedule
