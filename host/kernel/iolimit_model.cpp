#include "host/kernel/iolimit_model.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include "host/kernel/control_text.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

namespace {

constexpr mode_t MODE = 0644;

bool IsLimit(std::string_view text) {
    const auto bytesPerSecond = ParseNumber<uint64_t>(text);
    return text == "max" || (bytesPerSecond && *bytesPerSecond > 0);
}

// Takes the text when it is one that the file takes. Returns 0 or EINVAL.
int Assign(std::string& value, std::string_view text, bool isAccepted) {
    if (!isAccepted) {
        return EINVAL;
    }
    value = text;
    return 0;
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
    switch (file) {
        case File::PROCS: {
            const std::optional<int32_t> pid = ParsePid(*text);
            if (!pid) {
                return EINVAL;
            }
            processes_.Move(*pid, static_cast<int>(group));
            return 0;
        }
        case File::SWITCH:
            return Assign(groups_.at(group).switchState, *text, *text == "0" || *text == "1");
        case File::READ_LIMIT:
            return Assign(groups_.at(group).readLimit, *text, IsLimit(*text));
        case File::WRITE_LIMIT:
            return Assign(groups_.at(group).writeLimit, *text, IsLimit(*text));
    }
    return ENOENT;
}

void IolimitModel::RemoveProcess(int32_t pid) {
    MutexLock lock(mutex_);
    processes_.Remove(pid);
}

}  // namespace ZYRA::Host
