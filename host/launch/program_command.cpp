// SPDX-License-Identifier: Apache-2.0
#include "host/launch/program_command.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/replay/printable.h"

namespace ZYRA::Host {

namespace {

// 0, or the errno that says why this is no program.
int WhyNotProgram(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EACCES;
    }
    return access(path.c_str(), X_OK) == 0 ? 0 : errno;
}

std::string AbsolutePath(const std::string& path) {
    std::error_code ignored;
    const std::filesystem::path folder = std::filesystem::current_path(ignored);
    return (folder / path).string();
}

// An empty folder in PATH is the working directory.
std::string InFolder(const std::string& folder, const std::string& name) {
    return AbsolutePath(folder.empty() ? name : folder + '/' + name);
}

}  // namespace

std::optional<ProgramCommand> FindProgram(const std::vector<std::string>& arguments, std::string& error) {
    if (arguments.empty() || arguments.front().empty()) {
        error = "there is no program to start: give its name";
        return std::nullopt;
    }
    const std::string& name = arguments.front();
    if (name.find('/') != std::string::npos) {
        const std::string path = AbsolutePath(name);
        if (const int problem = WhyNotProgram(path); problem != 0) {
            error = "cannot start " + Quoted(name) + ": " + std::strerror(problem) + "; give an executable file";
            return std::nullopt;
        }
        return ProgramCommand{path, arguments};
    }
    const char* variable = std::getenv("PATH");
    const std::string folders = variable != nullptr ? variable : "/usr/local/bin:/usr/bin:/bin";
    for (size_t begin = 0; begin <= folders.size();) {
        const size_t end = std::min(folders.find(':', begin), folders.size());
        const std::string path = InFolder(folders.substr(begin, end - begin), name);
        if (WhyNotProgram(path) == 0) {
            return ProgramCommand{path, arguments};
        }
        begin = end + 1;
    }
    error = "cannot start " + Quoted(name) + ": there is no such program in the folders of PATH; give its path";
    return std::nullopt;
}

}  // namespace ZYRA::Host
