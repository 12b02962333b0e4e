// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>

namespace ZYRA::ResourceSchedule {

// Makes a system call, again for as long as a signal interrupts it. Returns its result; -1 is failure, with errno set.
template <typename Call>
int RetryOnEintr(Call call) {
    int result = -1;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace ZYRA::ResourceSchedule
