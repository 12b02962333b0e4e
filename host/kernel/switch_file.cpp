// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/switch_file.h"

#include <cerrno>
#include <optional>

#include "host/kernel/control_text.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

int SwitchFile::Read(std::string_view name, std::string& content) {
    if (name != name_) {
        return ENOENT;
    }
    MutexLock lock(mutex_);
    content = value_ + "\n";
    return 0;
}

int SwitchFile::Write(std::string_view name, const std::string& content) {
    MutexLock lock(mutex_);
    const std::optional<std::string_view> text = CommandText(content);
    int error = name == name_ ? 0 : ENOENT;
    if (error == 0 && text != "0" && text != "1") {
        error = EINVAL;
    }
    if (error == 0) {
        value_ = *text;
    }
    Journal::GetInstance().Append(FileWriteEntry{deviceRoot_ + std::string(name), content, error});
    return error;
}

}  // namespace ZYRA::Host
