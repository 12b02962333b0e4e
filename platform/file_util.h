// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/platform_api.h"

namespace ZYRA {

// File helpers of the platform. Thread-safe. Every descriptor is close-on-exec, every system call is repeated on EINTR.
// Each returns false on failure, with errno as the failed call left it.

// Reads the whole file. What could be read before a failure is left in `content`.
PLATFORM_API bool LoadStringFromFile(const std::string& path, std::string& content);

// Writes `content` to an existing file with one write(2); a short write is a failure (EIO). The file is never created.
// `truncated` empties it first.
PLATFORM_API bool SaveStringToFile(const std::string& path, const std::string& content, bool truncated = true);

// The same to an open descriptor, which stays open and the caller's.
PLATFORM_API bool SaveStringToFd(int fd, const std::string& content);

// The canonical absolute path of an existing file, without links, `.`, `..` or doubled slashes.
PLATFORM_API bool PathToRealPath(const std::string& path, std::string& realPath);

}  // namespace ZYRA
