// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "host/cli/exit_code.h"

namespace ZYRA::Host {

// `iosched-host records`: tells which pages the records in a data folder hold, and whether they still do.
class RecordsCommand {
public:
    // Adds the command with its options, which write into this object.
    void AddTo(CLI::App& app);

    // REQUIRES: the command line has been parsed.
    ExitCode Run();

private:
    std::string dataFolder_;
    std::string scene_;  // Empty: all of them.
};

}  // namespace ZYRA::Host
