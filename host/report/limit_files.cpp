// SPDX-License-Identifier: Apache-2.0
#include "host/report/limit_files.h"

#include "host/kernel/control_text.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view ROOT = "/dev/iolimit/";

}  // namespace

std::string_view LimitGroupOf(std::string_view path, std::string_view file) {
    if (path.size() <= ROOT.size() + file.size() || !path.starts_with(ROOT) || !path.ends_with(file)) {
        return "";
    }
    path.remove_prefix(ROOT.size());
    return path.substr(0, path.size() - file.size());
}

std::optional<LimitSwitch> SwitchedBy(const FileWriteEntry& fact) {
    const std::string_view group = LimitGroupOf(fact.path, LIMIT_GROUP_SWITCH);
    const auto command = CommandText(fact.content);
    if (group.empty() || !fact.IsAccepted() || !command) {
        return std::nullopt;
    }
    return LimitSwitch{group, *command == "1"};
}

}  // namespace ZYRA::Host
