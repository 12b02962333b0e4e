// SPDX-License-Identifier: Apache-2.0
#include "host/workload/text_scanner.h"

#include <algorithm>

namespace ZYRA::Host {

namespace {

constexpr int DECIMAL = 10;

}  // namespace

size_t TextScanner::DigitCount() const {
    return std::min(rest_.find_first_not_of("0123456789"), rest_.size());
}

int64_t TextScanner::Number(size_t fewestDigits, size_t mostDigits, int64_t lowest, int64_t highest) {
    const size_t count = std::min(DigitCount(), mostDigits);
    int64_t number = 0;
    for (const char digit : rest_.substr(0, count)) {
        number = number * DECIMAL + (digit - '0');
    }
    rest_.remove_prefix(count);
    hasFailed_ = hasFailed_ || count < fewestDigits || number < lowest || number > highest;
    return number;
}

int64_t TextScanner::Thousandths(std::string_view points) {
    if (!Accept(points)) {
        return 0;
    }
    const size_t count = DigitCount();
    hasFailed_ = hasFailed_ || count == 0;
    int64_t thousandths = 0;
    int64_t unit = 100;
    for (const char digit : rest_.substr(0, count)) {
        thousandths += unit * (digit - '0');
        unit /= DECIMAL;
    }
    rest_.remove_prefix(count);
    return thousandths;
}

bool TextScanner::Accept(std::string_view characters) {
    const bool isNext = !rest_.empty() && characters.find(rest_.front()) != std::string_view::npos;
    rest_.remove_prefix(isNext ? 1 : 0);
    return isNext;
}

void TextScanner::Expect(std::string_view characters) {
    hasFailed_ = !Accept(characters) || hasFailed_;
}

void TextScanner::SkipBlanks() {
    while (Accept(" ")) {
    }
}

}  // namespace ZYRA::Host
