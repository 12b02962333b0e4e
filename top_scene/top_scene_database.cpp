#include "top_scene/top_scene_database.h"

namespace ZYRA::ResourceSchedule {

bool TopSceneDatabase::ParseSceneName(const std::string& sceneName, std::string& bundleName,
                                      std::string& appIntraSceneName) {
    const size_t slash = sceneName.find('/');
    if (slash == std::string::npos) {
        return false;
    }
    bundleName = sceneName.substr(0, slash);
    appIntraSceneName = sceneName.substr(slash + 1);
    return true;
}

}  // namespace ZYRA::ResourceSchedule
