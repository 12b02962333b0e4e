// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

namespace ZYRA::Host {

// Makes the machine cold: no page, directory entry or inode that is not in use stays in memory. One thread.
class ColdStart {
public:
    static constexpr char DROP_CACHES[] = "/proc/sys/vm/drop_caches";

    explicit ColdStart(std::string path = DROP_CACHES) : path_(std::move(path)) {}

    // Whether this process may; otherwise one line in `error`. Nothing is dropped.
    bool IsPossible(std::string& error) const;

    // Drops; the first time, what is not yet on the disk is written first, because it could not be dropped. On failure
    // false, and one line in `error`.
    bool Make(std::string& error);

private:
    std::string Refusal(int error) const;

    const std::string path_;
    bool isSynced_ = false;
};

}  // namespace ZYRA::Host
