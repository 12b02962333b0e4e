// SPDX-License-Identifier: Apache-2.0
#include "host/report/timeline/timeline_json.h"

#include <optional>

#include "host/report/event_names.h"

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

// How long after the start of the story a moment came.
OrderedJson After(const StartStory& story, const std::optional<int64_t>& moment) {
    return moment ? OrderedJson(*moment - story.timeUs) : OrderedJson(nullptr);
}

// Rows are arrays, and texts are numbers, because there are so many of them.
OrderedJson Spans(const std::vector<TimelineSpan>& lane, int64_t untilUs) {
    OrderedJson spans = OrderedJson::array();
    for (const TimelineSpan& span : lane) {
        spans.push_back(OrderedJson::array({span.fromUs, span.toUs < 0 ? untilUs : span.toUs, span.text, span.detail}));
    }
    return spans;
}

OrderedJson Monitors(const RunTimeline& timeline) {
    OrderedJson monitors = OrderedJson::array();
    for (const RunTimeline::MonitorLane& monitor : timeline.Monitors()) {
        monitors.push_back({{"states", Spans(monitor.states, timeline.UntilUs())},
                            {"scenes", Spans(monitor.scenes, timeline.UntilUs())}});
    }
    return monitors;
}

OrderedJson Queues(const RunTimeline& timeline) {
    OrderedJson queues = OrderedJson::array();
    for (const TimelineQueue& queue : timeline.Queues()) {
        OrderedJson tasks = OrderedJson::array();
        for (const TimelineTask& task : queue.tasks) {
            tasks.push_back(OrderedJson::array(
                {task.submittedUs, task.begunUs, task.endedUs, task.name, task.isCancelled ? 1 : 0}));
        }
        queues.push_back({{"name", queue.name}, {"tasks", tasks}});
    }
    return queues;
}

OrderedJson Events(const RunTimeline& timeline) {
    OrderedJson events = OrderedJson::array();
    OrderedJson names = OrderedJson::object();
    for (const TimelineEvent& event : timeline.Events()) {
        const std::string key = std::to_string(event.resType) + '/' + std::to_string(event.value);
        names[key] = EventName(event.resType, event.value);
        events.push_back(
            OrderedJson::array({event.timeUs, event.resType, event.value, event.application, event.detail}));
    }
    return {{"names", names}, {"rows", events}};
}

OrderedJson Marks(const RunTimeline& timeline) {
    OrderedJson kinds = OrderedJson::array();
    for (size_t kind = 0; kind < MARK_KIND_COUNT; ++kind) {
        kinds.push_back(MarkKindKey(static_cast<MarkKind>(kind)));
    }
    OrderedJson rows = OrderedJson::array();
    for (const TimelineMark& mark : timeline.Marks()) {
        rows.push_back(OrderedJson::array({mark.timeUs, static_cast<int>(mark.kind), mark.text}));
    }
    return {{"kinds", kinds}, {"rows", rows}};
}

}  // namespace

OrderedJson TimelineObject(const RunTimeline& timeline) {
    OrderedJson switches = OrderedJson::object();
    for (const auto& [group, lane] : timeline.Switches()) {
        switches[group] = Spans(lane, timeline.UntilUs());
    }
    return {{"untilUs", timeline.UntilUs()},  {"leftOut", timeline.LeftOut()}, {"texts", timeline.Texts()},
            {"monitors", Monitors(timeline)}, {"switches", switches},          {"queues", Queues(timeline)},
            {"events", Events(timeline)},     {"marks", Marks(timeline)}};
}

OrderedJson StartsObject(const StartStories& starts) {
    OrderedJson stories = OrderedJson::array();
    for (const StartStory& story : starts.Stories()) {
        OrderedJson limitedForUs = nullptr;
        if (story.limitedUs && story.liftedUs) {
            limitedForUs = *story.liftedUs - *story.limitedUs;
        }
        stories.push_back({{"timeUs", story.timeUs},
                           {"bundleName", story.bundleName},
                           {"uid", story.uid},
                           {"monitor", story.scene.empty() ? OrderedJson(nullptr) : OrderedJson(story.monitor)},
                           {"scene", story.scene},
                           {"recordState", story.recordState},
                           {"boundAfterUs", After(story, story.boundUs)},
                           {"prereadAfterUs", After(story, story.prereadUs)},
                           {"prereadBytes", story.prereadBytes},
                           {"prereadError", story.prereadError},
                           {"collectedAfterUs", After(story, story.collectedFromUs)},
                           {"recordAfterUs", After(story, story.recordUs)},
                           {"recordPages", story.recordPages},
                           {"workEndedAfterUs", After(story, story.workEndedUs)},
                           {"processAfterUs", After(story, story.processUs)},
                           {"pageAfterUs", After(story, story.pageUs)},
                           {"pageShownAfterUs", After(story, story.pageShownUs)},
                           {"limitedAfterUs", After(story, story.limitedUs)},
                           {"limitedForUs", limitedForUs}});
    }
    return {{"stories", stories}, {"leftOut", starts.LeftOut()}};
}

}  // namespace ZYRA::Host
