// SPDX-License-Identifier: Apache-2.0
#include "host/report/text_table.h"

#include <algorithm>

namespace ZYRA::Host {

namespace {

// Columns of a terminal, taking each code point for one.
size_t WidthOf(const std::string& cell) {
    return static_cast<size_t>(std::count_if(
        cell.begin(), cell.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

}  // namespace

std::string TextTable::Text() const {
    std::vector<size_t> widths(rows_.front().size(), 0);
    for (const auto& row : rows_) {
        for (size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], WidthOf(row[column]));
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        for (size_t column = 0; column < widths.size(); ++column) {
            const std::string padding(widths[column] - WidthOf(row[column]), ' ');
            text += "  " + (column == 0 ? row[column] + padding : padding + row[column]);
        }
        text.resize(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

}  // namespace ZYRA::Host
