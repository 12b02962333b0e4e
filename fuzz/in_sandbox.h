// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "fuzz/require.h"

// A target that is built with in_sandbox.cpp runs in the sandbox: the plugin's absolute paths are the virtual device's.

// The path of a file in the record directory with these bytes, until the next one is asked for.
std::string FileWith(const std::string& bytes);
