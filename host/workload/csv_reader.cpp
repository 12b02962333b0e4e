// SPDX-License-Identifier: Apache-2.0
#include "host/workload/csv_reader.h"

#include <algorithm>

namespace ZYRA::Host {

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr char SEPARATORS[] = {',', ';', '\t'};
constexpr char QUOTE = '"';

}  // namespace

CsvReader::CsvReader(std::string_view text)
    : text_(text.starts_with(BYTE_ORDER_MARK) ? text.substr(BYTE_ORDER_MARK.size()) : text) {
    size_t most = 0;
    char best = separator_;
    for (const char candidate : SEPARATORS) {
        separator_ = candidate;
        CsvRecord first;
        Next(first);
        if (first.fields.size() > most) {
            most = first.fields.size();
            best = candidate;
        }
        at_ = 0;
        line_ = 1;
    }
    separator_ = best;
}

bool CsvReader::Next(CsvRecord& record) {
    while (LineEndLength() > 0) {
        SkipLineEnd();
    }
    if (at_ == text_.size()) {
        return false;
    }
    const size_t begin = at_;
    record = {line_, {}, false};
    if (!ReadFields(record.fields)) {
        // One stray quote must not swallow the rows behind it.
        at_ = std::min(text_.find('\n', begin), text_.size());
        line_ = record.line;
        record.fields = {std::string(text_.substr(begin, at_ - begin))};
        record.isBroken = true;
    }
    SkipLineEnd();
    return true;
}

bool CsvReader::ReadFields(std::vector<std::string>& fields) {
    for (;; ++at_) {
        std::string& field = fields.emplace_back();
        if (at_ < text_.size() && text_[at_] == QUOTE && !ReadQuoted(field)) {
            return false;
        }
        ReadPlain(field);
        if (at_ == text_.size() || text_[at_] != separator_) {
            return true;
        }
    }
}

bool CsvReader::ReadQuoted(std::string& field) {
    for (++at_; at_ < text_.size(); ++at_) {
        const char c = text_[at_];
        if (c == QUOTE) {
            const bool isDoubled = at_ + 1 < text_.size() && text_[at_ + 1] == QUOTE;
            ++at_;
            if (!isDoubled) {
                return true;
            }
        }
        line_ += c == '\n' ? 1 : 0;
        field += c;
    }
    return false;
}

void CsvReader::ReadPlain(std::string& field) {
    while (at_ < text_.size() && text_[at_] != separator_ && LineEndLength() == 0) {
        field += text_[at_++];
    }
}

size_t CsvReader::LineEndLength() const {
    const std::string_view rest = text_.substr(at_);
    if (rest.starts_with('\n')) {
        return 1;
    }
    return rest.starts_with("\r\n") ? 2 : 0;
}

void CsvReader::SkipLineEnd() {
    const size_t length = LineEndLength();
    at_ += length;
    line_ += length > 0 ? 1 : 0;
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view BLANKS = " \t\r\n";
    const size_t begin = text.find_first_not_of(BLANKS);
    return begin == std::string_view::npos ? "" : text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

}  // namespace ZYRA::Host
