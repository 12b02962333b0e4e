// SPDX-License-Identifier: Apache-2.0
#include "frame/common/file_system.h"

#include <algorithm>
#include <cerrno>

#include "frame/common/io_sched_log.h"
#include "platform/file_util.h"

namespace ZYRA::ResourceSchedule {

// Callers report errno, and writing a log line may change it.

bool FileSystem::GetRealPath(const std::string& path, std::string& realPath) {
    if (PathToRealPath(path, realPath)) {
        return true;
    }
    const int error = errno;
    IOSCHED_LOGE("get real path %{public}s failed", path.c_str());
    errno = error;
    return false;
}

bool FileSystem::ReadLinesFromFile(const std::string& path, std::vector<std::string>& lines) {
    std::string content;
    if (!LoadStringFromFile(path, content)) {
        const int error = errno;
        IOSCHED_LOGE("ifstream(%{public}s) failed", path.c_str());
        errno = error;
        return false;
    }
    lines.reserve(lines.size() + static_cast<size_t>(std::count(content.begin(), content.end(), '\n')) + 1);
    for (size_t begin = 0; begin < content.size();) {
        const size_t end = std::min(content.find('\n', begin), content.size());
        lines.emplace_back(content, begin, end - begin);
        begin = end + 1;
    }
    return true;
}

}  // namespace ZYRA::ResourceSchedule
