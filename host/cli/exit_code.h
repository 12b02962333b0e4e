// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::Host {

// How the program ends.
enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_RUN_FAILED = 1,
    EXIT_BAD_INPUT = 2,      // Usage, or a file that the user named.
    EXIT_NO_SANDBOX = 3,     // The machine does not let us build the virtual device.
    EXIT_INTERRUPTED = 130,  // As a shell tells of SIGINT: what there was until then has been told.
};

// Every code as the man page tells it.
inline constexpr struct {
    ExitCode code;
    const char* meaning;
} EXIT_CODES[] = {
    {EXIT_DONE, "What was asked for has been done."},
    {EXIT_RUN_FAILED, "The run failed, or its result could not be written."},
    {EXIT_BAD_INPUT, "The command line is wrong, or a file that it names: FILE:LINE: and what is wrong with it."},
    {EXIT_NO_SANDBOX,
     "The machine does not allow a virtual device; one line says what is missing, and how to allow it."},
};

}  // namespace ZYRA::Host
