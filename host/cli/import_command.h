// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "host/cli/exit_code.h"

namespace ZYRA::Host {

// `iosched-host import`: turns a log of how a device was used into a scenario with its device model.
class ImportCommand {
public:
    // Adds the command with its options, which write into this object.
    void AddTo(CLI::App& app);

    // REQUIRES: the command line has been parsed.
    ExitCode Run();

private:
    std::string logFile_;
    std::string columns_;
    std::string outputFile_;  // Empty: named after the log.
};

}  // namespace ZYRA::Host
