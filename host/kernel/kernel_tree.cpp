// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/kernel_tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/runtime/journal.h"
#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

namespace {

constexpr mode_t FOLDER_MODE = S_IFDIR | 0755;
constexpr mode_t ANY_READ = 0444;
constexpr mode_t ANY_WRITE = 0222;

const char* NameOf(FileOperation operation) {
    switch (operation) {
        case FileOperation::OPEN:
            return "open";
        case FileOperation::READ:
            return "read";
        case FileOperation::WRITE:
            return "write";
    }
    return "";
}

}  // namespace

KernelTree::KernelTree(FaultTable& faults) : faults_(faults) {
    nodes_.push_back({ROOT, "", FOLDER_MODE, "", nullptr, ""});
}

std::optional<size_t> KernelTree::Child(size_t parent, std::string_view name) const {
    for (size_t node = ROOT + 1; node < nodes_.size(); ++node) {
        if (nodes_[node].parent == parent && nodes_[node].name == name) {
            return node;
        }
    }
    return std::nullopt;
}

size_t KernelTree::AddFolder(std::string_view path, size_t parent) {
    while (!path.empty()) {
        const size_t slash = path.find('/');
        const std::string_view name = path.substr(0, slash);
        path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
        std::optional<size_t> child = Child(parent, name);
        if (!child) {
            child = nodes_.size();
            nodes_.push_back({parent, std::string(name), FOLDER_MODE, "", nullptr, ""});
        }
        parent = *child;
    }
    return parent;
}

void KernelTree::Add(const std::string& folder, ControlFiles& files) {
    const size_t top = AddFolder(folder);
    for (const ControlFile& file : files.List()) {
        const size_t slash = file.name.rfind('/');
        const size_t parent = slash == std::string::npos ? top : AddFolder(file.name.substr(0, slash), top);
        const std::string name = slash == std::string::npos ? file.name : file.name.substr(slash + 1);
        nodes_.push_back({parent, name, S_IFREG | file.mode, files.DeviceRoot() + file.name, &files, file.name});
    }
}

Fault KernelTree::Strike(const Node& file, FileOperation operation) {
    const Fault fault = faults_.Check(file.devicePath, operation);
    if (fault) {
        Journal::GetInstance().Append(
            FaultEntry{file.devicePath, NameOf(operation), fault.error, fault.isShort, fault.delayUs});
        TaskRuntime::Current().PassTime(fault.delayUs);
    }
    return fault;
}

int KernelTree::CheckOpen(size_t node, int flags) const {
    const Node& file = nodes_[node];
    const int access = flags & O_ACCMODE;
    // As with a kernel's own control files, what has no such operation is refused to the superuser too.
    if ((access != O_WRONLY && (file.mode & ANY_READ) == 0) || (access != O_RDONLY && (file.mode & ANY_WRITE) == 0)) {
        return EACCES;
    }
    return 0;
}

int KernelTree::Open(size_t node, int flags) {
    const int refusal = CheckOpen(node, flags);
    return refusal != 0 ? refusal : Strike(nodes_[node], FileOperation::OPEN).error;
}

int KernelTree::Read(size_t node, size_t offset, size_t size, std::string& content) {
    const Node& file = nodes_[node];
    if (const Fault fault = offset == 0 ? Strike(file, FileOperation::READ) : Fault(); fault.error != 0) {
        return fault.error;
    }
    std::string text;
    const int error = file.owner->Read(file.ownerName, text);
    if (error == 0) {
        content = offset < text.size() ? text.substr(offset, size) : "";
    }
    return error;
}

int KernelTree::Write(size_t node, const std::string& content, size_t& taken) {
    const Node& file = nodes_[node];
    const Fault fault = Strike(file, FileOperation::WRITE);
    taken = fault.isShort ? content.size() / 2 : content.size();
    if (fault.error != 0 || fault.isShort) {
        Journal::GetInstance().Append(FileWriteEntry{file.devicePath, content, fault.error, fault.isShort});
        return fault.error;
    }
    return file.owner->Write(file.ownerName, content);
}

}  // namespace ZYRA::Host
