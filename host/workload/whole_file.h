// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/replay/output_file.h"

namespace ZYRA::Host {

// A file that appears as a whole or not at all: it is written beside its place under a name of its own, and takes its
// place at the end. After the first failure nothing more is done. Single-threaded.
class WholeFile {
public:
    // Begins the file. In the end it replaces a file at `path`, but nothing that is no regular file.
    explicit WholeFile(std::string path);
    // Leaves nothing unless Publish() has succeeded.
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    const std::string& Path() const { return path_; }
    // "file: reason" of what failed first, empty as long as nothing has.
    const std::string& Failure() const { return failure_; }

    void Write(std::string_view text);
    // Writes what is left, down to the disk. Returns false on failure.
    bool Finish();
    // Gives the file its name. Returns false on failure. REQUIRES: Finish() has returned true.
    bool Publish();

private:
    void Fail(const char* reason) { failure_ = path_ + ": " + reason; }

    const std::string path_;
    const std::string temporaryPath_;
    std::optional<OutputFile> file_;  // Nothing when it could not be created, and after Finish.
    std::string failure_;
    bool leavesFile_ = false;  // Whether the file under the temporary name is ours to remove.
};

}  // namespace ZYRA::Host
