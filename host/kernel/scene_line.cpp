// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/scene_line.h"

#include "host/kernel/control_text.h"

namespace ZYRA::Host {

namespace {

// Takes the text up to the next blank, and the blank.
std::string_view TakeField(std::string_view& text) {
    const size_t blank = text.find(' ');
    const std::string_view field = text.substr(0, blank);
    text.remove_prefix(blank == std::string_view::npos ? text.size() : blank + 1);
    return field;
}

bool IsPathOf(std::string_view path, std::string_view scene) {
    return path.substr(RECORD_DIRECTORY.size()) == scene;
}

}  // namespace

std::optional<SceneLine> ParseSceneLine(std::string_view text) {
    const std::optional<int32_t> uid = ParseNumber<int32_t>(TakeField(text));
    const std::optional<int32_t> pid = ParseNumber<int32_t>(TakeField(text));
    if (!uid || !pid || *pid < 0) {
        return std::nullopt;
    }
    const std::string separator = " " + std::string(RECORD_DIRECTORY);
    std::optional<SceneLine> line;
    for (size_t at = text.find(separator, 1); at != std::string_view::npos; at = text.find(separator, at + 1)) {
        const std::string_view scene = text.substr(0, at);
        const std::string_view path = text.substr(at + 1);
        if (path.size() == RECORD_DIRECTORY.size()) {
            continue;
        }
        const bool exact = IsPathOf(path, scene);
        if (!line || exact) {
            line = SceneLine{*uid, *pid, std::string(scene), std::string(path)};
        }
        if (exact) {
            break;
        }
    }
    return line;
}

}  // namespace ZYRA::Host
