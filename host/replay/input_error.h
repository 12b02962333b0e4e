// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace ZYRA::Host {

// What is wrong with a file that the user wrote.
struct InputError {
    std::string file;
    size_t line = 0;  // From 1; 0 is the file as a whole.
    std::string what;

    // "file:line: what", one line.
    std::string Text() const { return file + (line == 0 ? "" : ':' + std::to_string(line)) + ": " + what; }
};

// Carries an InputError out of the depth of a reader; caught where the reader's public functions begin.
struct InputFailure {
    InputError error;
};

}  // namespace ZYRA::Host
