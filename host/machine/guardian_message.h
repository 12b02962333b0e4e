// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstdint>
#include <string>

#include "host/machine/undo_list.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// What the host and its guardian say to each other over a socket of type SOCK_SEQPACKET: a message of one size, with a
// setting's file attached to its note, and an errno as its answer.

enum class GuardianRequest : uint32_t {
    NOTE,    // Of a change that is noted already: nothing.
    FORGET,  // What is noted of this path, if anything is.
};

struct GuardianMessage {
    GuardianRequest request;
    ChangeKind kind;
    // Both end with a zero.
    char path[PATH_MAX];
    char original[PATH_MAX];
};

// False, with ENAMETOOLONG, for texts that are too long or hold a zero byte.
bool FillMessage(GuardianMessage& message, GuardianRequest request, ChangeKind kind, const std::string& path,
                 const std::string& original);

// Both are false when the other end is gone, and leave errno as it may be then. `file` may be -1.
bool SendMessage(int socket, const GuardianMessage& message, int file);
// Without a file attached, `file` becomes invalid.
bool ReceiveMessage(int socket, GuardianMessage& message, UniqueFd& file);

bool SendAnswer(int socket, int answer);
bool ReceiveAnswer(int socket, int& answer);

}  // namespace ZYRA::Host
