// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>

namespace ZYRA::Host {

// Makes a system call, again for as long as signals interrupt it. Returns its result; -1 is failure, with errno set.
template <typename Call>
auto RetryOnEintr(Call&& call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace ZYRA::Host
