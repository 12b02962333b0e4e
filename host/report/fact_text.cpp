// SPDX-License-Identifier: Apache-2.0
#include "host/report/fact_text.h"

#include <type_traits>
#include <variant>

#include "host/runtime/errno_names.h"

namespace ZYRA::Host {

std::string FaultText(const FaultEntry& fact) {
    std::string text = fact.operation + ' ' + fact.path + ':';
    text += fact.error != 0 ? std::string(" ") + ErrnoName(fact.error) : "";
    text += fact.isShort ? " short" : "";
    text += fact.delayUs != 0 ? " late" : "";
    return text;
}

std::string RefusedWriteText(const FileWriteEntry& fact) {
    return fact.path + ": " + (fact.isShort ? "short" : ErrnoName(fact.error));
}

std::string RefusedRequestText(const RefusedEntry& fact) {
    return std::to_string(fact.resType) + '/' + std::to_string(fact.value) + ' ' + fact.reason;
}

std::string FailedPrereadText(const PrereadEntry& fact) {
    const std::string without = "monitor " + std::to_string(fact.monitor) + " without a scene";
    return (fact.scene.empty() ? without : fact.scene) + ": " + fact.error;
}

std::string SysEventText(const SysEventEntry& fact) {
    std::string text = fact.name;
    for (const auto& [name, value] : fact.params) {
        text += ' ' + name + '=';
        std::visit(
            [&text](const auto& typed) {
                if constexpr (std::is_same_v<std::decay_t<decltype(typed)>, std::string>) {
                    text += typed;
                } else {
                    text += std::to_string(typed);
                }
            },
            value);
    }
    return text;
}

}  // namespace ZYRA::Host
