// SPDX-License-Identifier: Apache-2.0
#include "host/replay/published_sets.h"

#include <sqlite3.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "host/replay/learning_lines.h"

namespace ZYRA::Host {

namespace {

constexpr char DATABASE_FILE[] = "/data/service/el1/public/ressched/top_scene.db";

constexpr char TOP_SCENES[] =
    "SELECT bundle_name || '/' || app_intra_scene_name FROM top_scene_table WHERE is_top_scene = 1 AND is_deleted = 0";

struct SqliteDeleter {
    void operator()(sqlite3* connection) const { sqlite3_close(connection); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

std::vector<std::string> Difference(const std::set<std::string>& all, const std::set<std::string>& without) {
    std::vector<std::string> difference;
    std::set_difference(all.begin(), all.end(), without.begin(), without.end(), std::back_inserter(difference));
    return difference;
}

}  // namespace

std::optional<std::set<std::string>> LoadStoredTopScenes(const std::string& databaseFile) {
    sqlite3* opened = nullptr;
    const int openResult = sqlite3_open_v2(databaseFile.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, SqliteDeleter> connection(opened);
    if (openResult != SQLITE_OK) {
        return std::nullopt;
    }
    sqlite3_stmt* prepared = nullptr;
    const int prepareResult = sqlite3_prepare_v2(connection.get(), TOP_SCENES, -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, SqliteDeleter> statement(prepared);
    if (prepareResult != SQLITE_OK) {
        return std::nullopt;
    }
    std::set<std::string> scenes;
    int result = sqlite3_step(statement.get());
    for (; result == SQLITE_ROW; result = sqlite3_step(statement.get())) {
        if (const unsigned char* name = sqlite3_column_text(statement.get(), 0); name != nullptr) {
            scenes.emplace(reinterpret_cast<const char*>(name));
        }
    }
    return result == SQLITE_DONE ? std::optional(std::move(scenes)) : std::nullopt;
}

void PublishedSets::OnEntry(const JournalEntry& entry) {
    const auto* log = std::get_if<LogEntry>(&entry.fact);
    const auto line = log == nullptr ? std::nullopt : ReadLearningLine(*log);
    if (line && std::holds_alternative<PublishedLine>(*line)) {
        isPublished_.store(true, std::memory_order_relaxed);
    }
}

void PublishedSets::TellJournal() {
    if (!isPublished_.exchange(false, std::memory_order_relaxed)) {
        return;
    }
    auto scenes = LoadStoredTopScenes(DATABASE_FILE);
    if (!scenes) {
        return;
    }
    Journal::GetInstance().Append(TopSetEntry{scenes->size(), Difference(*scenes, last_), Difference(last_, *scenes)});
    last_ = std::move(*scenes);
}

}  // namespace ZYRA::Host
