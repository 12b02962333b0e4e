#include "top_scene/top_scene_manager_rt.h"

namespace ZYRA::ResourceSchedule {

TopSceneManagerRt& TopSceneManagerRt::GetInstance() {
    static TopSceneManagerRt instance;
    return instance;
}

void TopSceneManagerRt::Init(int /*topNSceneNum*/) {}

bool TopSceneManagerRt::IsTopNScene(const std::string& /*sceneName*/) {
    return false;
}

void TopSceneManagerRt::UpdateTopNScene(std::unordered_set<std::string>& /*scenes*/) {}

}  // namespace ZYRA::ResourceSchedule
