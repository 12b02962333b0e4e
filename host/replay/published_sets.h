// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <optional>
#include <set>
#include <string>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Tells the journal what each published set of top scenes holds. The plugin's log lines say that a set was published;
// its scenes stand in the plugin's database, which is read as soon as no task of the plugin runs: a reader beside
// running tasks would be in the way of their transactions. A set that could not be stored is told as what is stored.
class PublishedSets final : public JournalSink {
public:
    void OnEntry(const JournalEntry& entry) override;
    bool NeedsDescriptors() const override { return false; }

    // Appends the set to the journal, if one was published since the last call and the database can be read.
    // REQUIRES: no task of the plugin runs.
    void TellJournal();

private:
    std::atomic<bool> isPublished_{false};
    std::set<std::string> last_;
};

// The names of the stored top scenes; nothing when there is no database or it cannot be read.
std::optional<std::set<std::string>> LoadStoredTopScenes(const std::string& databaseFile);

}  // namespace ZYRA::Host
