// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary_json.h"

#include "host/report/json_text.h"

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr int SCHEMA = 1;

OrderedJson Scenes(const Summary& summary) {
    OrderedJson scenes = OrderedJson::object();
    for (const auto& [name, scene] : summary.Scenes()) {
        scenes[name] = {{"bound", scene.bound},       {"recordStates", scene.recordStates},
                        {"records", scene.records},   {"pages", scene.pages},
                        {"prereads", scene.prereads}, {"failedPrereads", scene.failedPrereads},
                        {"bytes", scene.bytes}};
    }
    return scenes;
}

OrderedJson Totals(const Summary& summary) {
    const SceneSummary total = summary.SceneTotal();
    return {{"bound", total.bound},       {"records", total.records},
            {"prereads", total.prereads}, {"failedPrereads", total.failedPrereads},
            {"bytes", total.bytes},       {"failures", summary.Failures()}};
}

OrderedJson Monitors(const Summary& summary) {
    OrderedJson monitors = OrderedJson::array();
    for (const MonitorSummary& monitor : summary.Monitors()) {
        OrderedJson work = OrderedJson::object();
        for (size_t state = 0; state < WORK_STATE_COUNT; ++state) {
            work[WorkStateName(static_cast<WorkState>(state))] = monitor.work.TotalUs(static_cast<WorkState>(state));
        }
        monitors.push_back({{"stateUs", monitor.states.TotalUs()}, {"workUs", work}});
    }
    return monitors;
}

OrderedJson Tallied(const Tally& tally) {
    OrderedJson counts = OrderedJson::object();
    for (const auto& [text, count] : tally.Counts()) {
        counts[text] = count;
    }
    return {{"counts", counts}, {"others", tally.Others()}};
}

OrderedJson Cold(const LearningQuality& quality) {
    OrderedJson held = OrderedJson::object();
    for (const auto& choice : quality.Choices()) {
        held[choice.key] = {{"openings", choice.rate.held},
                            {"share", quality.ShareOf(choice.rate)},
                            {"changesADay", OrNull(choice.rate.changesADay)}};
    }
    return {{"coldAfterUs", LearningSummary::COLD_AFTER_US},
            {"fromUs", quality.fromUs},
            {"openings", quality.coldOpenings},
            {"heldBy", held}};
}

OrderedJson Periods(const LearningSummary& learning) {
    OrderedJson periods = OrderedJson::array();
    for (const LearningPeriod& period : learning.Periods()) {
        periods.push_back({{"fromUs", period.fromUs},
                           {"publications", period.publications},
                           {"setSize", period.setSize},
                           {"added", period.added},
                           {"removed", period.removed},
                           {"openings", period.coldOpenings},
                           {"heldBy",
                            {{"published", period.published},
                             {"served", period.served},
                             {"lru", period.recent},
                             {"mfu", period.frequent},
                             {"seenBefore", period.seenBefore}}}});
    }
    return periods;
}

OrderedJson Learning(const LearningSummary& learning) {
    OrderedJson json = {{"trainings", learning.Trainings()},
                        {"skippedTrainings", learning.SkippedTrainings()},
                        {"publications", learning.Publications()},
                        {"capacity", learning.Capacity()},
                        {"setSize", learning.SetSize()},
                        {"setChanges", OrNull(learning.SetChanges())},
                        {"flushes", learning.Flushes()},
                        {"flushedNames", learning.FlushedNames()},
                        {"failedFlushes", learning.FailedFlushes()},
                        {"pageScenes", learning.PageScenes()},
                        {"pagesOpened", learning.PagesOpened()},
                        {"pagesServed", learning.PagesServed()},
                        {"pagesServedBeside", learning.PagesServedBeside()},
                        {"cold", nullptr},
                        {"periods", Periods(learning)}};
    if (const auto quality = learning.Quality(); quality) {
        json["cold"] = Cold(*quality);
    }
    return json;
}

OrderedJson Limits(const LimitSummary& limits) {
    const auto switched = [](const SwitchTime& time) {
        return OrderedJson{{"onUs", time.onUs}, {"times", time.times}};
    };
    OrderedJson fates = OrderedJson::object();
    for (const LimitFate fate : LIMIT_FATES) {
        fates[LimitFateKey(fate)] = limits.FateCount(fate);
    }
    OrderedJson first = OrderedJson::array();
    for (const LimitTrigger& trigger : limits.Triggers()) {
        OrderedJson processes = OrderedJson::array();
        for (const LimitedProcess& process : trigger.processes) {
            processes.push_back({{"pid", process.pid},
                                 {"uid", process.uid},
                                 {"bundleName", process.bundleName},
                                 {"fate", LimitFateKey(process.fate)},
                                 {"group", process.group}});
        }
        OrderedJson told = {{"timeUs", trigger.timeUs}, {"kind", trigger.isSlide ? "slide" : "start"}};
        if (!trigger.isSlide) {
            told["bundleName"] = trigger.bundleName;
            told["uid"] = trigger.uid;
        }
        told["switchedOn"] = trigger.isSwitchedOn;
        told["liftedUs"] = OrNull(trigger.liftedUs);
        told["processes"] = std::move(processes);
        first.push_back(std::move(told));
    }
    return {
        {"onUs", limits.AnySwitch().onUs},
        {"switches", {{"iocontrol", switched(limits.LimitedSwitch())}, {"heavyio", switched(limits.HeavySwitch())}}},
        {"starts", limits.Starts()},
        {"slides", limits.Slides()},
        {"fates", fates},
        {"first", first}};
}

OrderedJson SysEvents(const Summary& summary) {
    OrderedJson events = OrderedJson::array();
    for (const Summary::SysEvent& event : summary.SysEvents()) {
        events.push_back({{"timeUs", event.timeUs}, {"text", event.text}});
    }
    return events;
}

}  // namespace

OrderedJson SummaryObject(const Findings& findings) {
    const auto& [summary, learning, limits, result] = findings;
    return {{"schema", SCHEMA},
            {"interrupted", result.isInterrupted},
            {"totals", Totals(summary)},
            {"scenes", Scenes(summary)},
            {"learning", Learning(learning)},
            {"limits", Limits(limits)},
            {"failures",
             {{"faults", Tallied(summary.Faults())},
              {"refusedWrites", Tallied(summary.RefusedWrites())},
              {"refusedRequests", Tallied(summary.RefusedRequests())},
              {"failedPrereads", Tallied(summary.FailedPrereads())},
              {"faultEvents", Tallied(summary.FaultEvents())},
              {"errorLines", Tallied(summary.ErrorLines())}}},
            {"systemEvents", SysEvents(summary)},
            {"monitors", Monitors(summary)},
            {"counts",
             {{"steps", result.steps},
              {"scenarioSteps", result.allSteps},
              {"events", summary.Events()},
              {"journalEntries", summary.Entries()},
              {"systemEvents", summary.SysEventCount()},
              {"tasks", OrNull(result.tasksRun)},
              {"deviceUs", result.deviceUs},
              {"wallUs", result.wallUs}}}};
}

std::string SummaryJson(const Findings& findings) {
    return JsonDocument(SummaryObject(findings));
}

}  // namespace ZYRA::Host
