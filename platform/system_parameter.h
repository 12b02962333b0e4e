// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/platform_api.h"

namespace ZYRA {

// The value of a system parameter, `defaultValue` when it is not set. Thread-safe.
PLATFORM_API std::string GetParameter(const std::string& key, const std::string& defaultValue);

}  // namespace ZYRA
