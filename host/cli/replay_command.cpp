// SPDX-License-Identifier: Apache-2.0
#include "host/cli/replay_command.h"

#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <vector>

#include "host/cli/help.h"
#include "host/cli/replay_progress.h"
#include "host/cli/stop_signals.h"
#include "host/cli/wanted_file.h"
#include "host/replay/journal_writer.h"
#include "host/replay/log_level_filter.h"
#include "host/replay/replay.h"
#include "host/replay/scenario_file.h"
#include "host/report/findings.h"
#include "host/report/noted_replay.h"
#include "host/report/page/report_page.h"
#include "host/report/progress_line.h"
#include "host/report/summary_json.h"
#include "host/report/summary_text.h"
#include "host/report/timeline/run_timeline.h"
#include "host/report/trace/trace_writer.h"
#include "host/runtime/log_sink.h"
#include "platform/log.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host replay cold_start.jsonl                                  with cold_start.device.json, if there is "
    "one\n"
    "  iosched-host replay cold_start.jsonl --device small.json --journal -  the journal on standard output\n"
    "  iosched-host replay day.jsonl --data state/ --log-level DEBUG         keep /data for the next run\n";

const std::map<std::string, LogLevel> LOG_LEVELS = {{"DEBUG", LogLevel::DEBUG},
                                                    {"INFO", LogLevel::INFO},
                                                    {"WARN", LogLevel::WARN},
                                                    {"ERROR", LogLevel::ERROR},
                                                    {"FATAL", LogLevel::FATAL}};

ExitCode ExitCodeOf(ReplayOutcome outcome) {
    switch (outcome) {
        case ReplayOutcome::DONE:
            return EXIT_DONE;
        case ReplayOutcome::FAILED:
            return EXIT_RUN_FAILED;
        case ReplayOutcome::BAD_PLUGIN:
            return EXIT_BAD_INPUT;
        case ReplayOutcome::NO_DEVICE:
            return EXIT_NO_SANDBOX;
    }
    return EXIT_RUN_FAILED;
}

bool IsColoured(std::FILE* stream) {
    const char* noColour = std::getenv("NO_COLOR");
    return isatty(fileno(stream)) == 1 && (noColour == nullptr || *noColour == '\0');
}

}  // namespace

void ReplayCommand::AddTo(CLI::App& app) {
    CLI::App& command = *app.add_subcommand("replay", "Play a scenario on a virtual device.");
    SetExamples(command, EXAMPLES);
    command.add_option("SCENARIO", scenarioFile_, "The scenario, JSON Lines")->required()->type_name("");
    command.add_option("--device", deviceFile_, "The device model, in place of NAME.device.json beside NAME.jsonl")
        ->type_name("FILE.json");
    command.add_option("--data", dataFolder_, "A folder that is the device's /data and is kept")->type_name("DIR");
    command.add_option("--journal", journalFile_, "Where to write the journal; - is standard output")
        ->type_name("FILE|-");
    command.add_option("--json", jsonFile_, "Where to write the summary for programs; - is standard output")
        ->type_name("FILE|-");
    command.add_option("--report", reportFile_, "Where to write a page for a browser that shows the run")
        ->type_name("FILE.html");
    command.add_option("--trace", traceFile_, "Where to write a timeline for a trace viewer; - is standard output")
        ->type_name("FILE|-");
    command.add_option("--log-level", logLevel_, "The lowest level that is logged")
        ->check(CLI::IsMember(&LOG_LEVELS).description(""))
        ->type_name("DEBUG|INFO|WARN|ERROR|FATAL")
        ->capture_default_str();
    settings_.AddTo(command);
    command.add_flag("--real-time", isRealTime_, "Run on threads and by the machine's clock, as on a device");
    command.add_flag("--reveal-private", revealsPrivate_, "Show the private arguments of log lines");
}

