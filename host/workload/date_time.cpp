// SPDX-License-Identifier: Apache-2.0
#include "host/workload/date_time.h"

#include <chrono>
#include <cstddef>
#include <utility>

#include "host/workload/csv_reader.h"
#include "host/workload/text_scanner.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t MS_PER_S = 1000;
constexpr int64_t S_PER_MINUTE = 60;
constexpr int64_t S_PER_HOUR = 3600;
constexpr int64_t S_PER_DAY = 86400;

constexpr size_t YEAR_DIGITS = 4;
constexpr int64_t FIRST_YEAR = 1971;
constexpr int64_t LAST_YEAR = 2285;
constexpr int64_t EARLIEST_MS = 31536000000;
constexpr int64_t END_MS = 9972028800000;  // Of the last year.

constexpr size_t FEWEST_DIGITS_OF_S = 9;
constexpr size_t MOST_DIGITS_OF_S = 10;
constexpr size_t DIGITS_OF_MS = 13;

enum class DateForm { ISO, YEAR_FIRST, DOTTED, SLASHED };

struct Date {
    DateForm form;
    int64_t year;
    int64_t month;
    int64_t day;
};

Date ReadDate(TextScanner& scanner, DateOrder order) {
    const auto two = [&scanner] { return scanner.Number(1, 2, 1, 31); };
    const auto year = [&scanner] { return scanner.Number(YEAR_DIGITS, YEAR_DIGITS, FIRST_YEAR - 1, LAST_YEAR + 1); };
    Date date{};
    if (scanner.DigitCount() == YEAR_DIGITS) {
        date.year = year();
        date.form = scanner.Accept("-") ? DateForm::ISO : DateForm::YEAR_FIRST;
        const std::string_view separator = date.form == DateForm::ISO ? "-" : "/";
        if (date.form == DateForm::YEAR_FIRST) {
            scanner.Expect(separator);
        }
        date.month = two();
        scanner.Expect(separator);
        date.day = two();
        return date;
    }
    date.day = two();
    date.form = scanner.Accept("/") ? DateForm::SLASHED : DateForm::DOTTED;
    const std::string_view separator = date.form == DateForm::SLASHED ? "/" : ".";
    if (date.form == DateForm::DOTTED) {
        scanner.Expect(separator);
    }
    date.month = two();
    scanner.Expect(separator);
    date.year = year();
    if (date.form == DateForm::SLASHED && order == DateOrder::MONTH_FIRST) {
        std::swap(date.day, date.month);
    }
    return date;
}

// Seconds since the epoch at which the date begins; a date that there is not fails the scanner.
int64_t BeginOf(const Date& date, TextScanner& scanner) {
    const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(date.year)),
                                          std::chrono::month(static_cast<unsigned>(date.month)),
                                          std::chrono::day(static_cast<unsigned>(date.day))};
    if (!day.ok()) {
        scanner.Fail();
        return 0;
    }
    return std::chrono::sys_days(day).time_since_epoch().count() * S_PER_DAY;
}

// The hour of the day where the text may say which half of the day is meant; noon and midnight are twelve.
int64_t HourOfDay(int64_t hour, TextScanner& scanner) {
    constexpr int64_t HALF = 12;
    scanner.SkipBlanks();
    const bool isAfternoon = scanner.Accept("Pp");
    if (!isAfternoon && !scanner.Accept("Aa")) {
        return hour;
    }
    scanner.Expect("Mm");
    if (hour < 1 || hour > HALF) {
        scanner.Fail();
    }
    return hour % HALF + (isAfternoon ? HALF : 0);
}

// How many seconds the text's zone is ahead of UTC.
int64_t ReadZone(TextScanner& scanner) {
    constexpr int64_t FARTHEST_HOUR = 18;
    scanner.SkipBlanks();
    const bool isBehind = scanner.Accept("-");
    if (!isBehind && !scanner.Accept("+")) {
        scanner.Accept("Z");
        return 0;
    }
    int64_t offset = scanner.Number(2, 2, 0, FARTHEST_HOUR) * S_PER_HOUR;
    if (scanner.Accept(":") || scanner.DigitCount() > 0) {
        offset += scanner.Number(2, 2, 0, 59) * S_PER_MINUTE;
    }
    return isBehind ? -offset : offset;
}

int64_t ReadDateTime(TextScanner& scanner, DateOrder order) {
    const Date date = ReadDate(scanner, order);
    scanner.Expect(date.form == DateForm::ISO ? "T " : " ");
    scanner.SkipBlanks();
    int64_t hour = scanner.Number(1, 2, 0, 23);
    scanner.Expect(":");
    const int64_t minute = scanner.Number(2, 2, 0, 59);
    int64_t second = 0;
    int64_t fractionMs = 0;
    if (scanner.Accept(":")) {
        second = scanner.Number(2, 2, 0, 59);
        fractionMs = scanner.Thousandths(".,");
    }
    int64_t aheadS = 0;
    if (date.form == DateForm::ISO) {
        aheadS = ReadZone(scanner);
    } else if (date.form == DateForm::SLASHED) {
        hour = HourOfDay(hour, scanner);
    }
    const int64_t timeS = BeginOf(date, scanner) + hour * S_PER_HOUR + minute * S_PER_MINUTE + second - aheadS;
    return timeS * MS_PER_S + fractionMs;
}

int64_t ReadEpoch(TextScanner& scanner) {
    if (scanner.DigitCount() == DIGITS_OF_MS) {
        const int64_t timeMs = scanner.Number(DIGITS_OF_MS, DIGITS_OF_MS, 0, INT64_MAX);
        scanner.Thousandths();
        return timeMs;
    }
    const int64_t timeS = scanner.Number(FEWEST_DIGITS_OF_S, MOST_DIGITS_OF_S, 0, INT64_MAX);
    return timeS * MS_PER_S + scanner.Thousandths();
}

}  // namespace

std::optional<int64_t> ReadTimeMs(std::string_view text, DateOrder order) {
    TextScanner scanner(Trimmed(text));
    const bool isNumber = scanner.DigitCount() > YEAR_DIGITS;
    const int64_t timeMs = isNumber ? ReadEpoch(scanner) : ReadDateTime(scanner, order);
    if (!scanner.IsDone() || timeMs < EARLIEST_MS || timeMs >= END_MS) {
        return std::nullopt;
    }
    return timeMs;
}

std::optional<int64_t> ReadDurationMs(std::string_view text) {
    constexpr int64_t LONGEST_S = 31 * S_PER_DAY;
    constexpr size_t MOST_DIGITS = 7;
    TextScanner scanner(Trimmed(text));
    int64_t durationS = scanner.Number(1, MOST_DIGITS, 0, LONGEST_S);
    // Each further number is sixty times finer than the one before.
    for (int finer = 0; finer < 2 && scanner.Accept(":"); ++finer) {
        durationS = durationS * S_PER_MINUTE + scanner.Number(2, 2, 0, 59);
    }
    const int64_t fractionMs = scanner.Thousandths();
    if (!scanner.IsDone() || durationS > LONGEST_S) {
        return std::nullopt;
    }
    return durationS * MS_PER_S + fractionMs;
}

}  // namespace ZYRA::Host
