// SPDX-License-Identifier: Apache-2.0
// Times and durations as logs write them.

#include "host/workload/date_time.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>

namespace ZYRA::Host {
namespace {

constexpr int64_t BAD = -1;

void ExpectNoTimes(std::initializer_list<const char*> texts) {
    for (const char* text : texts) {
        EXPECT_FALSE(ReadTimeMs(text, DateOrder::MONTH_FIRST).has_value()) << text;
        EXPECT_FALSE(ReadTimeMs(text, DateOrder::DAY_FIRST).has_value()) << text;
    }
}

TEST(DateTimeTest, TimesOfTexts) {
    const struct {
        const char* text;
        int64_t monthFirstMs;
        int64_t dayFirstMs;
    } rows[] = {
        // ISO 8601.
        {"2024-05-01 12:34", 1714566840000, 1714566840000},
        {"  2024-05-01T12:34:56\t", 1714566896000, 1714566896000},
        {"2024-05-01T12:34:56.789Z", 1714566896789, 1714566896789},
        {"2024-05-01 12:34:56,7", 1714566896700, 1714566896700},
        {"2024-05-01 12:34:56.7899999", 1714566896789, 1714566896789},
        {"2024-05-01T12:34:56+02:00", 1714559696000, 1714559696000},
        {"2024-05-01T12:34:56 -0530", 1714586696000, 1714586696000},
        {"2024-05-01T12:34+02", 1714559640000, 1714559640000},
        {"2024-5-1 9:05", 1714554300000, 1714554300000},
        {"2024-02-29 00:00:00", 1709164800000, 1709164800000},
        // Points, and the year first.
        {"01.05.2024 12:34", 1714566840000, 1714566840000},
        {"1.5.2024 12:34:56", 1714566896000, 1714566896000},
        {"2024/05/01 12:34", 1714566840000, 1714566840000},
        // Slashes: the order decides.
        {"05/01/2024 12:34", 1714566840000, 1704458040000},
        {"5/1/2024 1:05 PM", 1714568700000, 1704459900000},
        {"5/1/2024 1:05:06am", 1714525506000, 1704416706000},
        {"5/1/2024 12:00 AM", 1714521600000, 1704412800000},
        {"5/1/2024 12:00 PM", 1714564800000, 1704456000000},
        {"05/05/2024 00:00", 1714867200000, 1714867200000},
        {"13/05/2024 00:00", BAD, 1715558400000},
        {"05/13/2024 00:00", 1715558400000, BAD},
        // Since the epoch.
        {"1714566896", 1714566896000, 1714566896000},
        {"1714566896.789", 1714566896789, 1714566896789},
        {"1714566896.7", 1714566896700, 1714566896700},
        {"1714566896789", 1714566896789, 1714566896789},
        {"1714566896789.25", 1714566896789, 1714566896789},
        {"999999999", 999999999000, 999999999000},
        // The ends of what fits a scenario.
        {"1971-01-01 00:00:00", 31536000000, 31536000000},
        {"2285-12-31 23:59:59.999", 9972028799999, 9972028799999},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ReadTimeMs(row.text, DateOrder::MONTH_FIRST).value_or(BAD), row.monthFirstMs) << row.text;
        EXPECT_EQ(ReadTimeMs(row.text, DateOrder::DAY_FIRST).value_or(BAD), row.dayFirstMs) << row.text;
    }
    // No date with a time, no number of seconds or milliseconds, not in the calendar, or beyond the ends.
    ExpectNoTimes({"2024-05-01", "2024-05-01 ", "20240501", "202405011234", "-1714566896", "1714566896 s",
                   "9999999999999", "", "yesterday"});
    ExpectNoTimes({"20240501123456", "1714566896789000", "99999999999999999999999999", "1714566896,789"});
    ExpectNoTimes({"2024-02-31 00:00",     "2024-13-01 00:00",    "2024-00-01 00:00",    "2024-05-01 24:00",
                   "2024-05-01 12:60",     "2024-05-0112:34",     "2024-05-01T12:34X",   "2024-05/01 12:34",
                   "31.02.2024 12:34",     "01.13.2024 12:34",    "01.05.24 12:34",      "01.05/2024 12:34",
                   "2024/05-01 12:34",     "5/1/2024 13:05 PM",   "5/1/2024 0:05 AM",    "31/02/2024 00:00",
                   "0/5/2024 00:00",       "2023-02-29 00:00:00", "2024-05-01 12:34:60", "2024-05-01 12:34.5",
                   "2024-05-01 12:34:56.", "2024-05-01 12:34:5",  "2024-05-01 01:34 PM", "5/1/2024 12:00 p.m.",
                   "2286-01-01 00:00:00",  "9999-12-31 00:00:00"});
    ExpectNoTimes({"2024-05-01T12:34:56+2:00", "2024-05-01T12:34:56+02:60", "2024-05-01T12:34:56+19:00",
                   "1970-12-31 23:59:59.999", "1971-01-01 00:30:00+01:00"});
}

TEST(DateTimeTest, DurationsOfTexts) {
    const struct {
        const char* text;
        int64_t durationMs;
    } rows[] = {
        {"0", 0},
        {"90", 90000},
        {" 12.5 ", 12500},
        {"12.3456", 12345},
        {"1:30", 90000},
        {"90:00", 5400000},
        {"01:02:03", 3723000},
        {"1:02:03.5", 3723500},
        {"100:00:00", 360000000},
        {"2678400", 2678400000},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ReadDurationMs(row.text).value_or(BAD), row.durationMs) << row.text;
    }
    for (const char* text : {"2678401", "745:00:00", "", "-5", "1:60", "1:5", "1:02:60", "1:02:03:04", "1:", ":30",
                             "12,5", "1.", "5 min", "1h"}) {
        EXPECT_FALSE(ReadDurationMs(text).has_value()) << text;
    }
    EXPECT_FALSE(ReadDurationMs("99999999999999999999").has_value());
}

// The C library's calendar writes each form, ours reads it.
RC_GTEST_PROP(DateTimeTest, TimesComeBackFromEveryForm, ()) {
    const std::time_t timeS = *rc::gen::inRange<std::time_t>(31536000, 9972028800);
    std::tm parts{};
    RC_ASSERT(gmtime_r(&timeS, &parts) != nullptr);
    const struct {
        const char* format;
        DateOrder order;
    } forms[] = {
        {"%Y-%m-%d %H:%M:%S", DateOrder::MONTH_FIRST},    {"%Y-%m-%dT%H:%M:%SZ", DateOrder::MONTH_FIRST},
        {"%Y/%m/%d %H:%M:%S", DateOrder::DAY_FIRST},      {"%d.%m.%Y %H:%M:%S", DateOrder::MONTH_FIRST},
        {"%d/%m/%Y %H:%M:%S", DateOrder::DAY_FIRST},      {"%m/%d/%Y %H:%M:%S", DateOrder::MONTH_FIRST},
        {"%m/%d/%Y %I:%M:%S %p", DateOrder::MONTH_FIRST},
    };
    for (const auto& form : forms) {
        std::ostringstream text;
        text << std::put_time(&parts, form.format);
        RC_ASSERT(ReadTimeMs(text.str(), form.order) == std::optional<int64_t>(timeS * 1000));
    }
}

}  // namespace
}  // namespace ZYRA::Host
