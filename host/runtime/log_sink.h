// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/log.h"

namespace ZYRA::Host {

// Whether private arguments are written as they are instead of "<private>". Thread-safe.
void SetRevealPrivate(bool reveal);

}  // namespace ZYRA::Host
