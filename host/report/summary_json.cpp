// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary_json.h"

#include <nlohmann/json.hpp>

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr int SCHEMA = 1;
constexpr int INDENT = 2;

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
        held[choice.key] = {
            {"openings", choice.rate.held}, {"share", quality.ShareOf(choice.rate)}, {"changesADay", nullptr}};
        if (choice.rate.changesADay) {
            held[choice.key]["changesADay"] = *choice.rate.changesADay;
        }
    }
    return {{"coldAfterUs", LearningSummary::COLD_AFTER_US},
            {"fromUs", quality.fromUs},
            {"openings", quality.coldOpenings},
            {"heldBy", held}};
}

OrderedJson Learning(const LearningSummary& learning) {
    OrderedJson json = {{"trainings", learning.Trainings()},
                        {"skippedTrainings", learning.SkippedTrainings()},
                        {"publications", learning.Publications()},
                        {"capacity", learning.Capacity()},
                        {"setSize", learning.SetSize()},
                        {"setChanges", nullptr},
                        {"flushes", learning.Flushes()},
                        {"flushedNames", learning.FlushedNames()},
                        {"failedFlushes", learning.FailedFlushes()},
                        {"pageScenes", learning.PageScenes()},
                        {"pagesOpened", learning.PagesOpened()},
                        {"pagesServed", learning.PagesServed()},
                        {"pagesServedBeside", learning.PagesServedBeside()},
                        {"cold", nullptr}};
    if (learning.SetChanges()) {
        json["setChanges"] = *learning.SetChanges();
    }
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
        told["liftedUs"] = nullptr;
        if (trigger.liftedUs) {
            told["liftedUs"] = *trigger.liftedUs;
        }
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

}  // namespace

std::string SummaryJson(const Findings& findings) {
    const auto& [summary, learning, limits, result] = findings;
    OrderedJson json = {{"schema", SCHEMA},
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
                        {"monitors", Monitors(summary)},
                        {"counts",
                         {{"events", summary.Events()},
                          {"journalEntries", summary.Entries()},
                          {"systemEvents", summary.SysEventCount()},
                          {"tasks", nullptr},
                          {"deviceUs", result.deviceUs},
                          {"wallUs", result.wallUs}}}};
    if (result.tasksRun) {
        json["counts"]["tasks"] = *result.tasksRun;
    }
    return json.dump(INDENT, ' ', false, OrderedJson::error_handler_t::replace) + '\n';
}

}  // namespace ZYRA::Host
