// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/fuse_face.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "host/runtime/journal.h"

#define FUSE_USE_VERSION 35
#include <fuse_lowlevel.h>
#include <fuse_opt.h>

namespace ZYRA::Host {

namespace {

// With a size of 0 some readers take a control file for empty without reading it.
constexpr off_t SHOWN_SIZE = 4096;

// For how long names and attributes may be remembered, in seconds: they never change. What is in a file is asked for
// each time.
constexpr double REMEMBERED_S = 1e6;

FuseContext& ContextOf(fuse_req_t request) {
    return *static_cast<FuseContext*>(fuse_req_userdata(request));
}

size_t NodeOf(fuse_ino_t inode) {
    return static_cast<size_t>(inode - FUSE_ROOT_ID);
}

fuse_ino_t InodeOf(size_t node) {
    return static_cast<fuse_ino_t>(node) + FUSE_ROOT_ID;
}

struct stat AttributesOf(const FuseContext& context, size_t node) {
    const mode_t mode = context.tree.Nodes()[node].mode;
    struct stat attributes {};
    attributes.st_ino = InodeOf(node);
    attributes.st_mode = mode;
    attributes.st_nlink = S_ISDIR(mode) ? 2 : 1;
    attributes.st_size = S_ISDIR(mode) ? 0 : SHOWN_SIZE;
    attributes.st_uid = context.uid;
    attributes.st_gid = context.gid;
    return attributes;
}

// Carries out a command of the file, or a reading where there is none: here, unless that needs what this thread has
// not.
template <typename Call>
void CarryOut(FuseContext& context, size_t node, const std::string* command, const Call& call) {
    if (!context.tree.NeedsCallThread(node, command)) {
        const Journal::BareCall bare;
        if (bare.IsAllowed()) {
            call();
            return;
        }
    }
    context.calls.Run(call);
}

void Lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
    const FuseContext& context = ContextOf(request);
    const std::optional<size_t> node = context.tree.Child(NodeOf(parent), name);
    if (!node) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    fuse_entry_param entry{};
    entry.ino = InodeOf(*node);
    entry.attr = AttributesOf(context, *node);
    entry.attr_timeout = REMEMBERED_S;
    entry.entry_timeout = REMEMBERED_S;
    fuse_reply_entry(request, &entry);
}

void GetAttributes(fuse_req_t request, fuse_ino_t inode, fuse_file_info* /*info*/) {
    const struct stat attributes = AttributesOf(ContextOf(request), NodeOf(inode));
    fuse_reply_attr(request, &attributes, REMEMBERED_S);
}

// An open that truncates sets the size. Nothing of a control file can be set, and asking for it is no error.
void SetAttributes(fuse_req_t request, fuse_ino_t inode, struct stat* /*wanted*/, int /*which*/, fuse_file_info* info) {
    GetAttributes(request, inode, info);
}

void Open(fuse_req_t request, fuse_ino_t inode, fuse_file_info* info) {
    FuseContext& context = ContextOf(request);
    int error = 0;
    if (context.tree.HasFaults()) {
        context.calls.Run([&] { error = context.tree.Open(NodeOf(inode), info->flags); });
    } else {
        error = context.tree.CheckOpen(NodeOf(inode), info->flags);
    }
    if (error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    info->direct_io = 1;
    fuse_reply_open(request, info);
}

void Read(fuse_req_t request, fuse_ino_t inode, size_t size, off_t offset, fuse_file_info* /*info*/) {
    FuseContext& context = ContextOf(request);
    std::string content;
    int error = 0;
    CarryOut(context, NodeOf(inode), nullptr,
             [&] { error = context.tree.Read(NodeOf(inode), static_cast<size_t>(offset), size, content); });
    if (error != 0) {
        fuse_reply_err(request, error);
    } else {
        fuse_reply_buf(request, content.data(), content.size());
    }
}

void Write(fuse_req_t request, fuse_ino_t inode, const char* data, size_t size, off_t /*offset*/,
           fuse_file_info* /*info*/) {
    FuseContext& context = ContextOf(request);
    int error = 0;
    size_t taken = 0;
    const std::string command(data, size);
    CarryOut(context, NodeOf(inode), &command, [&] { error = context.tree.Write(NodeOf(inode), command, taken); });
    if (error != 0) {
        fuse_reply_err(request, error);
    } else {
        fuse_reply_write(request, taken);
    }
}

void ReadFolder(fuse_req_t request, fuse_ino_t inode, size_t size, off_t offset, fuse_file_info* /*info*/) {
    const FuseContext& context = ContextOf(request);
    const std::vector<KernelTree::Node>& nodes = context.tree.Nodes();
    const size_t folder = NodeOf(inode);
    std::vector<char> buffer(size);
    size_t used = 0;
    // The position after an entry is its node's number plus 3: two are taken by the entries that every folder has.
    constexpr size_t DOTS = 2;
    for (size_t at = static_cast<size_t>(offset); at < nodes.size() + DOTS; ++at) {
        const size_t node = at == 0 ? folder : (at == 1 ? nodes[folder].parent : at - DOTS);
        const bool isChild = node != KernelTree::ROOT && nodes[node].parent == folder;
        if (at >= DOTS && !isChild) {
            continue;
        }
        const char* name = at == 0 ? "." : (at == 1 ? ".." : nodes[node].name.c_str());
        const struct stat attributes = AttributesOf(context, node);
        const size_t needed = fuse_add_direntry(request, buffer.data() + used, size - used, name, &attributes,
                                                static_cast<off_t>(at + 1));
        if (needed > size - used) {
            break;
        }
        used += needed;
    }
    fuse_reply_buf(request, buffer.data(), used);
}

// Without an answer of its own each of these would be "not implemented", which is not what a caller expects of a folder
// in which nothing can be made or moved.
void RefuseChange(fuse_req_t request) {
    fuse_reply_err(request, EPERM);
}

fuse_lowlevel_ops Operations() {
    fuse_lowlevel_ops operations{};
    operations.lookup = Lookup;
    operations.getattr = GetAttributes;
    operations.setattr = SetAttributes;
    operations.open = Open;
    operations.read = Read;
    operations.write = Write;
    operations.readdir = ReadFolder;
    operations.create = [](fuse_req_t request, fuse_ino_t, const char*, mode_t, fuse_file_info*) {
        RefuseChange(request);
    };
    operations.mknod = [](fuse_req_t request, fuse_ino_t, const char*, mode_t, dev_t) { RefuseChange(request); };
    operations.mkdir = [](fuse_req_t request, fuse_ino_t, const char*, mode_t) { RefuseChange(request); };
    operations.unlink = [](fuse_req_t request, fuse_ino_t, const char*) { RefuseChange(request); };
    operations.rmdir = [](fuse_req_t request, fuse_ino_t, const char*) { RefuseChange(request); };
    operations.rename = [](fuse_req_t request, fuse_ino_t, const char*, fuse_ino_t, const char*, unsigned) {
        RefuseChange(request);
    };
    operations.symlink = [](fuse_req_t request, const char*, fuse_ino_t, const char*) { RefuseChange(request); };
    operations.link = [](fuse_req_t request, fuse_ino_t, fuse_ino_t, const char*) { RefuseChange(request); };
    return operations;
}

}  // namespace

void FuseSessionDeleter::operator()(fuse_session* session) const {
    fuse_session_destroy(session);
}

FuseSession NewFuseSession(FuseContext& context) {
    std::string programName = "iosched-kernel";
    char* arguments[] = {programName.data(), nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    const fuse_lowlevel_ops operations = Operations();
    FuseSession session(fuse_session_new(&args, &operations, sizeof(operations), &context));
    // libfuse has replaced the list by one of its own, which stays the caller's.
    fuse_opt_free_args(&args);
    return session;
}

}  // namespace ZYRA::Host
