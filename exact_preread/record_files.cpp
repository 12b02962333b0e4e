// SPDX-License-Identifier: Apache-2.0
// The scenes' record files, and what a monitor reports about the record of its scene.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "exact_preread/exact_preread_executor.h"
#include "exact_preread/record_place.h"
#include "exact_preread/retry_on_eintr.h"
#include "exact_preread/unique_fd.h"
#include "exact_preread/workingset_paths.h"
#include "frame/common/common_util.h"
#include "frame/common/file_system.h"
#include "frame/common/io_sched_log.h"
#include "top_scene/top_scene_database.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr mode_t DIRECTORY_MODE = 0700;
constexpr mode_t RECORD_MODE = 0600;

int StatusOf(const std::string& path) {
    struct stat status {};
    return RetryOnEintr([&path, &status] { return lstat(path.c_str(), &status); });
}

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

Directory OpenDirectory(const std::string& path) {
    const int fd = RecordPlace(path).Open(O_RDONLY | O_DIRECTORY);
    Directory directory(fd < 0 ? nullptr : fdopendir(fd));
    if (directory == nullptr && fd >= 0) {
        close(fd);
    }
    return directory;
}

RecordState ToRecordState(std::string_view text) {
    if (text == "uptodate") {
        return RecordState::RECORD_STATE_UPTODATE;
    }
    return text == "older" ? RecordState::RECORD_STATE_OLDER : RecordState::RECORD_STATE_ABSENT;
}

}  // namespace

bool ExactPrereadExecutor::CheckRecordDirectory() {
    const bool isExisted = CreateDirectoryFile(RECORD_DIRECTORY);
    if (!isExisted) {
        EP_LOGE("isRecordDirectoryExisted_:%d", isExisted);
    }
    return isExisted;
}

bool ExactPrereadExecutor::CreateDirectoryFile(const std::string& path) {
    if (StatusOf(path) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        EP_LOGE("failed to lstat(%{public}s), errno:%{public}d", path.c_str(), errno);
        return false;
    }
    return RecordPlace(path).MakeDirectory(DIRECTORY_MODE) == 0;
}

bool ExactPrereadExecutor::CreateRegularFile(const std::string& path) {
    if (StatusOf(path) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        EP_LOGE("failed to lstat(%{private}s), errno:%{public}d", path.c_str(), errno);
        return false;
    }
    return UniqueFd(RecordPlace(path).Open(O_RDWR | O_CREAT, RECORD_MODE)).IsValid();
}

bool ExactPrereadExecutor::RemoveDirectoryFile(const std::string& path) {
    if (StatusOf(path) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        EP_LOGE("failed to lstat(%{private}s), errno:%{public}d", path.c_str(), errno);
        return false;
    }
    if (RecordPlace(path).RemoveDirectory() != 0) {
        return false;
    }
    EP_LOGD("remove directory file: %{private}s", path.c_str());
    return true;
}

bool ExactPrereadExecutor::RemoveRegularFile(const std::string& path) {
    if (StatusOf(path) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        EP_LOGE("failed to lstat(%{private}s), errno:%{public}d", path.c_str(), errno);
        return false;
    }
    if (RecordPlace(path).RemoveFile() != 0) {
        return false;
    }
    EP_LOGD("remove regular file: %{private}s", path.c_str());
    return true;
}

bool ExactPrereadExecutor::CreateRecordFile(const std::string& bundleName, const std::string& rest) const {
    if (!isRecordDirectoryExisted_) {
        EP_LOGE("IsRecordDirectoryExisted_: %{public}d", isRecordDirectoryExisted_);
        return false;
    }
    if (bundleName.empty() || rest.empty()) {
        EP_LOGE("para error.");
        return false;
    }
    const std::string directory = RECORD_DIRECTORY + bundleName + "/";
    return CreateDirectoryFile(directory) && CreateRegularFile(directory + rest);
}

