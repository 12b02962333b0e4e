// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "host/replay/printable.h"
#include "host/report/quantity_text.h"
#include "host/report/text_table.h"

namespace ZYRA::Host {

namespace {

constexpr double US_PER_S = 1e6;
constexpr double US_PER_DAY = 24 * 3600 * US_PER_S;
constexpr int64_t US_PER_MINUTE = 60000000;
constexpr double PERCENT = 100;

constexpr size_t MOST_SCENES = 25;
constexpr size_t MOST_TRIGGERS_TOLD = 6;
constexpr size_t MOST_PROCESSES_TOLD = 15;
constexpr size_t MOST_SYS_EVENTS_TOLD = 20;

std::string Seconds(int64_t us) {
    return fmt::format("{:.3f} s", static_cast<double>(us) / US_PER_S);
}

// "absent", or "1 absent, 2 uptodate".
std::string RecordStatesText(const SceneSummary& scene) {
    std::string text;
    for (const auto& [state, count] : scene.recordStates) {
        const std::string times = scene.recordStates.size() == 1 ? "" : std::to_string(count) + ' ';
        text += (text.empty() ? "" : ", ") + times + Printable(state);
    }
    return text.empty() ? "-" : text;
}

// The scenes that are told one by one: all of them, by name, or those with the most work.
std::vector<const std::pair<const std::string, SceneSummary>*> MostWorkedOn(
    const std::map<std::string, SceneSummary>& scenes) {
    std::vector<const std::pair<const std::string, SceneSummary>*> told;
    told.reserve(scenes.size());
    for (const auto& scene : scenes) {
        told.push_back(&scene);
    }
    if (told.size() > MOST_SCENES) {
        std::stable_sort(told.begin(), told.end(),
                         [](const auto* left, const auto* right) { return left->second.bound > right->second.bound; });
        told.resize(MOST_SCENES);
    }
    return told;
}

// A process by its number and its bundle, and with its group, where that is a limited one and the fate does not say so.
std::string ProcessName(const LimitedProcess& process) {
    const std::string name = process.bundleName.empty() ? "(no bundle)" : Printable(process.bundleName);
    const bool isLimited = process.group == "iocontrol" || process.group == "heavyio";
    const bool isSaid = process.fate == LimitFate::LIMITED || process.fate == LimitFate::LIMITED_ALREADY ||
                        process.fate == LimitFate::HEAVY;
    return fmt::format("{} {}{}", process.pid, name, isLimited && !isSaid ? " [in " + process.group + ']' : "");
}

// The processes that had this fate, "" when none had.
std::string ProcessNames(const LimitTrigger& trigger, LimitFate fate) {
    std::string names;
    size_t count = 0;
    for (const LimitedProcess& process : trigger.processes) {
        if (process.fate == fate && ++count <= MOST_PROCESSES_TOLD) {
            names += (names.empty() ? "" : ", ") + ProcessName(process);
        }
    }
    return count > MOST_PROCESSES_TOLD ? fmt::format("{} and {} more", names, count - MOST_PROCESSES_TOLD) : names;
}

std::string LiftText(const LimitTrigger& trigger) {
    if (!trigger.isSwitchedOn) {
        return "not switched on";
    }
    return trigger.liftedUs ? "lifted at " + Seconds(*trigger.liftedUs) : "not lifted";
}

// Collects the text of the sections.
class SummaryWriter {
public:
    explicit SummaryWriter(bool isColoured) : isColoured_(isColoured) {}

    void Interruption(const ReplayResult& result);
    void Scenes(const Summary& summary);
    void Learning(const LearningSummary& learning);
    void Quality(const LearningQuality& quality, uint64_t capacity);
    void Limits(const LimitSummary& limits);
    void Trigger(const LimitTrigger& trigger);
    void Failures(const Summary& summary);
    void MonitorStates(const Summary& summary);
    void WorkStates(const Summary& summary);
    void SysEvents(const Summary& summary);
    void Counts(const Summary& summary, const ReplayResult& result);

    std::string Take() { return std::move(text_); }

private:
    void Heading(const char* title) { text_ += (text_.empty() ? "" : "\n") + Painted("1", title) + '\n'; }
    void Line(const std::string& line) { text_ += "  " + line + '\n'; }
    void FailureLines(const char* what, const Tally& tally);

    std::string Painted(const char* sgr, const std::string& text) const {
        return isColoured_ ? fmt::format("\x1b[{}m{}\x1b[0m", sgr, text) : text;
    }

