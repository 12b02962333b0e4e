// SPDX-License-Identifier: Apache-2.0
// Values, rows, the connection and its statements, on a real file.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/top_scene/log_lines.h"
#include "top_scene/sqlite_util.h"
#include "top_scene/values_bucket.h"

namespace ZYRA::ResourceSchedule {
namespace {

using Lines = std::vector<std::string>;

constexpr int64_t BIGGEST = std::numeric_limits<int64_t>::max();
constexpr int64_t SMALLEST = std::numeric_limits<int64_t>::min();

// The type and what each getter gives, for comparing at once.
std::string Describe(const VariantValue& value) {
    return std::to_string(static_cast<uint32_t>(value.GetType())) + ": " + std::to_string(value.GetBool()) + " " +
           std::to_string(value.GetInt32()) + " " + std::to_string(value.GetInt64()) + " " +
           std::to_string(value.GetDouble()) + " '" + value.GetString() + "'";
}

TEST(VariantValueTest, EveryGetterButItsOwnTypesGivesItsFallback) {
    const struct {
        VariantValue value;
        const char* description;
    } rows[] = {
        {VariantValue(), "0: 0 -1 -1 -1.000000 ''"},
        {true, "1: 1 -1 -1 -1.000000 ''"},
        {false, "1: 0 -1 -1 -1.000000 ''"},
        {int32_t{42}, "2: 0 42 -1 -1.000000 ''"},
        {int64_t{42}, "3: 0 -1 42 -1.000000 ''"},
        {SMALLEST, "3: 0 -1 -9223372036854775808 -1.000000 ''"},
        {0.5, "4: 0 -1 -1 0.500000 ''"},
        {std::string("text"), "5: 0 -1 -1 -1.000000 'text'"},
        {std::string(), "5: 0 -1 -1 -1.000000 ''"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Describe(row.value), row.description);
        const VariantValue copy = row.value;
        VariantValue source = copy;
        const VariantValue constructed = std::move(source);
        EXPECT_EQ(Describe(constructed), row.description);
        EXPECT_EQ(Describe(source), rows[0].description) << "moved from by a constructor";
        source = copy;
        VariantValue assigned = std::string("replaced");
        assigned = std::move(source);
        EXPECT_EQ(Describe(assigned), row.description);
        EXPECT_EQ(Describe(source), rows[0].description) << "moved from by an assignment";
        EXPECT_EQ(Describe(copy), row.description);
    }
}

TEST(ValuesBucketTest, FirstValueOfANameStaysAndNothingIsConverted) {
    ValuesBucket bucket;
    EXPECT_TRUE(bucket.IsEmpty());
    bucket.Put("uid", int32_t{7});
    bucket.Put("uid", int64_t{8});
    bucket.Put("time", int64_t{9});
    bucket.Put("time", VariantValue(std::string("late")));
    bucket.Put("flag", true);
    bucket.Put("count", VariantValue(2.5));
    bucket.Put("Name", VariantValue(std::string("text")));
    EXPECT_FALSE(bucket.IsEmpty());
    const struct {
        const char* name;
        int64_t int64;
        double real;
        const char* text;
    } rows[] = {
        {"uid", -1, -1.0, ""},      {"time", 9, -1.0, ""},  {"flag", -1, -1.0, ""},   {"count", -1, 2.5, ""},
        {"Name", -1, -1.0, "text"}, {"name", -1, -1.0, ""}, {"absent", -1, -1.0, ""}, {"", -1, -1.0, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(bucket.GetInt64(row.name), row.int64) << row.name;
        EXPECT_EQ(bucket.GetDouble(row.name), row.real) << row.name;
        EXPECT_EQ(bucket.GetString(row.name), row.text) << row.name;
    }
    Lines entries;
    for (const auto& [name, value] : bucket.GetAllKeyValue()) {
        entries.push_back(name + " " + std::to_string(static_cast<uint32_t>(value.GetType())));
    }
    EXPECT_EQ(entries, (Lines{"Name 5", "count 4", "flag 1", "time 3", "uid 2"}));
}

class SqliteLayerTest : public ::testing::Test {
protected:
    // Opens the file and drops the line about it.
    void Open() {
        ASSERT_EQ(util_.Open(), 0);
        ASSERT_EQ(logs_.Take(), Lines{"I open db file /data/layer.db success."});
    }
    std::unique_ptr<SqliteStatement> Prepared(const std::string& sql) {
        auto statement = util_.CreateSqliteStatement(sql);
        EXPECT_EQ(statement->Prepare(), 0) << sql;
        return statement;
    }
    // The row of a one-row query.
    Lines RowOf(SqliteStatement& statement) {
        Lines values;
        EXPECT_EQ(statement.Step(), SQLITE_ROW);
        for (int32_t column = 0; column < statement.GetColumnCount(); ++column) {
            values.push_back(Describe(statement.GetValue(column)));
        }
        return values;
    }

    LogLines logs_;
    SqliteUtil util_{"layer.db", "/data/"};
};

TEST_F(SqliteLayerTest, OpenSaysWhyItFails) {
    const struct {
        const char* name;
        const char* path;
        int32_t result;
        const char* line;
    } rows[] = {
        {"", "/data/", 201, "E SqliteUtil construct para error."},
        {"x.db", "", 201, "E SqliteUtil construct para error."},
        {"x.db", "/data/no/such/folder/", 201, "E failed to open db: unable to open database file"},
        {"service", "/data/", 201, "E failed to open db: unable to open database file"},
        {"x.db", "/data/service/../", 0, "I open db file /data/service/../x.db success."},
    };
    for (const auto& row : rows) {
        SqliteUtil util(row.name, row.path);
        EXPECT_EQ(util.Open(), row.result) << row.path << row.name;
        EXPECT_EQ(logs_.Take(), Lines{row.line});
        EXPECT_EQ(util.BeginTransaction(), row.result) << row.path << row.name;
        logs_.Take();
    }
}

TEST_F(SqliteLayerTest, SecondOpenFailsAndKeepsTheConnection) {
    Open();
    // Only the first connection knows this table.
    ASSERT_EQ(util_.ExecuteSql("CREATE TEMP TABLE own (value)"), 0);
    EXPECT_EQ(util_.Open(), 201);
    EXPECT_EQ(util_.ExecuteSql("INSERT INTO own VALUES (1)"), 0);
    EXPECT_EQ(logs_.Take(), Lines());
}

TEST_F(SqliteLayerTest, ClosedConnectionRefusesEverything) {
    const auto refuses = [this](const char* when) {
        EXPECT_EQ(util_.BeginTransaction(), 201) << when;
        EXPECT_EQ(util_.CommitTransaction(), 201) << when;
        EXPECT_EQ(util_.RollbackTransaction(), 201) << when;
        EXPECT_EQ(util_.ExecuteSql("SELECT 1"), 201) << when;
        EXPECT_EQ(util_.SpitError(), "") << when;
        EXPECT_EQ(util_.Close(), 201) << when;
        EXPECT_EQ(logs_.Functions(), (Lines{"BeginTransaction", "CommitTransaction", "RollbackTransaction",
                                            "ExecuteSql", "SpitError", "Close"}));
        EXPECT_EQ(logs_.Take(), Lines(6, "W open db first.")) << when;
        EXPECT_EQ(util_.CreateSqliteStatement("SELECT 1")->Prepare(), 201) << when;
        EXPECT_EQ(logs_.Take(), Lines{"E invalid construct param for sqlitestatement."}) << when;
    };
    refuses("before it is opened");
    Open();
    EXPECT_EQ(util_.Close(), 0);
    EXPECT_EQ(logs_.Take(), Lines());
    refuses("after it was closed");
    Open();
}

// (a) A statement is left when the connection is to be closed; (b) it is refused, and the connection goes on; (c) the
// statement goes, and then the connection.
TEST_F(SqliteLayerTest, CloseIsRefusedWhileAStatementLives) {
    Open();
    auto statement = Prepared("SELECT 42");
    EXPECT_EQ(util_.Close(), 201);
    EXPECT_EQ(logs_.Take(), Lines{"W sqlite3_close error, ret=5"});
    EXPECT_EQ(util_.ExecuteSql("CREATE TABLE later (value)"), 0);
    EXPECT_EQ(RowOf(*statement), Lines{"3: 0 -1 42 -1.000000 ''"});
    statement.reset();
    EXPECT_EQ(util_.Close(), 0);
    EXPECT_EQ(logs_.Take(), Lines());
}

TEST_F(SqliteLayerTest, TextsThatCannotRunGiveSqlitesMessage) {
    Open();
    const std::pair<const char*, const char*> rows[] = {
        {"SELEC 1", "near \"SELEC\": syntax error"},
        {"INSERT INTO nowhere VALUES (1)", "no such table: nowhere"},
        {"BEGIN; BEGIN;", "cannot start a transaction within a transaction"},
    };
    for (const auto& [sql, message] : rows) {
        EXPECT_EQ(util_.ExecuteSql(sql), 201) << sql;
        EXPECT_EQ(util_.SpitError(), message);
        EXPECT_EQ(logs_.Take(), Lines{std::string("E failed, errMsg: ") + message});
    }
    EXPECT_EQ(util_.ExecuteSql("SELECT 1; COMMIT;"), 0);
    EXPECT_EQ(logs_.Take(), Lines());
}

TEST_F(SqliteLayerTest, StatementThatDoesNotPrepareIsOfNoUseAnyMore) {
    Open();
    const struct {
        const char* sql;
        const char* line;
    } rows[] = {
        {"", "E invalid construct param for sqlitestatement."},
        {"SELECT * FROM later", "E Cannot prepare, errMsg: no such table: later"},
        {"UPDATE", "E Cannot prepare, errMsg: incomplete input"},
    };
    for (const auto& row : rows) {
        const auto statement = util_.CreateSqliteStatement(row.sql);
        EXPECT_EQ(statement->PrepareAndBindArguments({int32_t{1}}), 201) << row.sql;
        EXPECT_EQ(logs_.Take(), Lines{row.line});
        ASSERT_EQ(util_.ExecuteSql("CREATE TABLE IF NOT EXISTS later (value)"), 0);
        EXPECT_EQ(statement->Prepare(), 201) << row.sql;
        EXPECT_EQ(logs_.Take(), Lines{"E invalid construct param for sqlitestatement."});
        ASSERT_EQ(util_.ExecuteSql("DROP TABLE later"), 0);
    }
}

TEST_F(SqliteLayerTest, StatementNotYetPreparedHasNoParameters) {
    Open();
    const auto statement = util_.CreateSqliteStatement("SELECT ?");
    EXPECT_EQ(statement->Reset(), 0);
    EXPECT_EQ(statement->BindArguments({}), 0);
    EXPECT_EQ(logs_.Take(), Lines());
    EXPECT_EQ(statement->BindArguments({int32_t{1}}), 206);
    EXPECT_EQ(logs_.Take(), Lines{"E bind argsNum > argsCount of sql statement."});
    EXPECT_EQ(statement->Prepare(), 0);
    EXPECT_EQ(statement->BindArguments({int32_t{1}}), 0);
    EXPECT_EQ(statement->Prepare(), 0) << "prepared already, so it keeps its arguments";
    EXPECT_EQ(RowOf(*statement), Lines{"3: 0 -1 1 -1.000000 ''"});
}

TEST_F(SqliteLayerTest, BoundValuesComeBackThroughAFile) {
    Open();
    ASSERT_EQ(util_.ExecuteSql("CREATE TABLE items (value)"), 0);
    const std::string quotes = "it's \"quoted\" [x]; DROP TABLE items; --";
    const struct {
        VariantValue value;
        VariantValue stored;
    } rows[] = {
        {VariantValue(), VariantValue()},
        {true, int64_t{1}},
        {int32_t{-5}, int64_t{-5}},
        {BIGGEST, BIGGEST},
        {SMALLEST, SMALLEST},
        {0.1, 0.1},
        {std::string(), std::string()},
        {quotes, quotes},
        {std::string("\xff\xfe\n"), std::string("\xff\xfe\n")},
    };
    const auto insert = Prepared("INSERT INTO items VALUES (?)");
    for (const auto& row : rows) {
        EXPECT_EQ(insert->BindArguments({row.value}), 0);
        EXPECT_EQ(insert->Step(), SQLITE_DONE);
        EXPECT_EQ(insert->Reset(), 0);
    }
    const auto select = Prepared("SELECT value FROM items ORDER BY rowid");
    for (const auto& row : rows) {
        EXPECT_EQ(RowOf(*select), Lines{Describe(row.stored)});
    }
    EXPECT_EQ(select->Step(), SQLITE_DONE);
    const auto blob = Prepared("SELECT x'4142'");
    EXPECT_EQ(RowOf(*blob), Lines{Describe(VariantValue())});
    EXPECT_EQ(logs_.Take(), Lines());
}

// What was bound before is what shows that nothing, or a NULL, has been bound since.
TEST_F(SqliteLayerTest, ArgumentsArePaddedWithNullAndTooManyBindNothing) {
    Open();
    const VariantValue null;
    const auto number = [](int64_t value) { return VariantValue(value); };
    const struct {
        const char* sql;
        std::vector<VariantValue> args;
        int32_t result;
        std::vector<VariantValue> row;
    } rows[] = {
        {"SELECT 7", {}, 0, {number(7)}},
        {"SELECT 7", {number(1)}, 206, {number(7)}},
        {"SELECT ?, ?, ?", {number(1), number(2), number(3)}, 0, {number(1), number(2), number(3)}},
        {"SELECT ?, ?, ?", {number(1)}, 0, {number(1), null, null}},
        {"SELECT ?, ?, ?", {}, 0, {null, null, null}},
        {"SELECT ?, ?", {number(1), number(2), number(3)}, 206, {number(9), number(9)}},
        {"SELECT ?2, ?1", {number(1), number(2)}, 0, {number(2), number(1)}},
    };
    for (const auto& row : rows) {
        const auto statement = Prepared(row.sql);
        const std::string sql = row.sql;
        const auto parameters = std::count(sql.begin(), sql.end(), '?');
        EXPECT_EQ(statement->BindArguments(std::vector<VariantValue>(static_cast<size_t>(parameters), number(9))), 0);
        EXPECT_EQ(statement->BindArguments(row.args), row.result) << row.sql;
        Lines expected;
        for (const VariantValue& value : row.row) {
            expected.push_back(Describe(value));
        }
        EXPECT_EQ(RowOf(*statement), expected) << row.sql;
        EXPECT_EQ(logs_.Take(), row.result == 0 ? Lines() : Lines{"E bind argsNum > argsCount of sql statement."});
    }
}

// (a) A statement is bound again before it was reset, or its step breaks a constraint; (b) SQLite's code comes through,
// and the reset, which repeats that of the step, fails and says so once; (c) the statement works on.
TEST_F(SqliteLayerTest, RefusedBindsStepsAndResetsGiveSqlitesCode) {
    Open();
    ASSERT_EQ(util_.ExecuteSql("CREATE TABLE names (name TEXT PRIMARY KEY)"), 0);
    const auto insert = Prepared("INSERT INTO names VALUES (?)");
    for (const auto& [name, step] : std::vector<std::pair<std::string, int32_t>>{
             {"a", SQLITE_DONE}, {"a", SQLITE_CONSTRAINT}, {"b", SQLITE_DONE}}) {
        EXPECT_EQ(insert->BindArguments({name}), 0);
        EXPECT_EQ(insert->Step(), step);
        EXPECT_EQ(insert->Reset(), step == SQLITE_DONE ? 0 : 201);
        EXPECT_EQ(logs_.Take(), step == SQLITE_DONE ? Lines() : Lines{"E Reset statement failed. 19"});
    }
    const auto select = Prepared("SELECT count(*) FROM names WHERE name <> ?");
    EXPECT_EQ(RowOf(*select), Lines{Describe(int64_t{0})});
    EXPECT_EQ(select->BindArguments({std::string("c")}), SQLITE_MISUSE);
    EXPECT_EQ(logs_.Take(), Lines{"E Cannot bind argument! errno: 21"});
    EXPECT_EQ(select->Reset(), 0);
    EXPECT_EQ(select->BindArguments({std::string("c")}), 0);
    EXPECT_EQ(RowOf(*select), Lines{Describe(int64_t{2})});
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
