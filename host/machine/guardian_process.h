// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace ZYRA::Host {

// The whole life of the guardian's process: it notes what it is told over `socket` until the other end is closed or the
// process `host` has ended, then undoes what is noted, and exits with 0, or with 1 where something could not be undone.
// REQUIRES: called in a child just forked by `host`, with one thread.
[[noreturn]] void RunGuardian(int socket, pid_t host);

}  // namespace ZYRA::Host
