// SPDX-License-Identifier: Apache-2.0
#include "host/cli/compare_command.h"

#include <sys/wait.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

#include "host/cli/forked_work.h"
#include "host/cli/help.h"
#include "host/cli/replay_progress.h"
#include "host/cli/stop_signals.h"
#include "host/cli/wanted_file.h"
#include "host/replay/output_file.h"
#include "host/report/comparison.h"
#include "host/report/comparison_output.h"
#include "host/report/findings.h"
#include "host/report/noted_replay.h"
#include "host/report/paced_progress.h"
#include "host/report/summary_json.h"
#include "host/report/summary_text.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host compare day.jsonl --device small.json --device large.json   side by side, with the differences\n"
    "  iosched-host compare day.jsonl --device a.json --device b.json --json -  the same for programs\n";

constexpr size_t FEWEST_DEVICES = 2;
constexpr int MOST_DEVICES = 16;

struct ComparedDevice {
    DeviceModel model;
    SandboxConfig sandbox;
};

// Replays in the forked process. The answer is the summary, or one line where the result is not EXIT_DONE.
ExitCode ReplayForked(const ComparedDevice& device, ScenarioFile& scenario, ReplayOptions options,
                      SignalInbox& stopSignals, OutputFile& answer) {
    if (const auto refusal = EnterSandbox(device.sandbox); refusal) {
        answer.Write(*refusal);
        return EXIT_NO_SANDBOX;
    }
    const StopOnSignal stopping(stopSignals);
    options.stop = stopping.Token();
    Findings findings;
    RunNotedReplay(device.model, scenario, options, LogLevel::INFO, {}, findings);
    if (findings.result.outcome != ReplayOutcome::DONE) {
        answer.Write(findings.result.error);
        return ExitCodeOf(findings.result.outcome);
    }
    answer.Write(SummaryJson(findings));
    return EXIT_DONE;
}

// What is left of the forked process.
void TakeAnswer(const ForkedEnd& end, ComparedRun& run) {
    if (WIFSIGNALED(end.status)) {
        const int number = WTERMSIG(end.status);
        run.failure = "killed by signal " + std::to_string(number) + " (" + strsignal(number) + ')';
        return;
    }
    if (WEXITSTATUS(end.status) != EXIT_DONE) {
        run.failure = end.answer.empty() ? "ended with status " + std::to_string(WEXITSTATUS(end.status)) : end.answer;
        return;
    }
    run.summary = nlohmann::ordered_json::parse(end.answer);
    if (run.summary.at("interrupted").get<bool>()) {
        const auto& counts = run.summary.at("counts");
        run.failure = InterruptionText(counts.at("steps").get<uint64_t>(), counts.at("scenarioSteps").get<uint64_t>());
    }
}

}  // namespace

void CompareCommand::AddTo(CLI::App& app) {
    CLI::App& command = *app.add_subcommand("compare", "Play a scenario on several devices and tell what differs.");
    SetExamples(command, EXAMPLES);
    command.add_option("SCENARIO", scenarioFile_, "The scenario, JSON Lines")->required()->type_name("");
    command
        .add_option("--device", deviceFiles_,
                    "A device model, " + std::to_string(FEWEST_DEVICES) + " to " + std::to_string(MOST_DEVICES) +
                        " times; the others are compared with the first")
        ->required()
        ->expected(1, MOST_DEVICES)
        ->allow_extra_args(false)
        ->type_name("FILE.json");
    command.add_option("--json", jsonFile_, "Where to write the comparison for programs; - is standard output")
        ->type_name("FILE|-");
    settings_.AddTo(command);
}

ExitCode CompareCommand::Run() {
    if (deviceFiles_.size() < FEWEST_DEVICES) {
        return Fail(EXIT_BAD_INPUT,
                    "iosched-host: --device: two are needed to compare (see iosched-host compare --help)");
    }
    InputError error;
    ProgressLine line;
    PacedProgress progress(line);
    const auto scenario = ScenarioFile::Open(scenarioFile_, error, TellCheckOn(progress, scenarioFile_));
    line.Clear();
    if (scenario == nullptr) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    std::vector<ComparedDevice> devices;
    for (const std::string& file : deviceFiles_) {
        auto model = LoadStartDevice(file, *scenario, error);
        const auto sandbox = model ? SandboxOf(*model, "", error) : std::nullopt;
        if (!sandbox) {
            return Fail(EXIT_BAD_INPUT, error.Text());
        }
        devices.push_back({std::move(*model), *sandbox});
    }
    auto options = settings_.Options(error);
    if (!options) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    WantedResult json(jsonFile_);
    if (!json.Prepare()) {
        return Fail(EXIT_BAD_INPUT, FileError(jsonFile_).Text());
    }

    std::vector<ComparedRun> runs;
    bool isInterrupted = false;
    {
        SignalInbox signals(STOP_SIGNALS);
        std::signal(FORKED_STOP_SIGNAL, SIG_DFL);
        SignalInbox stopSignals({FORKED_STOP_SIGNAL});
        for (size_t index = 0; index < devices.size(); ++index) {
            ComparedRun run{deviceFiles_[index], "", nullptr};
            isInterrupted = isInterrupted || signals.Take().has_value();
            if (isInterrupted) {
                run.failure = "not replayed";
                runs.push_back(std::move(run));
                continue;
            }
            const std::string what = "replaying " + std::filesystem::path(run.deviceFile).filename().string() + ", " +
                                     std::to_string(index + 1) + " of " + std::to_string(devices.size());
            const auto end = RunForked(
                [&](int descriptor) {
                    options->onProgress = TellReplayOn(progress, what, scenario->StepCount());
                    OutputFile answer{UniqueFd(descriptor)};
                    const ExitCode code = ReplayForked(devices[index], *scenario, *options, stopSignals, answer);
                    line.Clear();
                    return answer.Finish() == 0 ? code : EXIT_RUN_FAILED;
                },
                signals);
            if (!end) {
                return Fail(EXIT_RUN_FAILED, std::string("cannot start a process: ") + std::strerror(errno));
            }
            isInterrupted = end->wasStopped;
            if (WIFSIGNALED(end->status)) {
                line.EndLine();
            }
            TakeAnswer(*end, run);
            // What the machine or the plugin lacks, no device has.
            const int status = WIFEXITED(end->status) ? WEXITSTATUS(end->status) : EXIT_DONE;
            if (status == EXIT_NO_SANDBOX || status == EXIT_BAD_INPUT) {
                return Fail(static_cast<ExitCode>(status), run.failure);
            }
            runs.push_back(std::move(run));
        }
    }
    line.Clear();

    const Comparison comparison(scenarioFile_, std::move(runs));
    if (const int failure = json.Write(ComparisonJson(comparison, isInterrupted)); failure != 0) {
        return Fail(EXIT_RUN_FAILED, jsonFile_ + ": " + std::strerror(failure));
    }
    if (const int failure = Print(json.IsStandardOutput() ? stderr : stdout, ComparisonText(comparison));
        failure != 0) {
        return Fail(EXIT_RUN_FAILED, std::string("standard output: ") + std::strerror(failure));
    }
    if (isInterrupted) {
        return EXIT_INTERRUPTED;
    }
    return comparison.Complete().size() == comparison.Runs().size() ? EXIT_DONE : EXIT_RUN_FAILED;
}

}  // namespace ZYRA::Host
