// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>

#include "host/cli/exit_code.h"
#include "host/cli/generate_command.h"
#include "host/cli/help.h"
#include "host/cli/import_command.h"
#include "host/cli/launch_command.h"
#include "host/cli/records_command.h"
#include "host/cli/replay_command.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host replay cold_start.jsonl                      play a scenario, say in short what happened\n"
    "  iosched-host replay cold_start.jsonl --journal out.jsonl  and keep everything that happened\n"
    "  iosched-host replay --help                                what else a replay can do\n"
    "  iosched-host launch -- gdb --batch                        start a real program, with the plugin and without\n"
    "  iosched-host generate --days 14 --apps 60                 make up a scenario of a fortnight\n"
    "  iosched-host import usage.csv --columns app=App,time=Time make a scenario of a log of your own\n"
    "  iosched-host records state/                               what was collected by a replay with --data state/\n";

int Main(int argc, char** argv) {
    // A reader that has gone away is a failed write, to be reported like any other.
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app("Runs the I/O scheduling plugin on a virtual device.", "iosched-host");
    SetExamples(app, EXAMPLES);
    app.set_version_flag("--version", "iosched-host " IOSCHED_VERSION);
    app.require_subcommand(1);
    ReplayCommand replay;
    replay.AddTo(app);
    GenerateCommand generate;
    generate.AddTo(app);
    ImportCommand importing;
    importing.AddTo(app);
    RecordsCommand records;
    records.AddTo(app);
    LaunchCommand launch;
    launch.AddTo(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return app.exit(request);  // Help or version, on standard output.
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "iosched-host: %s (see iosched-host --help)\n", error.what());
        return EXIT_BAD_INPUT;
    }
    if (app.got_subcommand("generate")) {
        return generate.Run();
    }
    if (app.got_subcommand("records")) {
        return records.Run();
    }
    if (app.got_subcommand("launch")) {
        return launch.Run();
    }
    return app.got_subcommand("import") ? importing.Run() : replay.Run();
}

}  // namespace

}  // namespace ZYRA::Host

int main(int argc, char** argv) {
    try {
        return ZYRA::Host::Main(argc, argv);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "iosched-host: %s\n", exception.what());
        return ZYRA::Host::EXIT_RUN_FAILED;
    }
}
