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
    std::string file;
    DeviceModel model;
    SandboxConfig sandbox;
};

struct ComparedRuns {
    std::vector<ComparedRun> runs;  // In the order of the devices.
    bool isInterrupted = false;
    // Why there is nothing to compare, with a line on it: what the machine or the plugin lacks, no device has.
    ExitCode refusal = EXIT_DONE;
    std::string error;
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

// Replays on one device after the other, each in a process of its own.
class ForkedReplays {
public:
    // The line is the one on which the progress is told.
    ForkedReplays(ScenarioFile& scenario, const ReplayOptions& options, ProgressLine& line, PacedProgress& progress)
        : scenario_(scenario), options_(options), line_(line), progress_(progress) {}

    // The first signal ends the replay that runs, and those after it are not begun. REQUIRES: as RunForked.
    ComparedRuns Run(const std::vector<ComparedDevice>& devices) {
        ComparedRuns compared;
        SignalInbox signals(STOP_SIGNALS);
        std::signal(FORKED_STOP_SIGNAL, SIG_DFL);
        SignalInbox stopSignals({FORKED_STOP_SIGNAL});
        for (size_t index = 0; index < devices.size(); ++index) {
            ComparedRun& run = compared.runs.emplace_back(ComparedRun{devices[index].file, "", nullptr});
            compared.isInterrupted = compared.isInterrupted || signals.Take().has_value();
            if (compared.isInterrupted) {
                run.failure = "not replayed";
                continue;
            }
            const std::string place = std::to_string(index + 1) + " of " + std::to_string(devices.size());
            const auto end = Replay(devices[index], place, signals, stopSignals);
            if (!end) {
                compared.refusal = EXIT_RUN_FAILED;
                compared.error = std::string("cannot start a process: ") + std::strerror(errno);
                return compared;
            }
            TakeAnswer(*end, run);
            const int status = WIFEXITED(end->status) ? WEXITSTATUS(end->status) : EXIT_DONE;
            if (status == EXIT_NO_SANDBOX || status == EXIT_BAD_INPUT) {
                compared.refusal = static_cast<ExitCode>(status);
                compared.error = run.failure;
                return compared;
            }
            // The last one may have come to its end all the same.
            compared.isInterrupted = end->wasStopped && (!run.failure.empty() || index + 1 < devices.size());
        }
        return compared;
    }

private:
    std::optional<ForkedEnd> Replay(const ComparedDevice& device, const std::string& place, SignalInbox& signals,
                                    SignalInbox& stopSignals) {
        const std::string name = std::filesystem::path(device.file).filename();
        options_.onProgress = TellReplayOn(progress_, "replaying " + name + ", " + place, scenario_.StepCount());
        auto end = RunForked(
            [&](int descriptor) {
                OutputFile answer{UniqueFd(descriptor)};
                const ExitCode code = ReplayForked(device, scenario_, options_, stopSignals, answer);
                line_.Clear();
                return answer.Finish() == 0 ? code : EXIT_RUN_FAILED;
            },
            signals);
        if (end && WIFSIGNALED(end->status)) {
            line_.EndLine();
        }
        return end;
    }

    ScenarioFile& scenario_;
    ReplayOptions options_;
    ProgressLine& line_;
    PacedProgress& progress_;
};

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
    std::vector<ReadFile> read = {{scenarioFile_, "the scenario"}};
    for (const std::string& file : deviceFiles_) {
        auto model = LoadStartDevice(file, *scenario, error);
        const auto sandbox = model ? SandboxOf(*model, "", error) : std::nullopt;
        if (!sandbox) {
            return Fail(EXIT_BAD_INPUT, error.Text());
        }
        devices.push_back({file, std::move(*model), *sandbox});
        read.push_back({file, "a device model"});
    }
    const auto options = settings_.Options(error);
    if (!options) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }
    if (const std::string clash = WriteClash({jsonFile_}, read); !clash.empty()) {
        return Fail(EXIT_BAD_INPUT, clash);
    }
    WantedResult json(jsonFile_);
    if (!json.Prepare()) {
        return Fail(EXIT_BAD_INPUT, FileError(jsonFile_).Text());
    }

    ComparedRuns compared = ForkedReplays(*scenario, *options, line, progress).Run(devices);
    if (compared.refusal != EXIT_DONE) {
        return Fail(compared.refusal, compared.error);
    }
    const Comparison comparison(scenarioFile_, std::move(compared.runs));
    if (const int failure = json.Write(ComparisonJson(comparison, compared.isInterrupted)); failure != 0) {
        return Fail(EXIT_RUN_FAILED, jsonFile_ + ": " + std::strerror(failure));
    }
    if (const int failure = Print(json.IsStandardOutput() ? stderr : stdout, ComparisonText(comparison));
        failure != 0) {
        return Fail(EXIT_RUN_FAILED, std::string("standard output: ") + std::strerror(failure));
    }
    if (compared.isInterrupted) {
        return EXIT_INTERRUPTED;
    }
    return comparison.Complete().size() == comparison.Runs().size() ? EXIT_DONE : EXIT_RUN_FAILED;
}

}  // namespace ZYRA::Host
