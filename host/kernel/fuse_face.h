// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <memory>

#include "host/kernel/call_thread.h"
#include "host/kernel/kernel_tree.h"

struct fuse_session;

namespace ZYRA::Host {

// What answers the requests of one mount. All must outlive the session.
struct FuseContext {
    KernelTree& tree;
    // Carries out what the thread that serves the request cannot.
    CallThread& calls;
    // Whose the files are.
    uid_t uid;
    gid_t gid;
};

struct FuseSessionDeleter {
    void operator()(fuse_session* session) const;
};
using FuseSession = std::unique_ptr<fuse_session, FuseSessionDeleter>;

// A session that shows the tree as a file system: nothing of it is cached, each write(2) is one command whatever its
// offset, and only what is in the tree exists. Null on failure.
FuseSession NewFuseSession(FuseContext& context);

}  // namespace ZYRA::Host
