// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/measure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace ZYRA::Bench {

Spread SpreadOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    const double median = values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
    return {median, values.front(), values.back()};
}

Spread RatioOf(const std::vector<double>& values, const std::vector<double>& others) {
    std::vector<double> ratios;
    for (size_t round = 0; round < values.size() && round < others.size(); ++round) {
        ratios.push_back(values[round] / others[round]);
    }
    return SpreadOf(std::move(ratios));
}

std::string Text(double value, int decimals) {
    return fmt::format("{:.{}f}", value, decimals);
}

std::string Text(const Spread& spread, int decimals) {
    return fmt::format("{} ({} to {})", Text(spread.median, decimals), Text(spread.least, decimals),
                       Text(spread.most, decimals));
}

std::string Grouped(long long value) {
    const std::string digits = std::to_string(value);
    std::string text;
    for (size_t at = 0; at < digits.size(); ++at) {
        const bool isGroupStart = at > 0 && digits[at - 1] != '-' && (digits.size() - at) % 3 == 0;
        text += isGroupStart ? "," : "";
        text += digits[at];
    }
    return text;
}

Table::Table(std::vector<std::string> header) : rows_{std::move(header)} {}

void Table::Add(std::vector<std::string> cells) {
    rows_.push_back(std::move(cells));
}

void Table::Print() const {
    std::vector<size_t> widths(rows_.front().size(), 0);
    for (const auto& row : rows_) {
        for (size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    // The first column is a name, the others are numbers.
    const auto print = [&](const std::vector<std::string>& cells) {
        for (size_t column = 0; column < widths.size(); ++column) {
            const auto text = column == 0 ? fmt::format("{:<{}}", cells[column], widths[column])
                                          : fmt::format("{:>{}}", cells[column], widths[column]);
            std::printf("%s%s", column == 0 ? "| " : " | ", text.c_str());
        }
        std::puts(" |");
    };
    print(rows_.front());
    std::vector<std::string> rule;
    for (size_t column = 0; column < widths.size(); ++column) {
        rule.push_back(fmt::format("{:-<{}}{}", "", widths[column] - (column == 0 ? 0 : 1), column == 0 ? "" : ":"));
    }
    print(rule);
    for (size_t row = 1; row < rows_.size(); ++row) {
        print(rows_[row]);
    }
}

}  // namespace ZYRA::Bench
