// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace ZYRA::ResourceSchedule {

// A connection of the test's own to a database file, beside the code under test. Failures are thrown.
class RawDatabase {
public:
    // `vfs` null: SQLite's default.
    explicit RawDatabase(const std::string& path, const char* vfs = nullptr);

    void Run(const std::string& sql);
    void ForEachRow(const std::string& sql, const std::function<void(sqlite3_stmt*)>& take);

    // Each row as its columns with "|" between them.
    std::vector<std::string> Rows(const std::string& sql);

    static std::string Text(sqlite3_stmt* row, int column);

private:
    struct Closer {
        void operator()(sqlite3* connection) const;
        void operator()(sqlite3_stmt* statement) const;
    };

    void Check(int result, const std::string& what);

    std::unique_ptr<sqlite3, Closer> db_;
};

}  // namespace ZYRA::ResourceSchedule
