// SPDX-License-Identifier: Apache-2.0
#include "host/cli/replay_command.h"

#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
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
#include "host/replay/replay.h"
#include "host/replay/scenario_file.h"
#include "host/report/findings.h"
#include "host/report/noted_replay.h"
#include "host/report/paced_progress.h"
#include "host/report/summary_text.h"
#include "host/runtime/log_sink.h"
#include "platform/log.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host replay cold_start.jsonl                                  with cold_start.device.json, if there is "
    "one\n"
    "  iosched-host replay cold_start.jsonl --report start.html              the run as a page for a browser\n"
    "  iosched-host replay cold_start.jsonl --device small.json --journal -  the journal on standard output\n"
    "  iosched-host replay day.jsonl --data state/ --log-level DEBUG         keep /data for the next run\n";

const std::map<std::string, LogLevel> LOG_LEVELS = {{"DEBUG", LogLevel::DEBUG},
                                                    {"INFO", LogLevel::INFO},
                                                    {"WARN", LogLevel::WARN},
                                                    {"ERROR", LogLevel::ERROR},
                                                    {"FATAL", LogLevel::FATAL}};

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
    outputs_.AddTo(command);
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
    ProgressLine line;
    PacedProgress progress(line);
    const auto scenario = ScenarioFile::Open(scenarioFile_, error, TellCheckOn(progress, scenarioFile_));
    line.Clear();
    if (scenario == nullptr) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    const std::string deviceFile = DeviceFileOf(scenarioFile_, deviceFile_);
    const auto model = LoadStartDevice(deviceFile, *scenario, error);
    auto options = model ? settings_.Options(error) : std::nullopt;
    const auto sandbox = options ? SandboxOf(*model, dataFolder_, error) : std::nullopt;
    if (!sandbox) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    options->realTime = isRealTime_;
    const std::string wrong = outputs_.Open({{scenarioFile_, "the scenario"}, {deviceFile, "the device model"}});
    if (!wrong.empty()) {
        return Fail(EXIT_BAD_INPUT, wrong);
    }

    if (const auto refusal = EnterSandbox(*sandbox); refusal) {
        return Fail(EXIT_NO_SANDBOX, *refusal);
    }
    SetRevealPrivate(revealsPrivate_);
    const LogLevel lowest = LOG_LEVELS.at(logLevel_);
    const std::vector<JournalSink*> sinks = outputs_.Sinks(lowest);
    const std::string name = std::filesystem::path(scenarioFile_).filename();
    Findings findings;
    if (!outputs_.IsWritingToStandardOutput()) {
        options->onProgress = TellReplayOn(progress, "replaying " + name, scenario->StepCount());
    }
    {
        SignalInbox signals(STOP_SIGNALS);
        const StopOnSignal stopping(signals);
        options->stop = stopping.Token();
        RunNotedReplay(*model, *scenario, *options, lowest, sinks, findings);
    }
    line.Clear();
    if (const std::string failure = outputs_.FinishSinks(); !failure.empty()) {
        return Fail(EXIT_RUN_FAILED, failure);
    }
    if (findings.result.outcome != ReplayOutcome::DONE) {
        return Fail(ExitCodeOf(findings.result.outcome), findings.result.error);
    }
    if (const std::string failure = outputs_.Write(name, findings); !failure.empty()) {
        return Fail(EXIT_RUN_FAILED, failure);
    }
    std::FILE* const stream = outputs_.SummaryStream();
    if (const int failure = Print(stream, SummaryText(findings, IsColoured(stream))); failure != 0) {
        return Fail(EXIT_RUN_FAILED, std::string("standard output: ") + std::strerror(failure));
    }
    return findings.result.isInterrupted ? EXIT_INTERRUPTED : EXIT_DONE;
}

}  // namespace ZYRA::Host
