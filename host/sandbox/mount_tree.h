// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::Host {

// The pieces of which the sandbox's file system is built. Paths are absolute. What fails throws std::system_error,
// whose text names the step.

// Throws errno with "cannot <step>".
[[noreturn]] void ThrowErrno(const std::string& step);

void MakeDirectory(const std::string& path);
void MakeEmptyFile(const std::string& path);
void MakeSymlink(const std::string& content, const std::string& path);

// An empty file system on the directory `target`; `options` are the tmpfs's own ("size=16m,mode=755").
void MountTmpfs(const std::string& target, unsigned long flags, const std::string& options);

// Shows `source`, with whatever is mounted below it, at the existing `target`, which is of the same kind.
void BindTree(const std::string& source, const std::string& target);

// Makes `target` show what `source` is: a symbolic link is made again, anything else is bound. What is missing or
// cannot be bound is left out, and no trace of it stays.
void MirrorEntry(const std::string& source, const std::string& target);

}  // namespace ZYRA::Host
