// SPDX-License-Identifier: Apache-2.0
#include "host/cli/launch_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <optional>

#include "host/cli/help.h"
#include "host/cli/replay_inputs.h"
#include "host/cli/wanted_file.h"
#include "host/launch/launch_json.h"
#include "host/launch/launch_machine.h"
#include "host/launch/launch_runner.h"
#include "host/launch/launch_table.h"
#include "host/replay/journal_writer.h"
#include "host/replay/printable.h"
#include "host/replay/sink_registration.h"
#include "host/report/progress_line.h"
#include "host/sandbox/sandbox.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host launch -- clang-tidy --version               cold starts without the plugin and with it\n"
    "  iosched-host launch --head-start 100 -- gdb --batch       the preread begins 100 ms before the process\n"
    "  iosched-host launch --background 2 -- node -e 0           beside two readers, which the plugin limits\n"
    "  iosched-host launch --data state/ -n 1 -- git --version   keep the record; see iosched-host records state/\n";

constexpr uint64_t MOST_RUNS = 1000;
constexpr uint64_t MOST_READERS = 64;
constexpr int64_t LONGEST_HEAD_START_MS = 5000;
constexpr int64_t US_PER_MS = 1000;
constexpr uint64_t ROM_BYTES = uint64_t{128} << 30;

}  // namespace

void LaunchCommand::AddTo(CLI::App& app) {
    CLI::App& command = *app.add_subcommand(
        "launch", "Start a real program cold, with the plugin and without, and compare. Needs root.");
    SetExamples(command, EXAMPLES);
    command.add_option("PROGRAM", program_, "The program and its arguments, after --")->required()->type_name("");
    command.add_option("-n,--runs", runs_, "How many starts of each kind")
        ->check(CLI::Range(uint64_t{1}, MOST_RUNS).description(""))
        ->type_name("RUNS")
        ->capture_default_str();
    command.add_option("--head-start", headStartMs_, "By how much the preread is earlier than the process")
        ->check(CLI::Range(int64_t{0}, LONGEST_HEAD_START_MS).description(""))
        ->type_name("MS")
        ->capture_default_str();
    command.add_option("--background", background_, "How many other processes read from the disk in further starts")
        ->check(CLI::Range(uint64_t{0}, MOST_READERS).description(""))
        ->type_name("N")
        ->capture_default_str();
    command.add_flag("--no-limit", isUnlimited_, "Leave the processes in the background without a limit");
    command.add_option("--record", recordMode_, "Record with the disks' read-ahead turned off, or change no setting")
        ->check(CLI::IsMember({"exact", "passive"}).description(""))
        ->type_name("exact|passive")
        ->capture_default_str();
    command.add_option("--json", jsonFile_, "Where to write the result for programs; - is standard output")
        ->type_name("FILE|-");
    command.add_option("--journal", journalFile_, "Where to write what happens on the device")->type_name("FILE");
    command.add_option("--data", dataFolder_, "A folder that is the device's /data and keeps the record")
        ->type_name("DIR");
    command.add_option("--plugin", pluginFile_, "The plugin's library, in place of the one beside this program")
        ->type_name("PATH");
}

ExitCode LaunchCommand::Run() {
    if (geteuid() != 0) {
        return Fail(EXIT_NO_SANDBOX,
                    "iosched-host launch: needs root, to drop caches, to listen to the page cache and to "
                    "limit other processes: run it with sudo");
    }
    std::string error;
    LaunchPlan plan;
    const auto program = FindProgram(program_, error);
    if (!program) {
        return Fail(EXIT_BAD_INPUT, error);
    }
    plan.program = *program;
    plan.runs = runs_;
    plan.headStartUs = headStartMs_ * US_PER_MS;
    plan.readers = background_;
    plan.limits = !isUnlimited_;
    plan.mode = recordMode_ == "exact" ? CollectionMode::EXACT : CollectionMode::PASSIVE;
    InputError pluginError;
    if (!FindPlugin(pluginFile_, plan.pluginPath, pluginError)) {
        return Fail(EXIT_BAD_INPUT, pluginError.Text());
    }
    SandboxConfig sandbox{ROM_BYTES, ""};
    if (!dataFolder_.empty() && !FolderToRealPath(dataFolder_, sandbox.dataDir)) {
        return Fail(EXIT_BAD_INPUT, FileError(dataFolder_).Text());
    }
    if (const std::string clash = WriteClash({jsonFile_, journalFile_}, {}); !clash.empty()) {
        return Fail(EXIT_BAD_INPUT, clash);
    }
    WantedResult json(jsonFile_);
    if (!json.Prepare()) {
        return Fail(EXIT_BAD_INPUT, FileError(jsonFile_).Text());
    }
    WantedFile journal{journalFile_};
    if (!journal.Create()) {
        return Fail(EXIT_BAD_INPUT, FileError(journalFile_).Text());
    }

    plan.outputFd = json.IsStandardOutput() ? STDERR_FILENO : STDOUT_FILENO;
    const auto machine = LaunchMachine::TakeHold(error);
    if (machine == nullptr) {
        return Fail(EXIT_NO_SANDBOX, error);
    }
    if (const auto refusal = EnterSandbox(sandbox); refusal) {
        return Fail(EXIT_NO_SANDBOX, *refusal);
    }
    LaunchResult result;
    ProgressLine progress;
    {
        std::optional<JournalWriter> writer;
        if (journal.file != nullptr) {
            writer.emplace(*journal.file);
        }
        const SinkRegistration writing(writer ? &*writer : nullptr);
        LaunchRunner runner(*machine, plan, progress);
        error = runner.Run(result);
    }
    progress.Clear();
    const std::string leftOver = machine->guardian->Finish();
    // What was measured is told all the same.
    const auto fail = [&leftOver](const std::string& what) {
        return Fail(EXIT_RUN_FAILED, leftOver.empty() ? what : what + "; " + leftOver);
    };
    if (!error.empty()) {
        const ExitCode code = fail("iosched-host launch: " + error);
        for (const std::string& note : result.notes) {
            Fail(code, "iosched-host launch: note: " + Printable(note));
        }
        return code;
    }
    if (const int failure = journal.Finish(); failure != 0) {
        return fail(journalFile_ + ": " + std::strerror(failure));
    }
    if (const int failure = json.Write(LaunchJson(result)); failure != 0) {
        return fail(jsonFile_ + ": " + std::strerror(failure));
    }
    std::FILE* const stream = json.IsStandardOutput() ? stderr : stdout;
    if (const int failure = Print(stream, LaunchTable(result)); failure != 0) {
        return fail(std::string("standard output: ") + std::strerror(failure));
    }
    return leftOver.empty() ? EXIT_DONE : Fail(EXIT_RUN_FAILED, "iosched-host launch: " + leftOver);
}

}  // namespace ZYRA::Host
