// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/iolimit_model.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "host/kernel/control_text.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

namespace {

constexpr mode_t MODE = 0644;

bool IsLimit(std::string_view text) {
    const auto bytesPerSecond = ParseNumber<uint64_t>(text);
    return text == "max" || (bytesPerSecond && *bytesPerSecond > 0);
}

// The number that a limit stands for; nothing for no limit.
std::optional<uint64_t> BytesPerSecond(bool isOn, const std::string& limit) {
    return isOn ? ParseNumber<uint64_t>(limit) : std::nullopt;
}

}  // namespace

std::string IolimitModel::DeviceRoot() const {
    return "/dev/iolimit/";
}

std::vector<ControlFile> IolimitModel::List() const {
    std::vector<ControlFile> files;
    for (const std::string_view group : GROUPS) {
        for (const std::string_view file : FILES) {
            files.push_back({std::string(group) + "/" + std::string(file), MODE});
        }
    }
    return files;
}

bool IolimitModel::Find(std::string_view name, size_t& group, File& file) {
    const size_t slash = name.find('/');
    if (slash == std::string_view::npos) {
        return false;
    }
    const auto* const foundGroup = std::find(GROUPS.begin(), GROUPS.end(), name.substr(0, slash));
    const auto* const foundFile = std::find(FILES.begin(), FILES.end(), name.substr(slash + 1));
    group = static_cast<size_t>(foundGroup - GROUPS.begin());
    file = static_cast<File>(foundFile - FILES.begin());
    return foundGroup != GROUPS.end() && foundFile != FILES.end();
}

int IolimitModel::Read(std::string_view name, std::string& content) {
    size_t group = 0;
    File file{};
    if (!Find(name, group, file)) {
        return ENOENT;
    }
    MutexLock lock(mutex_);
    switch (file) {
        case File::PROCS:
            content = processes_.Text(static_cast<int>(group));
            break;
        case File::SWITCH:
            content = groups_.at(group).switchState + "\n";
            break;
        case File::READ_LIMIT:
            content = groups_.at(group).readLimit + "\n";
            break;
        case File::WRITE_LIMIT:
            content = groups_.at(group).writeLimit + "\n";
            break;
    }
    return 0;
}

int IolimitModel::Write(std::string_view name, const std::string& content) {
    MutexLock lock(mutex_);
    const int error = Execute(name, content);
    Journal::GetInstance().Append(FileWriteEntry{DeviceRoot() + std::string(name), content, error});
    return error;
}

int IolimitModel::Execute(std::string_view name, std::string_view content) {
    size_t group = 0;
    File file{};
    if (!Find(name, group, file)) {
        return ENOENT;
    }
    const std::optional<std::string_view> text = CommandText(content);
    if (!text) {
        return EINVAL;
    }
    Group changed = groups_.at(group);
    switch (file) {
        case File::PROCS:
            return MoveProcess(*text, group);
        case File::SWITCH:
            changed.switchState = *text;
            return *text == "0" || *text == "1" ? Change(group, std::move(changed)) : EINVAL;
        case File::READ_LIMIT:
            changed.readLimit = *text;
            return IsLimit(*text) ? Change(group, std::move(changed)) : EINVAL;
        case File::WRITE_LIMIT:
            changed.writeLimit = *text;
            return IsLimit(*text) ? Change(group, std::move(changed)) : EINVAL;
    }
    return ENOENT;
}

int IolimitModel::MoveProcess(std::string_view pidText, size_t group) {
    const std::optional<int32_t> pid = ParsePid(pidText);
    if (!pid) {
        return EINVAL;
    }
    const int error = limiter_ == nullptr ? 0 : limiter_->Move(*pid, std::string(GROUPS.at(group)));
    if (error == 0) {
        processes_.Move(*pid, static_cast<int>(group));
    }
    return error;
}

int IolimitModel::Change(size_t group, Group&& changed) {
    const bool isOn = changed.switchState == "1";
    const int error = limiter_ == nullptr
                          ? 0
                          : limiter_->Limit(std::string(GROUPS.at(group)), BytesPerSecond(isOn, changed.readLimit),
                                            BytesPerSecond(isOn, changed.writeLimit));
    if (error == 0) {
        groups_.at(group) = std::move(changed);
    }
    return error;
}

void IolimitModel::RemoveProcess(int32_t pid) {
    MutexLock lock(mutex_);
    processes_.Remove(pid);
    if (limiter_ != nullptr) {
        limiter_->Release(pid);
    }
}

}  // namespace ZYRA::Host
