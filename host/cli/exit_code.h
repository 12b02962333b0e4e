// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::Host {

// How the program ends.
enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_RUN_FAILED = 1,
    EXIT_BAD_INPUT = 2,   // Usage, or a file that the user named.
    EXIT_NO_SANDBOX = 3,  // The machine does not let us build the virtual device.
};

}  // namespace ZYRA::Host
