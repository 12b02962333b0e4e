// SPDX-License-Identifier: Apache-2.0
#include "host/cli/import_command.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/cli/help.h"
#include "host/report/paced_progress.h"
#include "host/report/quantity_text.h"
#include "host/workload/scenario_text.h"
#include "host/workload/usage_columns.h"
#include "host/workload/usage_import.h"
#include "host/workload/usage_log.h"
#include "host/workload/workload_files.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host import usage.csv --columns app=App,time=Time                         usage.jsonl and "
    "usage.device.json\n"
    "  iosched-host import usage.csv --columns \"app=App name,time=Start,duration=Length\" --output week.jsonl\n";

ExitCode Fail(ExitCode code, const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
    return code;
}

bool IsSameFile(const std::string& file, const std::string& other) {
    std::error_code ignored;
    return std::filesystem::equivalent(file, other, ignored);
}

}  // namespace

void ImportCommand::AddTo(CLI::App& app) {
    CLI::App& command = *app.add_subcommand("import", "Make a scenario of a log of how a device was used.");
    SetExamples(command, EXAMPLES);
    command.add_option("FILE.csv", logFile_, "The log: a row each time somebody turns to an application")
        ->required()
        ->type_name("");
    command.add_option("--columns", columns_, "The names of the log's columns that are read")
        ->required()
        ->type_name("app=NAME,time=NAME[,duration=NAME][,page=NAME]");
    command.add_option("--output", outputFile_, "The scenario, in place of NAME.jsonl for NAME.csv")
        ->type_name("FILE.jsonl");
}

ExitCode ImportCommand::Run() {
    std::string what;
    const auto columns = ParseUsageColumns(columns_, what);
    if (!columns) {
        return Fail(EXIT_BAD_INPUT, "iosched-host: --columns: " + what);
    }
    std::string text;
    if (!LoadStringFromFile(logFile_, text)) {
        return Fail(EXIT_BAD_INPUT, InputError{logFile_, 0, std::strerror(errno)}.Text());
    }
    UsageLog log;
    InputError error;
    const bool isUsable = ParseUsageLog(logFile_, text, *columns, log, error);
    for (const InputError& badRow : log.badRows) {
        std::fprintf(stderr, "%s\n", badRow.Text().c_str());
    }
    for (const std::string& note : log.notes) {
        std::fprintf(stderr, "%s\n", note.c_str());
    }
    if (!isUsable) {
        return Fail(EXIT_BAD_INPUT, error.Text());
    }

    const std::filesystem::path logPath(logFile_);
    WorkloadFiles files(outputFile_.empty() ? std::filesystem::path(logPath).replace_extension(".jsonl").string()
                                            : outputFile_);
    for (const std::string& file : {files.ScenarioPath(), files.DevicePath()}) {
        if (IsSameFile(file, logFile_)) {
            return Fail(EXIT_BAD_INPUT, file + ": would replace the log; name another file with --output");
        }
    }
    ProgressLine line;
    PacedProgress progress(line);
    uint64_t lineCount = 0;
    ScenarioText scenario([&](std::string_view lines) {
        files.Write(lines);
        ++lineCount;
        progress.Tell([&] { return "writing " + files.ScenarioPath() + ": " + Counted(lineCount, "step"); });
    });
    scenario.Comment("Made from " + logPath.filename().string() + ": " + std::to_string(log.rows.size()) + " rows.");
    UsageImport usage(log, scenario);
    usage.Run();
    line.Clear();
    if (!files.Commit(usage.Device())) {
        return Fail(EXIT_RUN_FAILED, files.Failure());
    }
    const int written =
        std::printf("%s: %zu rows read, %zu taken, %zu bad; wrote %s and %s: %llu steps\n", logFile_.c_str(),
                    log.rowsRead, log.rows.size(), log.badRows.size(), files.ScenarioPath().c_str(),
                    files.DevicePath().c_str(), static_cast<unsigned long long>(scenario.StepCount()));
    if (written < 0 || std::fflush(stdout) != 0) {
        return Fail(EXIT_RUN_FAILED, std::string("standard output: ") + std::strerror(errno));
    }
    return EXIT_DONE;
}

}  // namespace ZYRA::Host
