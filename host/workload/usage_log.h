// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/replay/input_error.h"
#include "host/workload/usage_columns.h"

namespace ZYRA::Host {

// Somebody turned to an application.
struct UsageRow {
    int64_t timeMs;                     // Since the epoch.
    std::optional<int64_t> durationMs;  // How long it was used.
    std::string app;                    // What the log calls it; not empty.
    std::string page;                   // Its page that was used, empty if the log does not say.
};

struct UsageLog {
    std::vector<UsageRow> rows;       // In the order of their times.
    std::vector<InputError> badRows;  // Those that cannot be used, in the order of the file, and why.
    std::vector<std::string> notes;   // What had to be assumed.
    size_t rowsRead = 0;
};

// Reads a log of how a device was used: CSV with a header line, then a row each time somebody turns to an application.
// A row that cannot be read is among the bad ones. `file` names the text in errors.
// Without the columns, or without a good row, returns false and fills `error`; what is known of the rows by then is
// in `log` all the same.
bool ParseUsageLog(const std::string& file, std::string_view text, const UsageColumns& columns, UsageLog& log,
                   InputError& error);

}  // namespace ZYRA::Host
