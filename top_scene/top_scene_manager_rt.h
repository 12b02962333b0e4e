#pragma once

#include <string>
#include <unordered_set>

namespace ZYRA::ResourceSchedule {

// Tells whether a scene is among the most used ones. For now no set is kept: nothing has been learned yet.
//
// Main queue only.
class TopSceneManagerRt {
public:
    static TopSceneManagerRt& GetInstance();

    TopSceneManagerRt(const TopSceneManagerRt&) = delete;
    TopSceneManagerRt& operator=(const TopSceneManagerRt&) = delete;

    // `topNSceneNum` is how many scenes may be served at most.
    void Init(int topNSceneNum);
    // False for every scene until a set has been published.
    bool IsTopNScene(const std::string& sceneName);
    // Publishes a set, which is moved from.
    void UpdateTopNScene(std::unordered_set<std::string>& scenes);

private:
    TopSceneManagerRt() = default;
};

}  // namespace ZYRA::ResourceSchedule
