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

// What a code means, in a sentence; null for a number that is none.
constexpr const char* MeaningOf(ExitCode code) {
    switch (code) {
        case EXIT_DONE:
            return "What was asked for has been done.";
        case EXIT_RUN_FAILED:
            return "The run failed, or its result could not be written.";
        case EXIT_BAD_INPUT:
            return "The command line is wrong, or a file that it names: FILE:LINE: and what is wrong with it.";
        case EXIT_NO_SANDBOX:
            return "The machine does not allow a virtual device; one line says what is missing, and how to allow it.";
        case EXIT_INTERRUPTED:
            return "A signal has ended the run; what there was until then has been told.";
    }
    return nullptr;
}

}  // namespace ZYRA::Host
