// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/errno_names.h"

#include <cstring>

namespace ZYRA::Host {

namespace {

// Linux reserves the numbers up to here for errors.
constexpr int LAST_ERRNO = 4095;

}  // namespace

const char* ErrnoName(int error) {
    const char* name = error > 0 ? strerrorname_np(error) : nullptr;
    return name == nullptr ? "EUNKNOWN" : name;
}

std::optional<int> ErrnoFromName(std::string_view name) {
    for (int error = 1; error <= LAST_ERRNO; ++error) {
        const char* candidate = strerrorname_np(error);
        if (candidate != nullptr && name == candidate) {
            return error;
        }
    }
    return std::nullopt;
}

}  // namespace ZYRA::Host
