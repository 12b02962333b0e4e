// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "host/cli/exit_code.h"

namespace ZYRA::Host {

// `iosched-host generate`: makes up a scenario, as a person would produce it, with its device model.
class GenerateCommand {
public:
    // Adds the command with its options, which write into this object.
    void AddTo(CLI::App& app);

    // REQUIRES: the command line has been parsed.
    ExitCode Run();

private:
    int64_t days_ = 0;
    int64_t apps_ = 0;
    std::optional<uint64_t> seed_;
    std::string outputFile_ = "generated.jsonl";
};

}  // namespace ZYRA::Host
