// SPDX-License-Identifier: Apache-2.0
// Logs of how a device was used: which rows are taken, and what is said of the others.

#include "host/workload/usage_log.h"

#include <gtest/gtest.h>

#include <string>

namespace ZYRA::Host {
namespace {

const UsageColumns COLUMNS = {"app", "time", "duration", "page"};
const UsageColumns LEAST_COLUMNS = {"app", "time", std::nullopt, std::nullopt};

// The whole result as lines: the rows, then what is said.
std::string Told(const std::string& text, const UsageColumns& columns = COLUMNS) {
    UsageLog log;
    InputError error;
    const bool isUsable = ParseUsageLog("l.csv", text, columns, log, error);
    std::string told;
    for (const UsageRow& row : log.rows) {
        told += std::to_string(row.timeMs / 1000) + " " + row.app;
        told += row.durationMs ? " for " + std::to_string(*row.durationMs) : "";
        told += (row.page.empty() ? "" : " at " + row.page) + "\n";
    }
    for (const InputError& badRow : log.badRows) {
        told += badRow.Text() + "\n";
    }
    for (const std::string& note : log.notes) {
        told += note + "\n";
    }
    EXPECT_EQ(log.rowsRead, log.rows.size() + log.badRows.size()) << text;
    return told + (isUsable ? "" : error.Text() + "\n");
}

TEST(UsageLogTest, HeadersWithoutTheColumnsAreRefused) {
    const struct {
        const char* text;
        const char* told;
    } rows[] = {
        {"", "l.csv: holds no header line\n"},
        {"\n\n", "l.csv: holds no header line\n"},
        {"\n\"app\n", "l.csv:2: a quoted column name never ends\n"},
        {"App;Time\n", "l.csv:1: has no column \"app\"; there are \"App\", \"Time\"\n"},
        {"app,time,\x1b[1m,duration\n",
         "l.csv:1: has no column \"page\"; there are \"app\", \"time\", \"\\u001b[1m\", \"duration\"\n"},
        {"app,time,duration,page,time\n", "l.csv:1: has two columns \"time\"\n"},
        {" app ,time,duration,page\n", "l.csv: holds no row that can be used\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Told(row.text), row.told) << row.text;
    }
}

TEST(UsageLogTest, RowsAreTakenOrNamedAsBad) {
    EXPECT_EQ(Told("time;duration;other;app;page\n"
                   "1700000000;1:30;x; Mail ;pages/Inbox\n"
                   "1700000100;;x;\"Ma\"\"ps;\";\n"
                   "1700000200;5;x;Mail\n"
                   "soon;5;x;Mail;\n"
                   "1700000300;long;x;Mail;\n"
                   "1700000400;5;x; ;\n"
                   "1700000500;5;x;Mail;\"a\tb\"\n"
                   "1700000600;5;x;Mail;\xFF\n"
                   "\"1700000\n700\x07\";5;x;Mail;\n"
                   "1700000800;5;x;Chat;;more\n"
                   "1700000900;5;x;\"Mail;\n"),
              "1700000000 Mail for 90000 at pages/Inbox\n"
              "1700000100 Ma\"ps;\n"
              "1700000800 Chat for 5000\n"
              "l.csv:4: too few fields: 4 where 5 are needed\n"
              "l.csv:5: \"soon\" is not a time that can be read\n"
              "l.csv:6: \"long\" is not a duration that can be read\n"
              "l.csv:7: names no application\n"
              "l.csv:8: \"a\\tb\" cannot be the name of a page\n"
              "l.csv:9: \"\xEF\xBF\xBD\" cannot be the name of a page\n"
              "l.csv:10: \"1700000\\n700\\u0007\" is not a time that can be read\n"
              "l.csv:13: a quoted field never ends: \"1700000900;5;x;\\\"Mail;\"\n");
    EXPECT_EQ(Told("app,time\nMail,never\n", LEAST_COLUMNS),
              "l.csv:2: \"never\" is not a time that can be read\nl.csv: holds no row that can be used\n");
    const std::string longText(100, 'x');
    EXPECT_EQ(Told("app,time\nMail,1700000000\nMail," + longText, LEAST_COLUMNS),
              "1700000000 Mail\nl.csv:3: \"" + longText.substr(0, 80) + "\"... is not a time that can be read\n");
}

TEST(UsageLogTest, RowsOutOfOrderAreSortedAndEqualTimesStay) {
    EXPECT_EQ(Told("app,time\nb,1700000002\na,1700000001\nd,1700000001\nc,1700000002\n", LEAST_COLUMNS),
              "1700000001 a\n1700000001 d\n1700000002 b\n1700000002 c\n"
              "l.csv: the rows are not in the order of their times; they have been sorted\n");
}

// Which number of 05/04/2024 is the month is decided once for the whole file.
TEST(UsageLogTest, DatesWithSlashesAreReadInOneOrder) {
    const std::string doubt = "l.csv: no date tells whether the day or the month comes first; the month is assumed\n";
    const struct {
        const char* rows;
        std::string told;
    } rows[] = {
        {"a,05/04/2024 00:00\na,05/13/2024 00:00\n", "1714780800 a\n1715558400 a\n"},
        {"a,05/04/2024 00:00\na,13/05/2024 00:00\n", "1712275200 a\n1715558400 a\n"},
        {"a,05/04/2024 00:00\n", "1714780800 a\n" + doubt},
        {"a,05/05/2024 00:00\n", "1714867200 a\n"},
        {"a,2024-05-05 00:00\na,99/99/2024 00:00\n",
         "1714867200 a\nl.csv:3: \"99/99/2024 00:00\" is not a time that can be read\n"},
        {"a,13/05/2024 00:00\na,14/05/2024 00:00\na,05/15/2024 00:00\n",
         "1715558400 a\n1715644800 a\nl.csv:4: \"05/15/2024 00:00\" is not a time that can be read\n"},
        {"a,13/05/2024 00:00\na,05/14/2024 00:00\n",
         "1715644800 a\nl.csv:2: \"13/05/2024 00:00\" is not a time that can be read\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Told("app,time\n" + std::string(row.rows), LEAST_COLUMNS), row.told) << row.rows;
    }
}

TEST(UsageLogTest, ColumnsAreNamedOnTheCommandLine) {
    const struct {
        const char* text;
        const char* told;
    } rows[] = {
        {"app=App,time=Time", "App|Time|-|-"},
        {"page=p,duration=d, time = t ,app=a b", "a b|t|d|p"},
        {"app=Name, of app,time=t=0", "Name, of app|t=0|-|-"},
        {"app=App", "needs app=NAME and time=NAME"},
        {"time=", "needs app=NAME and time=NAME"},
        {"app=a,time=t,app=b", "app is given twice"},
        {"app=a,tmie=t", "\"tmie=t\" is none of app=NAME, time=NAME, duration=NAME, page=NAME"},
        {"App", "\"App\" is none of app=NAME, time=NAME, duration=NAME, page=NAME"},
        {"", "\"\" is none of app=NAME, time=NAME, duration=NAME, page=NAME"},
    };
    for (const auto& row : rows) {
        std::string told;
        if (const auto columns = ParseUsageColumns(row.text, told); columns) {
            told = columns->app + "|" + columns->time + "|" + columns->duration.value_or("-") + "|" +
                   columns->page.value_or("-");
        }
        EXPECT_EQ(told, row.told) << row.text;
    }
}

}  // namespace
}  // namespace ZYRA::Host
