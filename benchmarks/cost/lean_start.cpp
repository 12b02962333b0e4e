// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/lean_start.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

// Written as in C on purpose: it is to cost no more than the system calls do.

namespace ZYRA::Bench {

namespace {

#define MONITOR_FOLDER "/dev/workingset/monitor0/"
#define RECORD_FOLDER "/data/service/el1/public/ressched/workingset/"

constexpr char STATE[] = MONITOR_FOLDER "workingset.state";
constexpr char DATA[] = MONITOR_FOLDER "workingset.data";
constexpr char MEMBERS[] = MONITOR_FOLDER "cgroup.procs";
constexpr char ROOT_MEMBERS[] = "/dev/workingset/cgroup.procs";
constexpr char FAILURE[] = "/dev/workingset//workingset.dfxerror";

constexpr size_t TEXT_BYTES = 4096;

// Reads the whole file and ends its text with a zero byte.
bool ReadFile(const char* path, char* text) {
    char real[PATH_MAX];
    if (realpath(path, real) == nullptr) {
        return false;
    }
    const int fd = open(real, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    size_t size = 0;
    ssize_t taken = 0;
    while ((taken = read(fd, text + size, TEXT_BYTES - size - 1)) > 0) {
        size += static_cast<size_t>(taken);
    }
    text[size] = '\0';
    close(fd);
    return taken == 0;
}

bool WriteFile(const char* path, const char* text) {
    char real[PATH_MAX];
    if (realpath(path, real) == nullptr) {
        return false;
    }
    const int fd = open(real, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const size_t size = strlen(text);
    const bool isWritten = write(fd, text, size) == static_cast<ssize_t>(size);
    close(fd);
    return isWritten;
}

bool MakeRecordFile(const char* bundleName) {
    char path[PATH_MAX];
    struct stat status;
    snprintf(path, sizeof(path), RECORD_FOLDER "%s/", bundleName);
    if (lstat(path, &status) != 0 && (errno != ENOENT || mkdir(path, 0700) != 0)) {
        return false;
    }
    snprintf(path, sizeof(path), RECORD_FOLDER "%s/%s", bundleName, bundleName);
    if (lstat(path, &status) == 0) {
        return true;
    }
    const int fd = errno == ENOENT ? open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600) : -1;
    return fd >= 0 && close(fd) == 0;
}

}  // namespace

LeanStart::LeanStart(const std::string& bundleName, int uid, int pid) : bundleName_(bundleName), uid_(uid), pid_(pid) {}

bool LeanStart::BindScene(int pid) const {
    char line[TEXT_BYTES];
    const char* const name = bundleName_.c_str();
    snprintf(line, sizeof(line), "%d %d %s/%s " RECORD_FOLDER "%s/%s", uid_, pid, name, name, name, name);
    return WriteFile(DATA, line);
}

bool LeanStart::AbilityStart() {
    char text[TEXT_BYTES];
    if (!ReadFile(STATE, text) || (strcmp(text, "OUTOFWORK") != 0 && strcmp(text, "ABORT") != 0) || !BindScene(0) ||
        !ReadFile(DATA, text)) {
        return false;
    }
    const char* state = strstr(text, "RecordState:");
    if (state == nullptr) {
        return false;
    }
    state += strlen("RecordState:");
    const bool isUpToDate = strncmp(state, "uptodate\n", strlen("uptodate\n")) == 0;
    isCollected_ = !isUpToDate;
    isPreread_ = isUpToDate || strncmp(state, "older\n", strlen("older\n")) == 0;
    return !isPreread_ || (ReadFile(FAILURE, text) && WriteFile(STATE, "PAUSED"));
}

bool LeanStart::ProcessStart() {
    if (!BindScene(pid_) || !WriteFile(STATE, "INWORKING")) {
        return false;
    }
    char pid[16];
    snprintf(pid, sizeof(pid), "%d", pid_);
    return !isCollected_ || (WriteFile(MEMBERS, pid) && MakeRecordFile(bundleName_.c_str()));
}

bool LeanStart::DelayTimeout() const {
    return !isCollected_ || WriteFile(STATE, "PAUSED");
}

bool LeanStart::Stop() const {
    if (isCollected_) {
        char pids[TEXT_BYTES];
        if (!ReadFile(MEMBERS, pids)) {
            return false;
        }
        char* rest = nullptr;
        for (char* pid = strtok_r(pids, "\n", &rest); pid != nullptr; pid = strtok_r(nullptr, "\n", &rest)) {
            if (!WriteFile(ROOT_MEMBERS, pid)) {
                return false;
            }
        }
    }
    return WriteFile(STATE, "STOP");
}

}  // namespace ZYRA::Bench
