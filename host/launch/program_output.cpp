// SPDX-License-Identifier: Apache-2.0
#include "host/launch/program_output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

constexpr size_t CHUNK_BYTES = 1 << 16;
constexpr int FIRST_OWN_FD = 3;

// The file's next piece, empty at its end. Its position is the program's, and is left alone.
std::string_view ReadChunk(int file, off_t position, std::string& buffer) {
    buffer.resize(CHUNK_BYTES);
    const ssize_t size = RetryOnEintr([&] { return pread(file, buffer.data(), buffer.size(), position); });
    return std::string_view(buffer).substr(0, size > 0 ? static_cast<size_t>(size) : 0);
}

bool WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t size = RetryOnEintr([&] { return write(file, text.data(), text.size()); });
        if (size < 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(size));
    }
    return true;
}

bool HoldTheSame(int left, int right) {
    std::string leftBuffer;
    std::string rightBuffer;
    for (off_t position = 0;;) {
        const std::string_view piece = ReadChunk(left, position, leftBuffer);
        if (piece != ReadChunk(right, position, rightBuffer)) {
            return false;
        }
        if (piece.empty()) {
            return true;
        }
        position += static_cast<off_t>(piece.size());
    }
}

}  // namespace

std::unique_ptr<ProgramOutput> ProgramOutput::Create() {
    std::unique_ptr<ProgramOutput> output(new ProgramOutput);
    for (UniqueFd& file : output->files_) {
        file.Reset(memfd_create("iosched-output", MFD_CLOEXEC));
        // A host whose own standard streams are closed must not get one of their numbers.
        if (file.Valid() && file.Get() < FIRST_OWN_FD) {
            file.Reset(fcntl(file.Get(), F_DUPFD_CLOEXEC, FIRST_OWN_FD));
        }
        if (!file.Valid()) {
            return nullptr;
        }
    }
    return output;
}

std::string ProgramOutput::Text(OutputStream stream) const {
    std::string text;
    std::string buffer;
    for (;;) {
        const std::string_view piece = ReadChunk(Descriptor(stream), static_cast<off_t>(text.size()), buffer);
        if (piece.empty()) {
            return text;
        }
        text += piece;
    }
}

bool ProgramOutput::SameAs(const ProgramOutput& other) const {
    return HoldTheSame(Descriptor(OutputStream::OUT), other.Descriptor(OutputStream::OUT)) &&
           HoldTheSame(Descriptor(OutputStream::ERR), other.Descriptor(OutputStream::ERR));
}

bool ProgramOutput::PassThrough(int out) const {
    return WriteAll(out, Text(OutputStream::OUT)) && WriteAll(STDERR_FILENO, Text(OutputStream::ERR));
}

}  // namespace ZYRA::Host
