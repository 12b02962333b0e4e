// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ZYRA::Host {

// All record files stand below this folder.
constexpr std::string_view RECORD_DIRECTORY = "/data/service/el1/public/ressched/workingset/";

// A scene as a monitor is told of it. `pid` is 0 for a scene whose process does not exist yet.
struct SceneLine {
    int32_t uid;
    int32_t pid;
    std::string scene;
    std::string recordPath;
};

// Reads `uid pid sceneName recordPath`, one blank between them. Scene names may hold blanks: the path begins at the
// record directory, and where that could be at several places, at the one that makes it the directory and the scene's
// name.
std::optional<SceneLine> ParseSceneLine(std::string_view text);

}  // namespace ZYRA::Host