bool ExactPrereadExecutor::CreateSceneRecordFile(const std::string& sceneName) const {
    std::string bundleName;
    std::string rest;
    return TopSceneDatabase::ParseSceneName(sceneName, bundleName, rest) && CreateRecordFile(bundleName, rest);
}

void ExactPrereadExecutor::RemoveSceneRecord(const std::string& sceneName) {
    if (!RemoveRegularFile(RECORD_DIRECTORY + sceneName)) {
        EP_LOGE("remove scene record: %{public}s failed", sceneName.c_str());
        return;
    }
    if (!ClearSceneRecordCache(sceneName)) {
        EP_LOGE("clear scene record cache: %{public}s failed", sceneName.c_str());
    }
}

bool ExactPrereadExecutor::RemoveBundleRecord(const std::string& bundleName) {
    const std::string path = RECORD_DIRECTORY + bundleName;
    Directory directory = OpenDirectory(path);
    if (directory == nullptr) {
        EP_LOGE("failed to open dir: %{private}s, errno: %{public}d", path.c_str(), errno);
        return false;
    }
    while (const dirent* entry = readdir(directory.get())) {
        // "." and ".." are folders, so they fall out here as well.
        if (entry->d_type == DT_REG) {
            RemoveSceneRecord(bundleName + "/" + entry->d_name);
        }
    }
    directory.reset();
    return RemoveDirectoryFile(path);
}

bool ExactPrereadExecutor::ClearSceneRecordCache(const std::string& sceneName) {
    const std::string path = std::string(WORKINGSET_ROOT) + CLEAR_RECORD_FILE;
    EP_LOGD("write %{public}s to filePath: %{private}s", sceneName.c_str(), path.c_str());
    if (!ChangeMonitorPropertyContent(path, sceneName)) {
        EP_LOGE("write %{public}s to filePath: %{private}s failed.", sceneName.c_str(), path.c_str());
        return false;
    }
    return true;
}

bool ExactPrereadExecutor::GetRecordInfo(int8_t monitorIdx, RecordState& state) {
    RecordInfo info;
    std::string realPath;
    if (!FileSystem::GetRealPath(MonitorFile(monitorIdx, DATA_FILE), realPath)) {
        EP_LOGE("failed to get real path, errno: %{public}d", errno);
        return false;
    }
    std::vector<std::string> lines;
    if (!FileSystem::ReadLinesFromFile(realPath, lines)) {
        EP_LOGE("failed to read record info");
        return false;
    }
    for (const std::string& line : lines) {
        ParseRecordInfoLine(info, line);
    }
    info.monitorIdx = monitorIdx;
    if (info.state == RecordState::RECORD_STATE_UNSET) {
        EP_LOGE("%{public}s", "unexpected record state: unknow.");
        return false;
    }
    state = info.state;
    return true;
}

void ExactPrereadExecutor::ParseRecordInfoLine(RecordInfo& info, const std::string& line) {
    // The first key has no blank behind its colon: a blank there belongs to the value, and makes it an unknown one.
    constexpr std::string_view STATE_KEY = "RecordState:";
    constexpr std::string_view UID_KEY = "Uid: ";
    constexpr std::string_view PID_KEY = "Pid: ";
    constexpr std::string_view NAME_KEY = "Name: ";
    if (line.starts_with(STATE_KEY)) {
        info.state = ToRecordState(std::string_view(line).substr(STATE_KEY.size()));
    } else if (line.starts_with(UID_KEY)) {
        info.uid = CommonUtil::StringToInt32(line.substr(UID_KEY.size()));
    } else if (line.starts_with(PID_KEY)) {
        info.pid = CommonUtil::StringToInt32(line.substr(PID_KEY.size()));
    } else if (line.starts_with(NAME_KEY)) {
        info.sceneName = line.substr(NAME_KEY.size());
    }
}

}  // namespace ZYRA::ResourceSchedule
