// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ZYRA::Host {

// The names, in a log's header line, of the columns that are read.
struct UsageColumns {
    std::string app;
    std::string time;
    std::optional<std::string> duration;
    std::optional<std::string> page;
};

// Reads "app=NAME,time=NAME[,duration=NAME][,page=NAME]", in any order; a part without "=" continues the name before
// it, which may hold commas so. On failure returns nothing and fills `what`.
std::optional<UsageColumns> ParseUsageColumns(std::string_view text, std::string& what);

}  // namespace ZYRA::Host
