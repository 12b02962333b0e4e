// SPDX-License-Identifier: Apache-2.0
#include "host/cli/generate_command.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <random>

#include "host/cli/help.h"
#include "host/replay/printable.h"
#include "host/report/paced_progress.h"
#include "host/workload/scenario_text.h"
#include "host/workload/usage_generator.h"
#include "host/workload/workload_files.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host generate --days 14 --apps 60                            generated.jsonl and generated.device.json\n"
    "  iosched-host generate --days 14 --apps 60 --seed 1 --output a.jsonl  the same bytes each time\n";

constexpr int64_t MOST_DAYS = 3660;
constexpr int64_t MOST_APPS = 2000;

// What a seed lacks, empty if it is one. The parser itself would take a sign, and cut a number that is too large.
std::string SeedProblem(const std::string& text) {
    uint64_t seed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seed);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? "" : "must be a number from 0 to " + std::to_string(UINT64_MAX) + ", not " + Quoted(text);
}

}  // namespace

void GenerateCommand::AddTo(CLI::App& app) {
    CLI::App& command = *app.add_subcommand("generate", "Make up a scenario, as a person would produce it.");
    SetExamples(command, EXAMPLES);
    command.add_option("--days", days_, "For how long the device is used, up to " + std::to_string(MOST_DAYS))
        ->required()
        ->check(CLI::Range(int64_t{1}, MOST_DAYS).description(""))
        ->type_name("D");
    command.add_option("--apps", apps_, "How many applications it has at first, up to " + std::to_string(MOST_APPS))
        ->required()
        ->check(CLI::Range(int64_t{1}, MOST_APPS).description(""))
        ->type_name("A");
    command.add_option("--seed", seed_, "What everything follows from; drawn and told if it is not given")
        ->check(SeedProblem)
        ->type_name("S");
    command.add_option("--output", outputFile_, "The scenario; its device model is written beside it")
        ->type_name("FILE.jsonl")
        ->capture_default_str();
}

ExitCode GenerateCommand::Run() {
    const uint64_t seed = seed_ ? *seed_ : std::random_device()();
    WorkloadFiles files(outputFile_);
    ProgressLine line;
    PacedProgress progress(line);
    int64_t daysDone = 0;
    ScenarioText scenario([&](std::string_view lines) {
        files.Write(lines);
        progress.Tell([&] {
            return "writing " + files.ScenarioPath() + ": " + std::to_string(daysDone) + " of " +
                   std::to_string(days_) + " days";
        });
    });
    if (files.Failure().empty()) {
        UsageGenerator generator({days_, static_cast<size_t>(apps_), seed}, scenario);
        const nlohmann::json device = generator.Device();
        generator.Run([&daysDone] { ++daysDone; });
        files.Commit(device);
    }
    line.Clear();
    if (!files.Failure().empty()) {
        std::fprintf(stderr, "%s\n", files.Failure().c_str());
        return EXIT_RUN_FAILED;
    }
    const int written = std::printf(
        "wrote %s and %s: %lld days, %lld applications, %llu steps, seed %llu\n", files.ScenarioPath().c_str(),
        files.DevicePath().c_str(), static_cast<long long>(days_), static_cast<long long>(apps_),
        static_cast<unsigned long long>(scenario.StepCount()), static_cast<unsigned long long>(seed));
    if (written < 0 || std::fflush(stdout) != 0) {
        std::fprintf(stderr, "standard output: %s\n", std::strerror(errno));
        return EXIT_RUN_FAILED;
    }
    return EXIT_DONE;
}

}  // namespace ZYRA::Host
