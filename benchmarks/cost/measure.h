// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ZYRA::Bench {

// What several rounds of one measurement gave.
struct Spread {
    double median = 0;
    double least = 0;
    double most = 0;
};
// REQUIRES: at least one value.
Spread SpreadOf(std::vector<double> values);

// The rounds of one contender over those of another, round by round: a change of the machine's speed strikes both.
Spread RatioOf(const std::vector<double>& values, const std::vector<double>& others);

// "1.08 (1.02 to 1.15)" and the like: as many decimals as the table has use for.
std::string Text(const Spread& spread, int decimals);
std::string Text(double value, int decimals);
// 1234567 as "1,234,567".
std::string Grouped(long long value);

// A Markdown table, printed on standard output: the text of ./bench is made of these.
class Table {
public:
    explicit Table(std::vector<std::string> header);

    // As many cells as the header has.
    void Add(std::vector<std::string> cells);
    void Print() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace ZYRA::Bench
