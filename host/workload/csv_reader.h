// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ZYRA::Host {

struct CsvRecord {
    size_t line = 0;  // On which it begins, from 1.
    std::vector<std::string> fields;
    // A quoted field of it never ends. Only its first line then belongs to it, and is the only field.
    bool isBroken = false;
};

// Reads a text as RFC 4180 describes it, record after record: a field in double quotes may hold separators, line ends
// and, doubled, quotes. Lines end with LF or CRLF; a UTF-8 byte order mark at the beginning is passed over, and so are
// empty lines. Quotes elsewhere stand for themselves. The separator is the one of comma, semicolon and tab that the
// first record holds most of.
class CsvReader {
public:
    // The text must outlive the reader.
    explicit CsvReader(std::string_view text);

    // Reads the next record. Returns false at the end of the text.
    bool Next(CsvRecord& record);

    char Separator() const { return separator_; }

private:
    // Reads the record that begins at the place reached, up to its line end. Returns false when a quoted field of it
    // never ends.
    bool ReadFields(std::vector<std::string>& fields);
    // The same for what is in quotes; then for what is not, up to the next separator or line end.
    bool ReadQuoted(std::string& field);
    void ReadPlain(std::string& field);
    // The length of the line end at the place reached, 0 if there is none.
    size_t LineEndLength() const;
    void SkipLineEnd();

    const std::string_view text_;
    char separator_ = ',';
    size_t at_ = 0;
    size_t line_ = 1;
};

// The text without the blanks around it.
std::string_view Trimmed(std::string_view text);

}  // namespace ZYRA::Host
