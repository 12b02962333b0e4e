// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ZYRA::Host {

// Takes a short text from its front, piece by piece. Once a piece does not fit, the scanner has failed for good; what
// it returns then means nothing.
class TextScanner {
public:
    // The text must outlive the scanner.
    explicit TextScanner(std::string_view text) : rest_(text) {}

    // Whether everything fitted and nothing is left.
    bool IsDone() const { return !hasFailed_ && rest_.empty(); }
    // How many digits come next.
    size_t DigitCount() const;

    void Fail() { hasFailed_ = true; }
    // Takes a number of at least and at most so many digits, eighteen at most, within the bounds.
    int64_t Number(size_t fewestDigits, size_t mostDigits, int64_t lowest, int64_t highest);
    // Takes one of the decimal points with its digits if it is there, and returns thousandths; what is finer is cut
    // off.
    int64_t Thousandths(std::string_view points = ".");
    // Takes one of the characters if it comes next.
    bool Accept(std::string_view characters);
    void Expect(std::string_view characters);
    void SkipBlanks();

private:
    std::string_view rest_;
    bool hasFailed_ = false;
};

}  // namespace ZYRA::Host
