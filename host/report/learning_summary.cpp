// SPDX-License-Identifier: Apache-2.0
#include "host/report/learning_summary.h"

#include <algorithm>
#include <functional>

namespace ZYRA::Host {

namespace {

constexpr double US_PER_DAY = 24 * 3600 * 1e6;

// Takes the later period into the one before it.
void Join(LearningPeriod& period, const LearningPeriod& later) {
    period.publications += later.publications;
    period.setSize = later.setSize;
    period.added += later.added;
    period.removed += later.removed;
    period.coldOpenings += later.coldOpenings;
    period.published += later.published;
    period.served += later.served;
    period.recent += later.recent;
    period.frequent += later.frequent;
    period.seenBefore += later.seenBefore;
}

}  // namespace

std::vector<LearningQuality::Choice> LearningQuality::Choices() const {
    return {{"published", "published set", published},
            {"served", "published set and the room beside it", served},
            {"lru", "least recently used (LRU)", recent},
            {"mfu", "most frequently used, no decay", frequent},
            {"bestFixed", "best fixed set in hindsight", bestFixed},
            {"seenBefore", "seen before, no limit", seenBefore}};
}

double LearningQuality::ShareOf(const HitRate& rate) const {
    return coldOpenings == 0 ? 0 : static_cast<double>(rate.held) / static_cast<double>(coldOpenings);
}

LearningSummary::LearningSummary() {
    Note(CapacityLine{DEFAULT_CAPACITY});
}

void LearningSummary::OnEntry(const JournalEntry& entry) {
    nowUs_ = entry.timeUs;
    if (const auto* log = std::get_if<LogEntry>(&entry.fact)) {
        if (const auto line = ReadLearningLine(*log); line) {
            std::visit([this](const auto& typed) { Note(typed); }, *line);
        }
    } else if (const auto* set = std::get_if<TopSetEntry>(&entry.fact)) {
        if (!periods_.empty()) {
            periods_.back().added += set->added.size();
            periods_.back().removed += set->removed.size();
        }
        const uint64_t changes = setChanges_.value_or(0) + set->added.size() + set->removed.size();
        setChanges_ = changes;
        // That the first training fills the set is no change of what has been learned.
        if (!isFirstSetKnown_) {
            changesBefore_ = changes;
            isFirstSetKnown_ = IsCounting();
        }
    }
}

void LearningSummary::Note(const CapacityLine& line) {
    capacity_ = line.capacity;
    recent_.SetCapacity(capacity_);
    frequent_.SetCapacity(capacity_);
}

void LearningSummary::Note(const FlushLine& line) {
    ++(line.isDone ? flushes_ : failedFlushes_);
    flushedNames_ += line.names;
}

void LearningSummary::Note(const TrainingLine& line) {
    switch (line.phase) {
        case TrainingLine::Phase::BEGUN:
            break;
        case TrainingLine::Phase::SKIPPED:
            ++skippedTrainings_;
            break;
        case TrainingLine::Phase::DONE:
            ++trainings_;
            break;
    }
}

void LearningSummary::Note(const PublishedLine& line) {
    ++publications_;
    setSize_ = line.size;
    BeginPeriod(line.size);
    if (trainings_ > 0 && !IsCounting()) {
        countingFromUs_ = nowUs_;
        recentChangesBefore_ = recent_.Changes();
        frequentChangesBefore_ = frequent_.Changes();
    }
}

void LearningSummary::BeginPeriod(uint64_t setSize) {
    LearningPeriod period;
    period.fromUs = nowUs_;
    period.setSize = setSize;
    if (!periods_.empty() && periods_.back().publications < publicationsAPeriod_) {
        Join(periods_.back(), period);
        return;
    }
    if (periods_.size() == MOST_PERIODS) {
        for (size_t index = 0; index < MOST_PERIODS / 2; ++index) {
            periods_[index] = periods_[2 * index];
            Join(periods_[index], periods_[2 * index + 1]);
        }
        periods_.resize(MOST_PERIODS / 2);
        publicationsAPeriod_ *= 2;
    }
    periods_.push_back(period);
}

void LearningSummary::Note(const PageLine& line) {
    ++pagesOpened_;
    pagesServed_ += line.isServed ? 1 : 0;
    pagesServedBeside_ += line.isServed && !line.isInSet ? 1 : 0;
    const auto [use, isNew] = scenes_.try_emplace(line.scene, SceneUse{nowUs_});
    if (IsCounting() && (isNew || nowUs_ - use->second.lastUs >= COLD_AFTER_US)) {
        ++use->second.countedColdOpenings;
        CountCold(line, isNew);
    }
    newScenes_ += IsCounting() && isNew ? 1 : 0;
    use->second.lastUs = nowUs_;
    recent_.Open(line.scene);
    frequent_.Open(line.scene);
}

void LearningSummary::CountCold(const PageLine& page, bool isNew) {
    LearningPeriod now;
    now.publications = 0;
    now.coldOpenings = 1;
    now.published = page.isInSet ? 1 : 0;
    now.served = page.isServed ? 1 : 0;
    now.recent = recent_.Holds(page.scene) ? 1 : 0;
    now.frequent = frequent_.Holds(page.scene) ? 1 : 0;
    now.seenBefore = isNew ? 0 : 1;
    now.setSize = periods_.back().setSize;
    Join(periods_.back(), now);
}

double LearningSummary::ADay(uint64_t count) const {
    const auto days = static_cast<double>(nowUs_ - *countingFromUs_) / US_PER_DAY;
    return days > 0 ? static_cast<double>(count) / days : 0;
}

std::optional<LearningQuality> LearningSummary::Quality() const {
    if (!IsCounting()) {
        return std::nullopt;
    }
    LearningQuality quality;
    quality.fromUs = *countingFromUs_;
    for (const LearningPeriod& period : periods_) {
        quality.coldOpenings += period.coldOpenings;
        quality.published.held += period.published;
        quality.served.held += period.served;
        quality.recent.held += period.recent;
        quality.frequent.held += period.frequent;
        quality.seenBefore.held += period.seenBefore;
    }
    std::vector<uint64_t> counts;
    counts.reserve(scenes_.size());
    for (const auto& [name, use] : scenes_) {
        counts.push_back(use.countedColdOpenings);
    }
    std::sort(counts.begin(), counts.end(), std::greater<>());
    counts.resize(std::min<size_t>(counts.size(), capacity_));
    for (const uint64_t count : counts) {
        quality.bestFixed.held += count;
    }
    if (setChanges_) {
        quality.published.changesADay = ADay(*setChanges_ - changesBefore_);
    }
    quality.recent.changesADay = ADay(recent_.Changes() - recentChangesBefore_);
    quality.frequent.changesADay = ADay(frequent_.Changes() - frequentChangesBefore_);
    quality.bestFixed.changesADay = 0;
    quality.seenBefore.changesADay = ADay(newScenes_);
    return quality;
}

}  // namespace ZYRA::Host
