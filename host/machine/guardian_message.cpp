// SPDX-License-Identifier: Apache-2.0
#include "host/machine/guardian_message.h"

#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

bool Fill(char (&field)[PATH_MAX], std::string_view text) {
    if (text.size() >= PATH_MAX || text.find('\0') != std::string_view::npos) {
        errno = ENAMETOOLONG;
        return false;
    }
    text.copy(field, text.size());
    field[text.size()] = '\0';
    return true;
}

// The room of one attached descriptor.
union Attachment {
    cmsghdr header;
    char bytes[CMSG_SPACE(sizeof(int))];
};

}  // namespace

bool FillMessage(GuardianMessage& message, GuardianRequest request, ChangeKind kind, const std::string& path,
                 const std::string& original) {
    message = {};
    message.request = request;
    message.kind = kind;
    return Fill(message.path, path) && Fill(message.original, original);
}

bool SendMessage(int socket, const GuardianMessage& message, int file) {
    GuardianMessage copy = message;
    iovec content = {&copy, sizeof(copy)};
    msghdr header = {};
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    Attachment attachment = {};
    if (file >= 0) {
        header.msg_control = &attachment;
        header.msg_controllen = sizeof(attachment);
        cmsghdr* const first = CMSG_FIRSTHDR(&header);
        first->cmsg_level = SOL_SOCKET;
        first->cmsg_type = SCM_RIGHTS;
        first->cmsg_len = CMSG_LEN(sizeof(file));
        std::memcpy(CMSG_DATA(first), &file, sizeof(file));
    }
    return RetryOnEintr([&] { return sendmsg(socket, &header, MSG_NOSIGNAL); }) == sizeof(copy);
}

bool ReceiveMessage(int socket, GuardianMessage& message, UniqueFd& file) {
    iovec content = {&message, sizeof(message)};
    Attachment attachment = {};
    msghdr header = {};
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    header.msg_control = &attachment;
    header.msg_controllen = sizeof(attachment);
    const ssize_t size = RetryOnEintr([&] { return recvmsg(socket, &header, MSG_CMSG_CLOEXEC); });
    file.Reset();
    const cmsghdr* const first = size < 0 ? nullptr : CMSG_FIRSTHDR(&header);
    if (first != nullptr && first->cmsg_type == SCM_RIGHTS && first->cmsg_len == CMSG_LEN(sizeof(int))) {
        int received = -1;
        std::memcpy(&received, CMSG_DATA(first), sizeof(received));
        file.Reset(received);
    }
    return size == sizeof(message);
}

bool SendAnswer(int socket, int answer) {
    return RetryOnEintr([&] { return send(socket, &answer, sizeof(answer), MSG_NOSIGNAL); }) == sizeof(answer);
}

bool ReceiveAnswer(int socket, int& answer) {
    return RetryOnEintr([&] { return recv(socket, &answer, sizeof(answer), 0); }) == sizeof(answer);
}

}  // namespace ZYRA::Host
