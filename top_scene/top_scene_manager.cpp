#include "top_scene/top_scene_manager.h"

namespace ZYRA::ResourceSchedule {

TopSceneManager& TopSceneManager::GetInstance() {
    static TopSceneManager instance;
    return instance;
}

void TopSceneManager::Init(long /*romSize*/) {}

void TopSceneManager::HandleSceneInEvent(const std::string& /*sceneName*/) {}

void TopSceneManager::HandleShutdownEvent() {}

void TopSceneManager::HandleScreenOffEvent() {}

void TopSceneManager::HandleBundleStateChangeEvent(const std::string& /*bundleName*/, bool /*isInstalled*/) {}

}  // namespace ZYRA::ResourceSchedule
