// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/scene_name.h"

#include <algorithm>

namespace ZYRA::ResourceSchedule {

std::string WithoutSlashes(std::string text) {
    std::replace(text.begin(), text.end(), '/', '.');
    return text;
}

// Page events come often: a name is made with one allocation.
std::string StartupSceneName(const std::string& bundleName) {
    std::string name;
    name.reserve(2 * bundleName.size() + 1);
    name.append(bundleName).append("/").append(bundleName);
    return name;
}

std::string PageSceneName(const std::string& bundleName, const std::string& abilityName, const std::string& pageUrl) {
    std::string name;
    name.reserve(bundleName.size() + abilityName.size() + pageUrl.size() + 2);
    name.append(bundleName).append("/").append(abilityName).append(".").append(pageUrl);
    return name;
}

}  // namespace ZYRA::ResourceSchedule
