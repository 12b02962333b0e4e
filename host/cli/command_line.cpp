// SPDX-License-Identifier: Apache-2.0
#include "host/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "host/cli/exit_code.h"
#include "host/cli/help.h"

namespace ZYRA::Host {

namespace {

constexpr char EXAMPLES[] =
    "  iosched-host replay cold_start.jsonl                            play a scenario, say in short what happened\n"
    "  iosched-host replay cold_start.jsonl --journal out.jsonl        and keep everything that happened\n"
    "  iosched-host replay --help                                      what else a replay can do\n"
    "  iosched-host compare day.jsonl --device a.json --device b.json  what another configuration changes\n"
    "  iosched-host launch -- gdb --batch                              start a real program, with the plugin and "
    "without\n"
    "  iosched-host generate --days 14 --apps 60                       make up a scenario of a fortnight\n"
    "  iosched-host import usage.csv --columns app=App,time=Time       make a scenario of a log of your own\n"
    "  iosched-host records state/                                     what was collected by a replay with --data "
    "state/\n";

}  // namespace

CommandLine::CommandLine() : app_("Runs the I/O scheduling plugin on a virtual device.", "iosched-host") {
    SetExamples(app_, EXAMPLES);
    app_.set_version_flag("--version", "iosched-host " IOSCHED_VERSION);
    app_.require_subcommand(1);
    replay_.AddTo(app_);
    compare_.AddTo(app_);
    generate_.AddTo(app_);
    import_.AddTo(app_);
    records_.AddTo(app_);
    launch_.AddTo(app_);
}

int CommandLine::Run(int argc, char** argv) {
    try {
        app_.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return app_.exit(request);  // Help or version, on standard output.
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "iosched-host: %s (see iosched-host --help)\n", error.what());
        return EXIT_BAD_INPUT;
    }
    if (app_.got_subcommand("compare")) {
        return compare_.Run();
    }
    if (app_.got_subcommand("generate")) {
        return generate_.Run();
    }
    if (app_.got_subcommand("records")) {
        return records_.Run();
    }
    if (app_.got_subcommand("launch")) {
        return launch_.Run();
    }
    return app_.got_subcommand("import") ? import_.Run() : replay_.Run();
}

}  // namespace ZYRA::Host
