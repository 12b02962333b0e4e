// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

enum class OutputStream { OUT, ERR };

// What a program writes to standard output and standard error, kept in memory: the disk that is measured has nothing to
// do with it. One thread.
class ProgramOutput {
public:
    // Returns null with errno set on failure.
    static std::unique_ptr<ProgramOutput> Create();

    // Where the program writes.
    int Descriptor(OutputStream stream) const { return File(stream).Get(); }

    std::string Text(OutputStream stream) const;

    // Whether both streams hold the same bytes as the other's.
    bool SameAs(const ProgramOutput& other) const;

    // Writes each stream to the host's own, or that of standard output to `out`. False with errno set on failure.
    bool PassThrough(int out = STDOUT_FILENO) const;

private:
    static constexpr size_t STREAM_COUNT = 2;

    ProgramOutput() = default;
    const UniqueFd& File(OutputStream stream) const { return files_[static_cast<size_t>(stream)]; }

    std::array<UniqueFd, STREAM_COUNT> files_;
};

}  // namespace ZYRA::Host