    const bool isColoured_;
    std::string text_;
};

void SummaryWriter::Interruption(const ReplayResult& result) {
    if (result.isInterrupted) {
        text_ += Painted("31", InterruptionText(result.steps, result.allSteps)) + '\n';
    }
}

void SummaryWriter::Scenes(const Summary& summary) {
    Heading("Scenes");
    if (summary.Scenes().empty()) {
        Line("none");
        return;
    }
    TextTable table({"scene", "bound", "record found", "records made", "pages", "prereads", "failed", "bytes"});
    for (const auto* scene : MostWorkedOn(summary.Scenes())) {
        const auto& [name, work] = *scene;
        table.Add({Printable(name), std::to_string(work.bound), RecordStatesText(work), std::to_string(work.records),
                   work.records == 0 ? "-" : std::to_string(work.pages), std::to_string(work.prereads),
                   std::to_string(work.failedPrereads), Bytes(work.bytes)});
    }
    const SceneSummary total = summary.SceneTotal();
    table.Add({Counted(summary.Scenes().size(), "scene") + (summary.Scenes().size() > MOST_SCENES ? " in all" : ""),
               std::to_string(total.bound), "", std::to_string(total.records), "", std::to_string(total.prereads),
               std::to_string(total.failedPrereads), Bytes(total.bytes)});
    text_ += table.Text();
}

void SummaryWriter::Learning(const LearningSummary& learning) {
    Heading("Learning");
    const std::string skipped = learning.SkippedTrainings() == 0
                                    ? ""
                                    : fmt::format(", {} more had nothing to learn from", learning.SkippedTrainings());
    Line(fmt::format("{}{}", Counted(learning.Trainings(), "training"), skipped));
    const std::string changes =
        learning.SetChanges() ? ", " + Counted(*learning.SetChanges(), "scene") + " in or out" : "";
    Line(fmt::format("{} of {} scenes in the set, published {}{}", learning.SetSize(), learning.Capacity(),
                     Counted(learning.Publications(), "time"), changes));
    Line(fmt::format("{} of {}, {} failed", Counted(learning.Flushes(), "flush", "flushes"),
                     Counted(learning.FlushedNames(), "name"), learning.FailedFlushes()));
    Line(fmt::format("{} of {}, {} served: {} from the set, {} beside it", Counted(learning.PagesOpened(), "opening"),
                     Counted(learning.PageScenes(), "page scene"), learning.PagesServed(),
                     learning.PagesServed() - learning.PagesServedBeside(), learning.PagesServedBeside()));
    if (const auto quality = learning.Quality(); quality) {
        Quality(*quality, learning.Capacity());
    }
}

void SummaryWriter::Quality(const LearningQuality& quality, uint64_t capacity) {
    Heading("Page scenes opened cold");
    Line(fmt::format("{} since the first training, at {:.1f} days; cold is not opened for {} minutes",
                     Counted(quality.coldOpenings, "opening"), static_cast<double>(quality.fromUs) / US_PER_DAY,
                     LearningSummary::COLD_AFTER_US / US_PER_MINUTE));
    if (quality.coldOpenings == 0) {
        return;
    }
    TextTable table({Counted(capacity, "scene") + " held by", "openings", "share", "changes a day"});
    for (const auto& choice : quality.Choices()) {
        const HitRate& rate = choice.rate;
        table.Add({choice.name, std::to_string(rate.held), fmt::format("{:.1f} %", quality.ShareOf(rate) * PERCENT),
                   rate.changesADay ? fmt::format("{:.1f}", *rate.changesADay) : "-"});
    }
    text_ += table.Text();
}

void SummaryWriter::Limits(const LimitSummary& limits) {
    Heading("Background IO");
    const uint64_t count = limits.Starts() + limits.Slides();
    if (count == 0) {
        Line("never limited");
        return;
    }
    Line(fmt::format("limited for {}: {}, {}", Seconds(limits.AnySwitch().onUs), Counted(limits.Starts(), "start"),
                     Counted(limits.Slides(), "slide")));
    const auto& triggers = limits.Triggers();
    const size_t told = std::min(triggers.size(), MOST_TRIGGERS_TOLD);
    for (size_t index = 0; index < told; ++index) {
        Trigger(triggers[index]);
    }
    if (count > told) {
        Line(fmt::format("and {} more; in all, processes were", count - told));
        for (const LimitFate fate : LIMIT_FATES) {
            if (limits.FateCount(fate) != 0) {
                Line(fmt::format("  {:<15}  {}×", LimitFateName(fate), limits.FateCount(fate)));
            }
        }
    }
}

void SummaryWriter::Trigger(const LimitTrigger& trigger) {
    std::string what = "slide";
    if (!trigger.isSlide) {
        const std::string user = trigger.uid.empty() ? "no uid" : "uid " + Printable(trigger.uid);
        what = fmt::format("start of {} ({})", Printable(trigger.bundleName), user);
    }
    Line(fmt::format("{} {}, {}", Seconds(trigger.timeUs), what, LiftText(trigger)));
    for (const LimitFate fate : LIMIT_FATES) {
        if (const std::string names = ProcessNames(trigger, fate); !names.empty()) {
            Line(fmt::format("  {:<15}  {}", LimitFateName(fate), names));
        }
    }
}

void SummaryWriter::FailureLines(const char* what, const Tally& tally) {
    for (const auto& [line, count] : tally.Counts()) {
        Line(fmt::format("{} {}× {}", Painted("31", what), count, Printable(line)));
    }
    if (tally.Others() != 0) {
        Line(fmt::format("{} {}× other texts", Painted("31", what), tally.Others()));
    }
}

void SummaryWriter::Failures(const Summary& summary) {
    Heading("Failures");
    const size_t before = text_.size();
    FailureLines("fault struck   ", summary.Faults());
    FailureLines("refused write  ", summary.RefusedWrites());
    FailureLines("refused request", summary.RefusedRequests());
    FailureLines("failed preread ", summary.FailedPrereads());
    FailureLines("fault event    ", summary.FaultEvents());
    FailureLines("error line     ", summary.ErrorLines());
    if (text_.size() == before) {
        Line("none");
    }
}

void SummaryWriter::MonitorStates(const Summary& summary) {
    Heading("Monitor states");
    for (size_t index = 0; index < summary.Monitors().size(); ++index) {
        const StateTimeline& states = summary.Monitors().at(index).states;
        std::string line;
        const auto add = [&line](const StateTimeline::Change& change) {
            line += (line.empty() ? "" : " → ") + Seconds(change.timeUs) + ' ' + Printable(change.state);
        };
        for (const auto& change : states.First()) {
            add(change);
        }
        if (states.LeftOut() != 0) {
            line += fmt::format(" → … {} left out …", Counted(states.LeftOut(), "change"));
        }
        for (const auto& change : states.Last()) {
            add(change);
        }
        Line(fmt::format("monitor {}  {}", index, line));
        std::string totals;
        for (const auto& [state, us] : states.TotalUs()) {
            totals += (totals.empty() ? "" : ", ") + Printable(state) + ' ' + Seconds(us);
        }
        Line("  in total " + (totals.empty() ? Seconds(0) : totals));
    }
}

void SummaryWriter::WorkStates(const Summary& summary) {
    Heading("Time in each work state");
    std::vector<std::string> header = {"monitor"};
    for (size_t state = 0; state < WORK_STATE_COUNT; ++state) {
        header.emplace_back(WorkStateName(static_cast<WorkState>(state)));
    }
    TextTable table(header);
    for (size_t index = 0; index < summary.Monitors().size(); ++index) {
        std::vector<std::string> row = {std::to_string(index)};
        for (size_t state = 0; state < WORK_STATE_COUNT; ++state) {
            row.push_back(Seconds(summary.Monitors().at(index).work.TotalUs(static_cast<WorkState>(state))));
        }
        table.Add(std::move(row));
    }
    text_ += table.Text();
}

void SummaryWriter::SysEvents(const Summary& summary) {
    Heading("System events");
    const auto& events = summary.SysEvents();
    const size_t told = std::min(events.size(), MOST_SYS_EVENTS_TOLD);
    for (size_t index = 0; index < told; ++index) {
        Line(Seconds(events[index].timeUs) + ' ' + Printable(events[index].text));
    }
    if (summary.SysEventCount() > told) {
        Line(fmt::format("and {} more", summary.SysEventCount() - told));
    }
    if (summary.SysEventCount() == 0) {
        Line("none");
    }
}

void SummaryWriter::Counts(const Summary& summary, const ReplayResult& result) {
    Heading("Counts");
    std::string line =
        Counted(summary.Events(), "event") + ", " + Counted(summary.Entries(), "journal entry", "journal entries");
    if (result.tasksRun) {
        line += ", " + Counted(*result.tasksRun, "task") + " run, " + Seconds(result.deviceUs) + " virtual time";
    }
    Line(line + ", " + Seconds(result.wallUs) + " wall time");
}

}  // namespace

std::string InterruptionText(uint64_t steps, uint64_t allSteps) {
    return fmt::format("interrupted after {} of {}", steps, Counted(allSteps, "step"));
}

std::string SummaryText(const Findings& findings, bool isColoured) {
    const auto& [summary, learning, limits, result] = findings;
    SummaryWriter writer(isColoured);
    writer.Interruption(result);
    writer.Scenes(summary);
    writer.Learning(learning);
    writer.Limits(limits);
    writer.Failures(summary);
    writer.MonitorStates(summary);
    writer.WorkStates(summary);
    writer.SysEvents(summary);
    writer.Counts(summary, result);
    return writer.Take();
}

}  // namespace ZYRA::Host
