#pragma once

#include <string>

namespace ZYRA::ResourceSchedule {

// The store of what is known about scenes. For now it only knows their names: nothing has been learned yet.
class TopSceneDatabase {
public:
    // Splits a scene name at its first "/" into the bundle name and the scene inside the application, either of which
    // may be empty. Returns false, and leaves both as they were, for a name without "/". Any thread.
    static bool ParseSceneName(const std::string& sceneName, std::string& bundleName, std::string& appIntraSceneName);
};

}  // namespace ZYRA::ResourceSchedule
