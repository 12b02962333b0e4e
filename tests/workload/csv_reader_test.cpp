// SPDX-License-Identifier: Apache-2.0
// CSV as people's programs write it.

#include "host/workload/csv_reader.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

namespace ZYRA::Host {
namespace {

// "LINE<field><field>" for each record; "LINE!<text>" for a broken one.
std::string RecordsOf(const std::string& text) {
    CsvReader reader(text);
    std::string records;
    for (CsvRecord record; reader.Next(record);) {
        records += std::to_string(record.line) + (record.isBroken ? "!" : "");
        for (const std::string& field : record.fields) {
            records += "<" + field + ">";
        }
    }
    return records;
}

TEST(CsvReaderTest, RecordsOfTexts) {
    const struct {
        const char* text;
        const char* records;
    } rows[] = {
        {"", ""},
        {"\n\r\n\n", ""},
        {"a,b", "1<a><b>"},
        {"a,b\n", "1<a><b>"},
        {"a,b\r\n1,\r\n", "1<a><b>2<1><>"},
        {"\xEF\xBB\xBF\"a\",b\n1,2", "1<a><b>2<1><2>"},
        {"a,b\n\n\n1,2\n", "1<a><b>4<1><2>"},
        {"a,b\n,\n", "1<a><b>2<><>"},
        // Quotes.
        {"a,b\n\"x\r\ny\nz\",1\n2,3", "1<a><b>2<x\r\ny\nz><1>5<2><3>"},
        {"a,b\nx\"y\"z,5\" disk\n", "1<a><b>2<x\"y\"z><5\" disk>"},
        {"a,b\n\"x\" tail,1\n", "1<a><b>2<x tail><1>"},
        // A quote that never ends costs its line, not those behind it.
        {"a,b\n1,\"x\n2,y\n3,z\n", "1<a><b>2!<1,\"x>3<2><y>4<3><z>"},
        {"a,b\n1,\"x", "1<a><b>2!<1,\"x>"},
        // The separator.
        {"a;b,c;d\n1,5;2;3", "1<a><b,c><d>2<1,5><2><3>"},
        {"a\tb\n1,5\t2;3", "1<a><b>2<1,5><2;3>"},
        {"\"a;b;c\",d\n1,2", "1<a;b;c><d>2<1><2>"},
        {"a,b;c\n", "1<a><b;c>"},
        {"a\nb\n", "1<a>2<b>"},
        {"a,b\n\r,\r\n", "1<a><b>2<\r><>"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(RecordsOf(row.text), row.records) << row.text;
    }
}

// Whatever is written as the grammar says is read as it was.
RC_GTEST_PROP(CsvReaderTest, QuotedFieldsComeBack, ()) {
    const char separator = *rc::gen::element(',', ';', '\t');
    const auto field = rc::gen::container<std::string>(rc::gen::element('a', ',', ';', '\t', '"', '\n', '\r', ' '));
    const auto table = *rc::gen::container<std::vector<std::vector<std::string>>>(
        rc::gen::nonEmpty(rc::gen::container<std::vector<std::string>>(rc::gen::resize(10, field))));
    std::string text = std::string("h") + separator + "h" + separator + "h\n";
    for (const auto& record : table) {
        for (const std::string& content : record) {
            text += '"';
            for (const char c : content) {
                text += c == '"' ? "\"\"" : std::string(1, c);
            }
            text += std::string("\"") + separator;
        }
        text += "end\r\n";
    }
    CsvReader reader(text);
    CsvRecord read;
    RC_ASSERT(reader.Next(read));
    for (auto record : table) {
        RC_ASSERT(reader.Next(read));
        record.push_back("end");
        RC_ASSERT(read.fields == record);
    }
    RC_ASSERT(!reader.Next(read));
}

}  // namespace
}  // namespace ZYRA::Host
