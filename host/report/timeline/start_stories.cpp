// SPDX-License-Identifier: Apache-2.0
#include "host/report/timeline/start_stories.h"

#include <algorithm>

#include "host/replay/event_numbers.h"
#include "host/services/executor_requests.h"

namespace ZYRA::Host {

namespace {

// The first time counts.
void Set(std::optional<int64_t>& moment, int64_t timeUs) {
    if (!moment) {
        moment = timeUs;
    }
}

bool IsOver(const StartStory& story) {
    return story.workEndedUs && story.pageShownUs && story.limitedUs.has_value() == story.liftedUs.has_value();
}

}  // namespace

template <typename Visit>
void StartStories::ForEachOpen(int64_t timeUs, Visit visit) {
    std::erase_if(open_, [&](size_t index) { return timeUs - stories_[index].timeUs > LONGEST_US; });
    for (const size_t index : open_) {
        visit(stories_[index]);
    }
    std::erase_if(open_, [&](size_t index) { return IsOver(stories_[index]); });
}

void StartStories::Note(int64_t timeUs, const EventStep& fact) {
    const std::string* bundleName = TextMember(fact.payload, "bundleName");
    if (bundleName == nullptr) {
        return;
    }
    if (fact.resType == EVENT_ABILITY_START && fact.value == COLD_START) {
        std::erase_if(open_, [&](size_t index) { return stories_[index].bundleName == *bundleName; });
        if (stories_.size() == MOST_STORIES) {
            ++leftOut_;
            return;
        }
        const std::string* uid = TextMember(fact.payload, "uid");
        open_.push_back(stories_.size());
        StartStory& story = stories_.emplace_back();
        story.timeUs = timeUs;
        story.bundleName = *bundleName;
        story.uid = uid == nullptr ? "" : *uid;
        return;
    }
    ForEachOpen(timeUs, [&](StartStory& story) {
        if (story.bundleName != *bundleName) {
            return;
        }
        if (fact.resType == EVENT_PROCESS_START && fact.value == PROCESS_HAS_STARTED) {
            Set(story.processUs, timeUs);
        } else if (fact.resType == EVENT_PAGE && fact.value == PAGE_BEGINS) {
            Set(story.pageUs, timeUs);
        } else if (fact.resType == EVENT_PAGE && fact.value == PAGE_IS_SHOWN) {
            Set(story.pageShownUs, timeUs);
        }
    });
}

// The first scene that is bound for the application from then on is the one of its start.
void StartStories::Note(int64_t timeUs, const BindEntry& fact) {
    ForEachOpen(timeUs, [&](StartStory& story) {
        if (story.scene.empty() && fact.scene.starts_with(story.bundleName + '/')) {
            story.monitor = fact.monitor;
            story.scene = fact.scene;
            story.recordState = fact.recordState;
            story.boundUs = timeUs;
        } else if (story.monitor == fact.monitor && story.scene != fact.scene) {
            Set(story.workEndedUs, timeUs);  // The monitor has turned to something else.
        }
    });
}

void StartStories::Note(int64_t timeUs, const PrereadEntry& fact) {
    ForEachOpen(timeUs, [&](StartStory& story) {
        if (!story.scene.empty() && story.scene == fact.scene && !story.prereadUs) {
            story.prereadUs = timeUs;
            story.prereadBytes = fact.bytes;
            story.prereadError = fact.error;
        }
    });
}

void StartStories::Note(int64_t timeUs, const MonitorEntry& fact) {
    ForEachOpen(timeUs, [&](StartStory& story) {
        if (story.monitor != fact.monitor || story.workEndedUs) {
            return;
        }
        if (fact.state == "INWORKING") {
            Set(story.collectedFromUs, timeUs);
        } else if (fact.state == "OUTOFWORK" || fact.state == "ABORT") {
            story.workEndedUs = timeUs;
        }
    });
}

void StartStories::Note(int64_t timeUs, const RecordEntry& fact) {
    ForEachOpen(timeUs, [&](StartStory& story) {
        if (!story.scene.empty() && story.scene == fact.scene && !story.recordUs) {
            story.recordUs = timeUs;
            story.recordPages = fact.pages;
        }
    });
}

void StartStories::NoteLimits(int64_t timeUs, bool areOn) {
    ForEachOpen(timeUs, [&](StartStory& story) {
        if (areOn) {
            Set(story.limitedUs, timeUs);
        } else if (story.limitedUs) {
            Set(story.liftedUs, timeUs);
        }
    });
}

}  // namespace ZYRA::Host
