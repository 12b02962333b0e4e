// SPDX-License-Identifier: Apache-2.0
#include "host/machine/undo_list.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <sstream>
#include <utility>

#include "host/runtime/retry_on_eintr.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

namespace fs = std::filesystem;

// Members may start others while they are moved, and one that ends is a member until it is gone, for which it may have
// to wait for the disk: a minute and not for ever, in rounds that grow longer.
constexpr int MIN_ROUNDS = 2;
constexpr int SHORT_ROUNDS = 1000;
constexpr int SHORT_ROUND_MS = 1;
constexpr int MAX_ROUNDS = SHORT_ROUNDS + 600;
constexpr int LONG_ROUND_MS = 100;

const std::string MEMBERS = "/cgroup.procs";

int Read(int file, std::string& content) {
    constexpr size_t CHUNK = 4096;
    char chunk[CHUNK];
    content.clear();
    for (;;) {
        const ssize_t size =
            RetryOnEintr([&] { return pread(file, chunk, CHUNK, static_cast<off_t>(content.size())); });
        if (size <= 0) {
            return size == 0 ? 0 : errno;
        }
        content.append(chunk, static_cast<size_t>(size));
    }
}

void MoveMembersUp(const fs::path& group) {
    std::string members;
    LoadStringFromFile(group.string() + MEMBERS, members);
    std::istringstream pids(members);
    for (std::string pid; pids >> pid;) {
        if (pid == "0") {
            // A process that cannot be named from here; written, it would stand for the writer.
            continue;
        }
        // Above the hierarchy's root there is no such file.
        for (fs::path above = group.parent_path(); above.has_relative_path(); above = above.parent_path()) {
            if (SaveStringToFile(above.string() + MEMBERS, pid) || errno == ESRCH || errno == ENOENT) {
                break;
            }
        }
    }
}

int Undo(const UndoNote& note, Patience patience) {
    switch (note.kind) {
        case ChangeKind::SETTING:
            return WriteSetting(note.file.Get(), note.original);
        case ChangeKind::GROUP:
            return RemoveGroupFolder(note.path, patience);
    }
    return EINVAL;
}

}  // namespace

int OpenSetting(const std::string& path, UniqueFd& file, std::string& content) {
    file.Reset(RetryOnEintr([&] { return open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (!file.Valid() || RetryOnEintr([&] { return flock(file.Get(), LOCK_EX | LOCK_NB); }) != 0) {
        return errno;
    }
    return Read(file.Get(), content);
}

int WriteSetting(int file, const std::string& content) {
    // As a shell does it; the kernel's files take no notice, and neither refuse nor need it.
    [[maybe_unused]] const int ignored = ftruncate(file, 0);
    const ssize_t size = RetryOnEintr([&] { return pwrite(file, content.data(), content.size(), 0); });
    if (size < 0) {
        return errno;
    }
    return static_cast<size_t>(size) == content.size() ? 0 : EIO;
}

int RemoveGroupFolder(const std::string& folder, Patience patience) {
    const int rounds = patience == Patience::A_MOMENT ? MIN_ROUNDS : MAX_ROUNDS;
    for (int round = 0; round < rounds; ++round) {
        if (rmdir(folder.c_str()) == 0 || errno == ENOENT) {
            return 0;
        }
        if (errno != EBUSY) {
            return errno;
        }
        if (round > 0) {
            poll(nullptr, 0, round < SHORT_ROUNDS ? SHORT_ROUND_MS : LONG_ROUND_MS);
        }
        MoveMembersUp(folder);
    }
    return EBUSY;
}

const UndoNote* UndoList::Find(const std::string& path) const {
    const auto found =
        std::find_if(notes_.begin(), notes_.end(), [&](const UndoNote& note) { return note.path == path; });
    return found == notes_.end() ? nullptr : &*found;
}

void UndoList::Add(UndoNote note) {
    notes_.push_back(std::move(note));
}

void UndoList::Forget(const std::string& path) {
    std::erase_if(notes_, [&](const UndoNote& note) { return note.path == path; });
}

std::vector<std::string> UndoList::UndoAll() {
    // Controllers that are handed down to a group cannot be taken back before it is gone, and are left with it.
    for (size_t index = notes_.size(); index-- > 0;) {
        if (Undo(notes_[index], Patience::A_MOMENT) == 0) {
            notes_.erase(notes_.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }
    std::vector<std::string> failed;
    for (; !notes_.empty(); notes_.pop_back()) {
        const UndoNote& note = notes_.back();
        const int error = Undo(note, Patience::A_MINUTE);
        const bool isInUse = note.kind == ChangeKind::SETTING && error == EBUSY;
        if (error != 0 && !isInUse) {
            failed.push_back(note.path);
        }
    }
    return failed;
}

}  // namespace ZYRA::Host
