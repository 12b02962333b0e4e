// SPDX-License-Identifier: Apache-2.0
#include "host/launch/cold_start.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/runtime/retry_on_eintr.h"
#include "host/runtime/unique_fd.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr char PAGES_AND_INODES[] = "3";

}  // namespace

std::string ColdStart::Refusal(int error) const {
    return "cannot drop the page cache through " + path_ + ": " + std::strerror(error) +
           "; run as root, in a container with /proc/sys writable";
}

bool ColdStart::IsPossible(std::string& error) const {
    const UniqueFd file(RetryOnEintr([this] { return open(path_.c_str(), O_WRONLY | O_CLOEXEC); }));
    if (!file.Valid()) {
        error = Refusal(errno);
    }
    return file.Valid();
}

bool ColdStart::Make(std::string& error) {
    if (!isSynced_) {
        sync();
        isSynced_ = true;
    }
    if (!SaveStringToFile(path_, PAGES_AND_INODES)) {
        error = Refusal(errno);
        return false;
    }
    return true;
}

}  // namespace ZYRA::Host
