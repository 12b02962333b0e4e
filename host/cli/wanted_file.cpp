#include "host/cli/wanted_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/file_util.h"

namespace ZYRA::Host {

ExitCode Fail(ExitCode code, const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
    return code;
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

}  // namespace ZYRA::Host
