// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ZYRA::Host {

// Rows of cells in aligned columns: the first column to the left, the others to the right.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> header) : rows_{std::move(header)} {}

    // REQUIRES: as many cells as the header has.
    void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

    // One line for each row, indented, without blanks at its end.
    std::string Text() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace ZYRA::Host
