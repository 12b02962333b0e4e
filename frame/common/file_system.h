// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ZYRA::ResourceSchedule {

// File helpers that log their failures. Stateless; every operation may be called from any thread.
class FileSystem {
public:
    FileSystem() = delete;

    // The canonical absolute path of an existing file. Returns false on failure, with errno as the failed call left it.
    static bool GetRealPath(const std::string& path, std::string& realPath);

    // Appends the lines of the file, without their line feeds; a last line needs none. Returns false when the file
    // cannot be opened or read to its end, with errno as the failed call left it and `lines` unchanged.
    static bool ReadLinesFromFile(const std::string& path, std::vector<std::string>& lines);
};

}  // namespace ZYRA::ResourceSchedule
