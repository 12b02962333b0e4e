// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

// Ends the run, and keeps the input, when a property does not hold.
inline void Require(bool holds, const std::string& property) {
    if (!holds) {
        std::cerr << "does not hold: " << property << std::endl;
        std::abort();
    }
}
