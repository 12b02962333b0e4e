#pragma once

#include <string>

namespace ZYRA::ResourceSchedule {

// Learns which scenes are used most. For now it does not learn: nothing has been learned yet.
//
// Main queue only, except for HandleShutdownEvent, which may also come from the power manager's thread.
class TopSceneManager {
public:
    static TopSceneManager& GetInstance();

    TopSceneManager(const TopSceneManager&) = delete;
    TopSceneManager& operator=(const TopSceneManager&) = delete;

    // `romSize` is the size of the storage in GB.
    void Init(long romSize);
    void HandleSceneInEvent(const std::string& sceneName);
    void HandleShutdownEvent();
    void HandleScreenOffEvent();
    void HandleBundleStateChangeEvent(const std::string& bundleName, bool isInstalled);

private:
    TopSceneManager() = default;
};

}  // namespace ZYRA::ResourceSchedule
