// SPDX-License-Identifier: Apache-2.0
#include "host/workload/usage_columns.h"

#include <algorithm>
#include <array>
#include <map>

#include "host/replay/printable.h"
#include "host/workload/csv_reader.h"

namespace ZYRA::Host {

namespace {

constexpr std::array<std::string_view, 4> COLUMN_KEYS = {"app", "time", "duration", "page"};

}  // namespace

std::optional<UsageColumns> ParseUsageColumns(std::string_view text, std::string& what) {
    std::map<std::string, std::string, std::less<>> names;
    std::string* last = nullptr;
    for (bool isMore = true; isMore;) {
        const size_t length = std::min(text.find(','), text.size());
        const std::string_view part = text.substr(0, length);
        isMore = length < text.size();
        text.remove_prefix(isMore ? length + 1 : length);
        const size_t equals = part.find('=');
        if (equals == std::string_view::npos && last != nullptr) {
            last->append(",").append(part);
            continue;
        }
        const std::string key(Trimmed(part.substr(0, std::min(equals, part.size()))));
        if (equals == std::string_view::npos ||
            std::find(COLUMN_KEYS.begin(), COLUMN_KEYS.end(), key) == COLUMN_KEYS.end()) {
            what = Quoted(part) + " is none of app=NAME, time=NAME, duration=NAME, page=NAME";
            return std::nullopt;
        }
        const auto [name, isNew] = names.emplace(key, part.substr(equals + 1));
        if (!isNew) {
            what = key + " is given twice";
            return std::nullopt;
        }
        last = &name->second;
    }
    const auto nameOf = [&names](std::string_view key) -> std::optional<std::string> {
        const auto name = names.find(key);
        return name == names.end() ? std::nullopt : std::optional(std::string(Trimmed(name->second)));
    };
    const auto app = nameOf("app");
    const auto time = nameOf("time");
    if (!app || !time) {
        what = "needs app=NAME and time=NAME";
        return std::nullopt;
    }
    return UsageColumns{*app, *time, nameOf("duration"), nameOf("page")};
}

}  // namespace ZYRA::Host
