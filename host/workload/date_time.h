// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ZYRA::Host {

// Which number comes first in a date with slashes whose year is last.
enum class DateOrder { DAY_FIRST, MONTH_FIRST };

// Reads a point in time; blanks around it are ignored. Returns milliseconds since the epoch, fractions of them cut off,
// or nothing for a text of another form or a time that there is not. These are the forms:
//   2024-05-01 12:34[:56[.789]]    or with T; then perhaps Z, +02:00, +0200 or +02, else the time is UTC
//   2024/05/01 12:34[:56]          UTC, as are those that follow
//   01.05.2024 12:34[:56]          the day first
//   01/05/2024 12:34[:56] [PM]     the day or the month first
//   1714566896[.789]               seconds since the epoch, of nine or ten digits
//   1714566896789                  milliseconds since the epoch, of thirteen digits
// Shorter and longer numbers are more likely to be something else, such as a date without its separators. So that
// every log fits a scenario, a time lies in the years from 1971 to 2285.
std::optional<int64_t> ReadTimeMs(std::string_view text, DateOrder order);

// Reads a duration, in seconds with or without a fraction, as MM:SS or as HH:MM:SS; blanks around it are ignored.
// Returns milliseconds, or nothing for another form or more than 31 days.
std::optional<int64_t> ReadDurationMs(std::string_view text);

}  // namespace ZYRA::Host
