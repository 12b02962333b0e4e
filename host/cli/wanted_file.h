#pragma once

#include <memory>
#include <string>

#include "host/cli/exit_code.h"
#include "host/replay/output_file.h"
#include "host/replay/scenario.h"

namespace ZYRA::Host {

// Says the line on standard error and returns the code.
ExitCode Fail(ExitCode code, const std::string& line);

// What errno says of a file that the user has named.
InputError FileError(const std::string& file);

// PathToRealPath for a folder: errno tells what else it is.
bool FolderToRealPath(const std::string& folder, std::string& realPath);

// A file that was asked for, or none.
struct WantedFile {
    const std::string& path;
    std::unique_ptr<OutputFile> file = nullptr;

    bool Create() {
        file = path.empty() ? nullptr : OutputFile::Create(path);
        return path.empty() || file != nullptr;
    }
    bool IsStandardOutput() const { return path == OutputFile::STANDARD_OUTPUT; }
    // Returns 0, or the errno of the first write that failed.
    int Finish() { return file == nullptr ? 0 : file->Finish(); }
};

}  // namespace ZYRA::Host
