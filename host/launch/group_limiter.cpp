// SPDX-License-Identifier: Apache-2.0
#include "host/launch/group_limiter.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ZYRA::Host {

namespace {

constexpr int32_t LIMITER_QOS = 5;

}  // namespace

GroupLimiter::GroupLimiter(IoGroups& groups) : groups_(groups), queue_(TaskQueue::Create("io_groups", LIMITER_QOS)) {}

GroupLimiter::~GroupLimiter() {
    Mutex doneMutex;
    ConditionVariable done;
    bool isDone = false;
    queue_->Submit(
        [&] {
            MutexLock lock(doneMutex);
            isDone = true;
            done.NotifyAll();
        },
        "last", 0);
    {
        MutexLock lock(doneMutex);
        while (!isDone) {
            done.Wait(doneMutex);
        }
    }
    queue_->Close();
}

int GroupLimiter::Move(int32_t pid, const std::string& group) {
    if (kill(pid, 0) != 0 && errno == ESRCH) {
        return ESRCH;
    }
    MutexLock lock(mutex_);
    wanted_[pid] = group;
    if (limits_[group].isReal || moved_.contains(pid)) {
        QueueMove(pid, group);
    } else {
        Provide(group);
    }
    return 0;
}

void GroupLimiter::Release(int32_t pid) {
    MutexLock lock(mutex_);
    wanted_.erase(pid);
    if (moved_.erase(pid) == 0) {
        return;
    }
    queue_->Submit(
        [this, pid] {
            const int error = groups_.Release(pid);
            Note("release process " + std::to_string(pid), error == ESRCH ? 0 : error);
        },
        "release", 0);
}

int GroupLimiter::Limit(const std::string& group, std::optional<uint64_t> readBps, std::optional<uint64_t> writeBps) {
    MutexLock lock(mutex_);
    Limits& limits = limits_[group];
    limits.readBps = readBps;
    limits.writeBps = writeBps;
    Provide(group);
    return 0;
}

void GroupLimiter::Provide(const std::string& group) {
    Limits& limits = limits_[group];
    const bool hasMember =
        std::any_of(wanted_.begin(), wanted_.end(), [&group](const auto& process) { return process.second == group; });
    if (!limits.isReal && (!hasMember || (!limits.readBps && !limits.writeBps))) {
        return;
    }
    limits.isReal = true;
    QueueLimit(group);
    for (const auto& [pid, wanted] : wanted_) {
        if (wanted == group) {
            QueueMove(pid, group);
        }
    }
}

void GroupLimiter::QueueLimit(const std::string& group) {
    queue_->Submit(
        [this, group, limits = limits_[group]] {
            Note("limit " + group, groups_.Limit(group, limits.readBps, limits.writeBps));
        },
        "limit", 0);
}

void GroupLimiter::QueueMove(int32_t pid, const std::string& group) {
    std::string& present = moved_[pid];
    if (present == group) {
        return;
    }
    present = group;
    queue_->Submit(
        [this, pid, group] {
            const int error = groups_.Move(pid, group);
            if (error == 0 || error == ESRCH) {
                // It may have ended meanwhile.
                return;
            }
            Note("move process " + std::to_string(pid) + " to " + group, error);
            MutexLock lock(mutex_);
            if (const auto moved = moved_.find(pid); moved != moved_.end() && moved->second == group) {
                moved->second.clear();
            }
        },
        "move", 0);
}

void GroupLimiter::Note(const std::string& what, int error) {
    if (error != 0) {
        MutexLock lock(mutex_);
        notes_.insert("cannot " + what + ": " + std::strerror(error));
    }
}

std::vector<std::string> GroupLimiter::Notes() {
    MutexLock lock(mutex_);
    return {notes_.begin(), notes_.end()};
}

}  // namespace ZYRA::Host
