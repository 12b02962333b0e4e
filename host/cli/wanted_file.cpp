// SPDX-License-Identifier: Apache-2.0
#include "host/cli/wanted_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr mode_t FILE_MODE = 0666;

// Whether both paths lead to the same file of those that keep what is written to them, be it there or not.
bool IsSameFile(const std::string& path, const std::string& other) {
    std::error_code ignored;
    const auto status = std::filesystem::status(path, ignored);
    if (std::filesystem::exists(status)) {
        return std::filesystem::is_regular_file(status) && std::filesystem::equivalent(path, other, ignored);
    }
    return std::filesystem::weakly_canonical(path, ignored) == std::filesystem::weakly_canonical(other, ignored);
}

}  // namespace

ExitCode Fail(ExitCode code, const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
    return code;
}

int Print(std::FILE* stream, const std::string& text) {
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
    return isWritten ? 0 : errno;
}

InputError FileError(const std::string& file) {
    return {file, 0, std::strerror(errno)};
}

bool FolderToRealPath(const std::string& folder, std::string& realPath) {
    std::error_code ignored;
    if (!PathToRealPath(folder, realPath)) {
        return false;
    }
    if (!std::filesystem::is_directory(realPath, ignored)) {
        errno = ENOTDIR;
        return false;
    }
    return true;
}

std::string WriteClash(const std::vector<std::string>& written, const std::vector<ReadFile>& read) {
    for (auto file = written.begin(); file != written.end(); ++file) {
        if (file->empty() || *file == OutputFile::STANDARD_OUTPUT) {
            continue;
        }
        for (const ReadFile& input : read) {
            std::error_code ignored;
            if (!input.path.empty() && std::filesystem::equivalent(input.path, *file, ignored)) {
                return *file + ": is " + input.what + ", and cannot be written to";
            }
        }
        if (std::any_of(written.begin(), file, [&](const std::string& other) { return IsSameFile(*file, other); })) {
            return *file + ": is to be written twice";
        }
    }
    return "";
}

bool WantedResult::Prepare() {
    if (!IsWanted()) {
        return true;
    }
    file_.Reset(IsStandardOutput() ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                   : open(path_.c_str(), O_WRONLY | O_CLOEXEC));
    if (file_.Valid() || errno != ENOENT) {
        return file_.Valid();
    }
    const std::filesystem::path path = path_;
    name_ = path.filename();
    folder_.Reset(open(path.has_parent_path() ? path.parent_path().c_str() : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder_.Valid()) {
        return false;
    }
    const UniqueFd attempt(openat(folder_.Get(), name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE));
    return attempt.Valid() && unlinkat(folder_.Get(), name_.c_str(), 0) == 0;
}

int WantedResult::Write(std::string_view text) {
    if (!IsWanted()) {
        return 0;
    }
    if (folder_.Valid()) {
        file_.Reset(openat(folder_.Get(), name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, FILE_MODE));
        if (!file_.Valid()) {
            return errno;
        }
    } else if (!IsStandardOutput() && ftruncate(file_.Get(), 0) != 0 && errno != EINVAL) {
        // Devices and pipes have no length.
        return errno;
    }
    OutputFile output(std::move(file_));
    output.Write(text);
    return output.Finish();
}

}  // namespace ZYRA::Host
