// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ZYRA::Host {

// Gives the process a mount namespace of its own, none of whose changes reaches the machine, and every capability in
// it. Where that takes a user namespace, the user and the group keep their numbers and every other one reads as
// "nobody". What fails throws std::system_error.
void EnterPrivateNamespace();

// How to allow what the kernel refused with this errno: "; " and a clause to end the message with. Empty for an errno
// that is no refusal.
std::string NamespaceAdvice(int error);

}  // namespace ZYRA::Host
