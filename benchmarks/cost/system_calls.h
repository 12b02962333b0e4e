// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace ZYRA::Bench {

// How often each system call was made, by number.
using CallCounts = std::map<long, int>;

// "openat", or "call 123" for one that no file operation or memory allocator makes.
std::string CallName(long number);

// Writes down the system calls of the thread that opened it, by a tracepoint of the kernel. Reading what was written
// down makes none.
class SystemCalls {
public:
    // REQUIRES: the process is in a mount namespace of its own. Null where the kernel does not permit it.
    static std::unique_ptr<SystemCalls> Open();

    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    // Those since the last call of this.
    CallCounts Take();

private:
    SystemCalls(int file, char* memory, size_t numberOffset);

    const int file_;
    char* const memory_;
    const size_t numberOffset_;  // In a raw sample.
};

}  // namespace ZYRA::Bench
