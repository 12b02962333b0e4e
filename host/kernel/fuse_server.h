// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "host/kernel/fuse_face.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Mounts a tree and serves it, in this process.
//
// A process that serves files to itself can become unkillable: the kernel lets a client thread that waits for an answer
// die only when the connection breaks, and the connection breaks only when the last reference to its descriptor is
// gone, which the waiting thread itself would hold. So the descriptor exists in no table but that of the serving
// threads. They split off their table before they open it, and end on a kill whatever the others wait for. Children of
// the process do not inherit it either.
//
// Start and Stop are called by one thread at a time, on the mount namespace in which the mount is to appear.
class FuseServer {
public:
    // `tree` must outlive the server.
    explicit FuseServer(KernelTree& tree) : tree_(tree) {}
    ~FuseServer();
    FuseServer(const FuseServer&) = delete;
    FuseServer& operator=(const FuseServer&) = delete;

    // Mounts at an existing folder and returns when the mount answers. Returns "", or one line that says what failed,
    // and nothing is left.
    std::string Start(const std::string& mountPoint);

    // Takes the mount away; other mounts of its folders must be gone already, or fail from then on. Does nothing when
    // not started. REQUIRES: no thread of the caller's uses a file of the mount.
    void Stop();

private:
    std::string TryStart(const std::string& mountPoint);
    void ServeFirst(std::promise<std::string>& started);
    std::string OpenSession(FuseSession& session);
    // What a server waits at: the connection and the event that ends it, in place of the descriptor of no use.
    bool OpenReady(const UniqueFd& place) const;
    void Serve(fuse_session* session, int ready) const;

    KernelTree& tree_;

    // Of the calling thread.
    std::string mountPoint_;
    std::thread server_;

    // Constant while the servers run. The numbers of `connection_` and `ready_` are the connection's, and that of what
    // each server waits at, in their table; in the table of the process descriptors of no use keep the numbers taken.
    UniqueFd stopEvent_;
    UniqueFd connection_;
    std::array<UniqueFd, 2> ready_;
    std::unique_ptr<CallThread> calls_;
    std::unique_ptr<FuseContext> context_;
    // Set by the first server before Start goes on.
    bool mounted_ = false;
};

}  // namespace ZYRA::Host
