// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ZYRA::ResourceSchedule {

// Scene names: keys of the top scenes, and paths of record files below the record directory. The bundle name is their
// only folder, so whatever follows must hold no "/".

// A part of a page scene's name without its slashes.
std::string WithoutSlashes(std::string text);

// The scene of an application's start.
std::string StartupSceneName(const std::string& bundleName);

// The scene of a page.
// REQUIRES: no "/" in the ability name and the page URL.
std::string PageSceneName(const std::string& bundleName, const std::string& abilityName, const std::string& pageUrl);

}  // namespace ZYRA::ResourceSchedule
