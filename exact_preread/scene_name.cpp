#include "exact_preread/scene_name.h"

#include <algorithm>

namespace ZYRA::ResourceSchedule {

std::string WithoutSlashes(std::string text) {
    std::replace(text.begin(), text.end(), '/', '.');
    return text;
}

std::string StartupSceneName(const std::string& bundleName) {
    return bundleName + "/" + bundleName;
}

std::string PageSceneName(const std::string& bundleName, const std::string& abilityName, const std::string& pageUrl) {
    return bundleName + "/" + abilityName + "." + pageUrl;
}

}  // namespace ZYRA::ResourceSchedule
