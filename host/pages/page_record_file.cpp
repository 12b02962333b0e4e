// SPDX-License-Identifier: Apache-2.0
#include "host/pages/page_record_file.h"

#include <cerrno>
#include <cstring>

#include "host/kernel/scene_line.h"
#include "host/runtime/confined_folder.h"

namespace ZYRA::Host {

std::optional<PageRecord> LoadPageRecord(const std::string& path, std::string& reason) {
    std::string text;
    const int error = ConfinedFolder(std::string(RECORD_DIRECTORY)).Read(path, text, MOST_RECORD_BYTES);
    reason = error == 0 || error == ENOENT ? "" : std::strerror(error);
    return text.empty() ? std::nullopt : DecodeRecord(text, reason);
}

int SavePageRecord(const std::string& path, const PageRecord& record) {
    const std::string text = EncodeRecord(record);
    if (text.size() > MOST_RECORD_BYTES || record.Pages() > MOST_RECORD_PAGES) {
        return EFBIG;
    }
    return ConfinedFolder(std::string(RECORD_DIRECTORY)).Replace(path, text);
}

}  // namespace ZYRA::Host