ExitCode ReplayCommand::Run() {
    InputError error;
    const auto scenario = ScenarioFile::Open(scenarioFile_, error);
    if (scenario == nullptr) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    const auto model = LoadStartDevice(DeviceFileOf(scenarioFile_, deviceFile_), *scenario, error);
    auto options = model ? settings_.Options(error) : std::nullopt;
    const auto sandbox = options ? SandboxOf(*model, dataFolder_, error) : std::nullopt;
    if (!sandbox) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    options->realTime = isRealTime_;
    WantedFile journal{journalFile_};
    WantedFile trace{traceFile_};
    WantedResult json(jsonFile_);
    const bool isOutputTaken = journal.IsStandardOutput() || json.IsStandardOutput() || trace.IsStandardOutput();
    if (journal.IsStandardOutput() + json.IsStandardOutput() + trace.IsStandardOutput() > 1) {
        return Fail(EXIT_BAD_INPUT,
                    "iosched-host: only one of --journal, --json and --trace can go to standard output");
    }
    // The scenario is read while it is replayed.
    std::error_code ignored;
    if (!journalFile_.empty() && std::filesystem::equivalent(scenarioFile_, journalFile_, ignored)) {
        return Fail(EXIT_BAD_INPUT, journalFile_ + ": the scenario cannot be its own journal");
    }
    if (!traceFile_.empty() && std::filesystem::equivalent(scenarioFile_, traceFile_, ignored)) {
        return Fail(EXIT_BAD_INPUT, traceFile_ + ": the scenario cannot be its own trace");
    }
    WantedResult report(reportFile_);
    if (!json.Prepare()) {
        return Fail(EXIT_BAD_INPUT, FileError(jsonFile_).Text());
    }
    if (!report.Prepare()) {
        return Fail(EXIT_BAD_INPUT, FileError(reportFile_).Text());
    }
    if (!journal.Create()) {
        return Fail(EXIT_BAD_INPUT, FileError(journalFile_).Text());
    }
    if (!trace.Create()) {
        return Fail(EXIT_BAD_INPUT, FileError(traceFile_).Text());
    }

    if (const auto refusal = EnterSandbox(*sandbox); refusal) {
        return Fail(EXIT_NO_SANDBOX, *refusal);
    }
    SetRevealPrivate(revealsPrivate_);
    const LogLevel lowest = LOG_LEVELS.at(logLevel_);
    std::vector<JournalSink*> sinks;
    std::optional<JournalWriter> writer;
    std::optional<LogLevelFilter> toWriter;
    if (journal.file != nullptr) {
        writer.emplace(*journal.file);
        sinks.push_back(&toWriter.emplace(lowest, *writer));
    }
    std::optional<RunTimeline> timeline;
    if (report.IsWanted()) {
        sinks.push_back(&timeline.emplace());
    }
    std::optional<TraceWriter> tracer;
    std::optional<LogLevelFilter> toTracer;
    if (trace.file != nullptr) {
        tracer.emplace(*trace.file);
        sinks.push_back(&toTracer.emplace(lowest, *tracer));
    }
    Findings findings;
    ProgressLine progress;
    if (!journal.IsStandardOutput()) {
        const std::string name = std::filesystem::path(scenarioFile_).filename();
        options->onProgress = TellReplayOn(progress, "replaying " + name, scenario->StepCount());
    }
    {
        SignalInbox signals(STOP_SIGNALS);
        const StopOnSignal stopping(signals);
        options->stop = stopping.Token();
        RunNotedReplay(*model, *scenario, *options, lowest, sinks, findings);
    }
    progress.Clear();
    if (const int failure = journal.Finish(); failure != 0) {
        return Fail(EXIT_RUN_FAILED, journalFile_ + ": " + std::strerror(failure));
    }
    if (tracer) {
        tracer->Finish();
    }
    if (const int failure = trace.Finish(); failure != 0) {
        return Fail(EXIT_RUN_FAILED, traceFile_ + ": " + std::strerror(failure));
    }
    if (findings.result.outcome != ReplayOutcome::DONE) {
        return Fail(ExitCodeOf(findings.result.outcome), findings.result.error);
    }
    if (const int failure = json.IsWanted() ? json.Write(SummaryJson(findings)) : 0; failure != 0) {
        return Fail(EXIT_RUN_FAILED, jsonFile_ + ": " + std::strerror(failure));
    }
    if (timeline) {
        const std::string name = std::filesystem::path(scenarioFile_).filename();
        if (const int failure = report.Write(ReportPage(name, findings, *timeline)); failure != 0) {
            return Fail(EXIT_RUN_FAILED, reportFile_ + ": " + std::strerror(failure));
        }
    }
    std::FILE* const stream = isOutputTaken ? stderr : stdout;
    const std::string text = SummaryText(findings, IsColoured(stream));
    if (std::fwrite(text.data(), 1, text.size(), stream) != text.size() || std::fflush(stream) != 0) {
        return Fail(EXIT_RUN_FAILED, std::string("standard output: ") + std::strerror(errno));
    }
    return findings.result.isInterrupted ? EXIT_INTERRUPTED : EXIT_DONE;
}

}  // namespace ZYRA::Host
