// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <cstdio>
#include <exception>

#include "host/cli/command_line.h"
#include "host/cli/exit_code.h"

int main(int argc, char** argv) {
    // A reader that has gone away is a failed write, to be reported like any other.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return ZYRA::Host::CommandLine().Run(argc, argv);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "iosched-host: %s\n", exception.what());
        return ZYRA::Host::EXIT_RUN_FAILED;
    }
}
