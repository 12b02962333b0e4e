// SPDX-License-Identifier: Apache-2.0
#include "host/workload/usage_log.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/replay/printable.h"
#include "host/workload/csv_reader.h"
#include "host/workload/date_time.h"

namespace ZYRA::Host {

namespace {

// The text in quotes, fit for a message.
std::string Shown(std::string_view text) {
    constexpr size_t MOST_SHOWN = 80;
    return Quoted(text.substr(0, MOST_SHOWN)) + (text.size() > MOST_SHOWN ? "..." : "");
}

// Whether a page of that name can be part of a scene's name and of the path of its record.
bool IsPageUrl(const std::string& text) {
    constexpr size_t LONGEST = 200;
    constexpr unsigned char FIRST_PRINTABLE = 0x20;
    constexpr unsigned char DELETE = 0x7F;
    const bool hasControls = std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < FIRST_PRINTABLE || static_cast<unsigned char>(c) == DELETE;
    });
    if (text.size() > LONGEST || hasControls) {
        return false;
    }
    try {
        nlohmann::json(text).dump();
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;  // It is not UTF-8.
    }
}

// Reads a log in two passes: only when all dates are known can those with slashes be told apart.
class UsageLogReader {
public:
    UsageLogReader(const std::string& file, std::string_view text, UsageLog& log)
        : file_(file), csv_(text), log_(log) {}

    // Throws InputFailure.
    void Read(const UsageColumns& columns) {
        ReadHeader(columns);
        for (CsvRecord record; csv_.Next(record);) {
            ++log_.rowsRead;
            records_.push_back(Pick(record));
        }
        const DateOrder order = DecideDateOrder();
        for (const Record& record : records_) {
            Take(record, order);
        }
        if (log_.rows.empty()) {
            Fail(0, "holds no row that can be used");
        }
        const auto isEarlier = [](const UsageRow& a, const UsageRow& b) { return a.timeMs < b.timeMs; };
        if (!std::is_sorted(log_.rows.begin(), log_.rows.end(), isEarlier)) {
            log_.notes.push_back(file_ + ": the rows are not in the order of their times; they have been sorted");
            std::stable_sort(log_.rows.begin(), log_.rows.end(), isEarlier);
        }
    }

private:
    static constexpr size_t NONE = SIZE_MAX;

    // The fields of a row that matter.
    struct Record {
        size_t line;
        std::string problem;  // Empty if there is none so far.
        std::string app;
        std::string time;
        std::string duration;
        std::string page;
    };

    [[noreturn]] void Fail(size_t line, std::string what) const { throw InputFailure{{file_, line, std::move(what)}}; }

    void ReadHeader(const UsageColumns& columns) {
        CsvRecord header;
        if (!csv_.Next(header)) {
            Fail(0, "holds no header line");
        }
        if (header.isBroken) {
            Fail(header.line, "a quoted column name never ends");
        }
        app_ = ColumnOf(columns.app, header);
        time_ = ColumnOf(columns.time, header);
        duration_ = columns.duration ? ColumnOf(*columns.duration, header) : NONE;
        page_ = columns.page ? ColumnOf(*columns.page, header) : NONE;
        fieldsNeeded_ = 0;
        for (const size_t column : {app_, time_, duration_, page_}) {
            fieldsNeeded_ = std::max(fieldsNeeded_, column == NONE ? 0 : column + 1);
        }
    }

    size_t ColumnOf(const std::string& name, const CsvRecord& header) const {
        size_t found = NONE;
        std::string names;
        for (size_t column = 0; column < header.fields.size(); ++column) {
            const std::string_view field = Trimmed(header.fields[column]);
            names += (column == 0 ? "" : ", ") + Shown(field);
            if (field != name) {
                continue;
            }
            if (found != NONE) {
                Fail(header.line, "has two columns " + Shown(name));
            }
            found = column;
        }
        if (found == NONE) {
            Fail(header.line, "has no column " + Shown(name) + "; there are " + names);
        }
        return found;
    }

    Record Pick(const CsvRecord& row) const {
        Record record{row.line, "", "", "", "", ""};
        if (row.isBroken) {
            record.problem = "a quoted field never ends: " + Shown(row.fields.front());
        } else if (row.fields.size() < fieldsNeeded_) {
            record.problem = "too few fields: " + std::to_string(row.fields.size()) + " where " +
                             std::to_string(fieldsNeeded_) + " are needed";
        } else {
            const auto field = [&row](size_t column) {
                return column == NONE ? std::string() : std::string(Trimmed(row.fields[column]));
            };
            record.app = field(app_);
            record.time = field(time_);
            record.duration = field(duration_);
            record.page = field(page_);
        }
        return record;
    }

    DateOrder DecideDateOrder() {
        size_t dayFirst = 0;
        size_t monthFirst = 0;
        bool hasDoubtful = false;
        for (const Record& record : records_) {
            const auto ifDayFirst = ReadTimeMs(record.time, DateOrder::DAY_FIRST);
            const auto ifMonthFirst = ReadTimeMs(record.time, DateOrder::MONTH_FIRST);
            dayFirst += ifDayFirst && !ifMonthFirst ? 1 : 0;
            monthFirst += ifMonthFirst && !ifDayFirst ? 1 : 0;
            hasDoubtful = hasDoubtful || ifDayFirst != ifMonthFirst;
        }
        if (hasDoubtful && dayFirst == 0 && monthFirst == 0) {
            log_.notes.push_back(file_ +
                                 ": no date tells whether the day or the month comes first; the month is assumed");
        }
        return dayFirst > monthFirst ? DateOrder::DAY_FIRST : DateOrder::MONTH_FIRST;
    }

    void Take(const Record& record, DateOrder order) {
        const auto timeMs = ReadTimeMs(record.time, order);
        const auto durationMs = ReadDurationMs(record.duration);
        std::string problem = ProblemOf(record, timeMs.has_value(), durationMs.has_value());
        if (problem.empty()) {
            log_.rows.push_back({*timeMs, durationMs, record.app, record.page});
        } else {
            log_.badRows.push_back({file_, record.line, std::move(problem)});
        }
    }

    static std::string ProblemOf(const Record& record, bool hasTime, bool hasDuration) {
        if (!record.problem.empty()) {
            return record.problem;
        }
        if (record.app.empty()) {
            return "names no application";
        }
        if (!hasTime) {
            return Shown(record.time) + " is not a time that can be read";
        }
        if (!record.duration.empty() && !hasDuration) {
            return Shown(record.duration) + " is not a duration that can be read";
        }
        return IsPageUrl(record.page) ? "" : Shown(record.page) + " cannot be the name of a page";
    }

    const std::string file_;
    CsvReader csv_;
    UsageLog& log_;
    std::vector<Record> records_;
    size_t app_ = NONE;
    size_t time_ = NONE;
    size_t duration_ = NONE;
    size_t page_ = NONE;
    size_t fieldsNeeded_ = 0;
};

}  // namespace

bool ParseUsageLog(const std::string& file, std::string_view text, const UsageColumns& columns, UsageLog& log,
                   InputError& error) {
    try {
        UsageLogReader(file, text, log).Read(columns);
        return true;
    } catch (const InputFailure& failure) {
        error = failure.error;
        return false;
    }
}

}  // namespace ZYRA::Host
