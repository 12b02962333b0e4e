// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What came of one cold start of an application. A moment that did not come is nothing.
struct StartStory {
    int64_t timeUs;
    std::string bundleName;
    std::string uid;  // As the event gave it.

    int monitor = -1;         // That worked on it, -1 when none did.
    std::string scene;        // Bound to the monitor, "" when none was.
    std::string recordState;  // As it was found.
    std::optional<int64_t> boundUs;

    std::optional<int64_t> prereadUs;  // When it had ended.
    uint64_t prereadBytes = 0;
    std::string prereadError;  // "" when it succeeded.
    std::optional<int64_t> collectedFromUs;
    std::optional<int64_t> recordUs;
    uint64_t recordPages = 0;
    std::optional<int64_t> workEndedUs;

    std::optional<int64_t> processUs;    // The process had started,
    std::optional<int64_t> pageUs;       // its first page began,
    std::optional<int64_t> pageShownUs;  // and was shown.

    std::optional<int64_t> limitedUs;  // Background IO was limited,
    std::optional<int64_t> liftedUs;   // and was no more.
};

// Follows the cold starts of a run, the first MOST_STORIES of them, each until its work has ended and the limits have
// been lifted, until the application starts anew, or for LONGEST_US. Not thread-safe.
class StartStories {
public:
    static constexpr size_t MOST_STORIES = 1000;
    static constexpr int64_t LONGEST_US = 30000000;

    void Note(int64_t timeUs, const EventStep& fact);
    void Note(int64_t timeUs, const BindEntry& fact);
    void Note(int64_t timeUs, const PrereadEntry& fact);
    void Note(int64_t timeUs, const MonitorEntry& fact);
    void Note(int64_t timeUs, const RecordEntry& fact);
    // Whether a switch of the limits is on.
    void NoteLimits(int64_t timeUs, bool areOn);

    // In the order of their times.
    const std::vector<StartStory>& Stories() const { return stories_; }
    uint64_t LeftOut() const { return leftOut_; }

private:
    // Those that go on, and are not too old.
    template <typename Visit>
    void ForEachOpen(int64_t timeUs, Visit visit);

    std::vector<StartStory> stories_;
    std::vector<size_t> open_;
    uint64_t leftOut_ = 0;
};

}  // namespace ZYRA::Host
