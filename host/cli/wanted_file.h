// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/exit_code.h"
#include "host/replay/output_file.h"
#include "host/replay/scenario.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Says the line on standard error and returns the code.
ExitCode Fail(ExitCode code, const std::string& line);

// Writes the text. Returns 0 or an errno.
int Print(std::FILE* stream, const std::string& text);

// What errno says of a file that the user has named.
InputError FileError(const std::string& file);

// PathToRealPath for a folder: errno tells what else it is.
bool FolderToRealPath(const std::string& folder, std::string& realPath);

// A file that a command reads, and what it is to it: "the scenario".
struct ReadFile {
    std::string path;
    const char* what;
};

// One line on a file of `written` that is read too, or is written twice, also under another name; "" when there is
// none. Both may hold "" for no file. Standard output and devices take what comes from anybody.
std::string WriteClash(const std::vector<std::string>& written, const std::vector<ReadFile>& read);

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

// A file that was asked for, or none, and is written at the end of the run, all at once: a run that ends before leaves
// it as it was.
class WantedResult {
public:
    // `path` must outlive the object.
    explicit WantedResult(const std::string& path) : path_(path) {}

    // Whether it can be written, with errno set if not; before the sandbox, where the path may lead elsewhere.
    bool Prepare();
    const std::string& Path() const { return path_; }
    bool IsWanted() const { return !path_.empty(); }
    bool IsStandardOutput() const { return path_ == OutputFile::STANDARD_OUTPUT; }
    // Returns 0 or an errno. REQUIRES: called once, after Prepare has returned true.
    int Write(std::string_view text);

private:
    const std::string& path_;
    UniqueFd file_;
    // Of a file that is not there yet.
    UniqueFd folder_;
    std::string name_;
};

}  // namespace ZYRA::Host
