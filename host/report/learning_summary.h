// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/replay/learning_lines.h"
#include "host/report/scene_cache.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// How much of what was opened cold one way of choosing scenes would have held.
struct HitRate {
    uint64_t held = 0;
    std::optional<double> changesADay;  // Scenes that came in or went out; nothing where that is not known.
};

// What the choice of the plugin is worth. Counted are the page scenes opened cold, from the first training of the run
// on. A scene is opened cold when it was not opened in the COLD_AFTER_US before. Every choice but `seenBefore`, which
// no choice can beat without guessing, holds as many scenes as the plugin's set may.
struct LearningQuality {
    int64_t fromUs = 0;  // The first training.
    uint64_t coldOpenings = 0;
    HitRate published;   // The published set.
    HitRate served;      // The published set, and the scenes that found room beside it.
    HitRate recent;      // The scenes opened last.
    HitRate frequent;    // The scenes opened most often so far.
    HitRate bestFixed;   // The scenes opened cold most often in the whole time counted: known in hindsight only.
    HitRate seenBefore;  // Every scene opened before.

    // Every choice, in the order in which they are told.
    struct Choice {
        const char* key;   // For programs.
        const char* name;  // For people.
        HitRate rate;
    };
    std::vector<Choice> Choices() const;

    // Of the cold openings, from 0 to 1.
    double ShareOf(const HitRate& rate) const;
};

// From one publication of the set to the next: what the set was, and how many of the page scenes opened cold meanwhile
// each choice held. Nothing is counted before the first training.
struct LearningPeriod {
    int64_t fromUs = 0;
    uint64_t publications = 1;  // More where periods have been joined.
    uint64_t setSize = 0;       // The last.
    uint64_t added = 0;
    uint64_t removed = 0;
    uint64_t coldOpenings = 0;
    uint64_t published = 0;
    uint64_t served = 0;
    uint64_t recent = 0;
    uint64_t frequent = 0;
    uint64_t seenBefore = 0;
};

// How the plugin learned, made of the journal's entries and nothing else. Needs log lines down to DEBUG. To be read
// when it is no sink of the journal any more.
class LearningSummary final : public JournalSink {
public:
    static constexpr int64_t COLD_AFTER_US = 30 * 60 * int64_t{1000000};

    // What the plugin takes when nothing is configured.
    static constexpr uint64_t DEFAULT_CAPACITY = 500;

    // In a run with more, each two periods are joined.
    static constexpr size_t MOST_PERIODS = 500;

    LearningSummary();

    void OnEntry(const JournalEntry& entry) override;
    bool NeedsDescriptors() const override { return false; }

    uint64_t Trainings() const { return trainings_; }
    uint64_t SkippedTrainings() const { return skippedTrainings_; }

    uint64_t Publications() const { return publications_; }
    uint64_t Capacity() const { return capacity_; }
    uint64_t SetSize() const { return setSize_; }
    // Scenes that came in or went out, over the whole run. Nothing when the contents of no set are known.
    std::optional<uint64_t> SetChanges() const { return setChanges_; }

    uint64_t Flushes() const { return flushes_; }
    uint64_t FlushedNames() const { return flushedNames_; }
    uint64_t FailedFlushes() const { return failedFlushes_; }

    uint64_t PagesOpened() const { return pagesOpened_; }
    uint64_t PagesServed() const { return pagesServed_; }
    uint64_t PagesServedBeside() const { return pagesServedBeside_; }
    uint64_t PageScenes() const { return scenes_.size(); }

    // Nothing before a training.
    std::optional<LearningQuality> Quality() const;

    const std::vector<LearningPeriod>& Periods() const { return periods_; }

private:
    struct SceneUse {
        int64_t lastUs;
        uint64_t countedColdOpenings = 0;
    };

    void Note(const CapacityLine& line);
    void Note(const FlushLine& line);
    void Note(const TrainingLine& line);
    void Note(const PublishedLine& line);
    void Note(const PageLine& line);
    void CountCold(const PageLine& page, bool isNew);
    void BeginPeriod(uint64_t setSize);
    bool IsCounting() const { return countingFromUs_.has_value(); }
    double ADay(uint64_t count) const;

    int64_t nowUs_ = 0;
    uint64_t capacity_ = DEFAULT_CAPACITY;
    uint64_t trainings_ = 0;
    uint64_t skippedTrainings_ = 0;
    uint64_t publications_ = 0;
    uint64_t setSize_ = 0;
    std::optional<uint64_t> setChanges_;
    uint64_t flushes_ = 0;
    uint64_t flushedNames_ = 0;
    uint64_t failedFlushes_ = 0;
    uint64_t pagesOpened_ = 0;
    uint64_t pagesServed_ = 0;
    uint64_t pagesServedBeside_ = 0;

    std::unordered_map<std::string, SceneUse> scenes_;
    SceneCache recent_{SceneRanking::RECENCY};
    SceneCache frequent_{SceneRanking::FREQUENCY};

    // The counting begins when the set of the first training is published.
    std::optional<int64_t> countingFromUs_;
    bool isFirstSetKnown_ = false;
    uint64_t changesBefore_ = 0;
    uint64_t recentChangesBefore_ = 0;
    uint64_t frequentChangesBefore_ = 0;
    uint64_t newScenes_ = 0;

    std::vector<LearningPeriod> periods_;
    uint64_t publicationsAPeriod_ = 1;  // The last one may hold less.
};

}  // namespace ZYRA::Host
