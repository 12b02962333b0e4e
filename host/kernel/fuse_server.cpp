// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/fuse_server.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "host/runtime/errno_names.h"
#include "host/runtime/retry_on_eintr.h"

#define FUSE_USE_VERSION 35
#include <fuse_lowlevel.h>

namespace ZYRA::Host {

namespace {

std::string Failure(const std::string& what) {
    return "kernel files: " + what + ": " + ErrnoName(errno);
}

// Drops what the servers have inherited: a pipe or a lock that the process closes must not stay open in their table. On
// a kernel that cannot, they keep it until Stop.
void CloseAllBut(std::vector<int> kept) {
    constexpr unsigned AFTER_STANDARD_STREAMS = 3;
    std::sort(kept.begin(), kept.end());
    unsigned from = AFTER_STANDARD_STREAMS;
    for (const int one : kept) {
        const auto fd = static_cast<unsigned>(one);
        if (fd > from) {
            close_range(from, fd - 1, 0);
        }
        from = std::max(from, fd + 1);
    }
    close_range(from, UINT_MAX, 0);
}

// The buffer that libfuse allocates at the first request.
struct RequestBuffer {
    RequestBuffer() = default;
    RequestBuffer(const RequestBuffer&) = delete;
    RequestBuffer& operator=(const RequestBuffer&) = delete;
    ~RequestBuffer() { free(buffer.mem); }

    fuse_buf buffer{};
};

}  // namespace

FuseServer::~FuseServer() {
    Stop();
}

std::string FuseServer::Start(const std::string& mountPoint) {
    if (server_.joinable()) {
        return "kernel files: already mounted at " + mountPoint_;
    }
    std::string error;
    try {
        error = TryStart(mountPoint);
    } catch (const std::system_error& failure) {
        error = std::string("kernel files: cannot start a thread: ") + failure.what();
    }
    if (!error.empty()) {
        Stop();
    }
    return error;
}

std::string FuseServer::TryStart(const std::string& mountPoint) {
    mountPoint_ = mountPoint;
    stopEvent_.Reset(eventfd(0, EFD_CLOEXEC));
    connection_.Reset(eventfd(0, EFD_CLOEXEC));
    bool areValid = stopEvent_.Valid() && connection_.Valid();
    for (UniqueFd& place : ready_) {
        place.Reset(eventfd(0, EFD_CLOEXEC));
        areValid = areValid && place.Valid();
    }
    if (!areValid) {
        return Failure("eventfd");
    }
    calls_ = std::make_unique<CallThread>("kernel_calls");
    context_ = std::make_unique<FuseContext>(FuseContext{tree_, *calls_, getuid(), getgid()});
    std::promise<std::string> started;
    server_ = StartQuietThread("kernel_fuse", [this, &started] { ServeFirst(started); });
    std::string error = started.get_future().get();
    if (!error.empty()) {
        return error;
    }
    struct stat root {};
    return stat(mountPoint.c_str(), &root) == 0 ? "" : Failure(mountPoint + " does not answer");
}

void FuseServer::ServeFirst(std::promise<std::string>& started) {
    FuseSession session;
    std::string error = OpenSession(session);
    std::thread second;
    if (error.empty()) {
        try {
            // Made here, so that it shares this thread's descriptors. With two, one can take the news that a caller
            // has been interrupted while the other is busy with its request.
            second = StartQuietThread("kernel_fuse", [this, &session] { Serve(session.get(), ready_[1].Get()); });
        } catch (const std::system_error& failure) {
            error = std::string("kernel files: cannot start a thread: ") + failure.what();
        }
    }
    const bool serving = error.empty();
    started.set_value(std::move(error));
    if (serving) {
        Serve(session.get(), ready_[0].Get());
        second.join();
    }
    // The end of the session closes the connection, which fails every request that nobody has answered.
}

std::string FuseServer::OpenSession(FuseSession& session) {
    if (unshare(CLONE_FILES) != 0) {
        return Failure("unshare(CLONE_FILES)");
    }
    CloseAllBut({stopEvent_.Get(), connection_.Get(), ready_[0].Get(), ready_[1].Get()});
    {
        // Not blocking: of two threads that see the same request come, one finds nothing to read.
        const UniqueFd device(open("/dev/fuse", O_RDWR | O_NONBLOCK | O_CLOEXEC));
        if (!device.Valid() || dup3(device.Get(), connection_.Get(), O_CLOEXEC) < 0) {
            return Failure("/dev/fuse");
        }
    }
    const std::string number = std::to_string(connection_.Get());
    session = NewFuseSession(*context_);
    if (!session || fuse_session_mount(session.get(), ("/dev/fd/" + number).c_str()) != 0) {
        return "kernel files: libfuse refuses the session";
    }
    const std::string options = "fd=" + number + ",rootmode=40000,user_id=" + std::to_string(context_->uid) +
                                ",group_id=" + std::to_string(context_->gid) + ",allow_other,default_permissions";
    if (mount("iosched", mountPoint_.c_str(), "fuse.iosched", MS_NOSUID | MS_NODEV | MS_NOEXEC, options.c_str()) != 0) {
        return Failure("mount " + mountPoint_);
    }
    mounted_ = true;
    // Before the mount nothing could be waited for at the connection.
    for (const UniqueFd& place : ready_) {
        if (!OpenReady(place)) {
            return Failure("epoll");
        }
    }
    return "";
}

// Of the servers a request wakes one.
bool FuseServer::OpenReady(const UniqueFd& place) const {
    const UniqueFd ready(epoll_create1(EPOLL_CLOEXEC));
    epoll_event toStop{EPOLLIN, {.fd = stopEvent_.Get()}};
    epoll_event toServe{EPOLLIN | EPOLLEXCLUSIVE, {.fd = connection_.Get()}};
    return ready.Valid() && epoll_ctl(ready.Get(), EPOLL_CTL_ADD, stopEvent_.Get(), &toStop) == 0 &&
           epoll_ctl(ready.Get(), EPOLL_CTL_ADD, connection_.Get(), &toServe) == 0 &&
           dup3(ready.Get(), place.Get(), O_CLOEXEC) >= 0;
}

// libfuse's own loops drop the request that they have just read once they are told to end, and its caller would wait
// for ever. This one is told by an event beside the connection, between two requests.
void FuseServer::Serve(fuse_session* session, int ready) const {
    RequestBuffer request;
    epoll_event event{};
    for (;;) {
        const int count = RetryOnEintr([&] { return epoll_wait(ready, &event, 1, -1); });
        if (count <= 0 || event.data.fd == stopEvent_.Get() || (event.events & ~EPOLLIN) != 0) {
            return;
        }
        const int received = fuse_session_receive_buf(session, &request.buffer);
        if (received > 0) {
            fuse_session_process_buf(session, &request.buffer);
        } else if (received != -EINTR && received != -EAGAIN) {
            return;
        }
    }
}

void FuseServer::Stop() {
    if (server_.joinable()) {
        if (std::exchange(mounted_, false)) {
            // The servers still answer what the unmounting asks for.
            umount2(mountPoint_.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
        }
        eventfd_write(stopEvent_.Get(), 1);
        server_.join();
    }
    context_.reset();
    calls_.reset();
    for (UniqueFd& place : ready_) {
        place.Reset();
    }
    connection_.Reset();
    stopEvent_.Reset();
}

}  // namespace ZYRA::Host
