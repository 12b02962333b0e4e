#pragma once

#include <memory>
#include <string>

#include "host/kernel/unique_fd.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Writes the journal's lines to a file, in large pieces. After a failed write nothing more is written.
class JournalWriter final : public JournalSink {
public:
    // Creates or empties the file, at once: inside the sandbox its path may lead elsewhere. Returns null with errno set
    // on failure.
    static std::unique_ptr<JournalWriter> Create(const std::string& path);
    // Writes to the process's standard output.
    static std::unique_ptr<JournalWriter> OnStandardOutput();

    void OnEntry(const JournalEntry& entry) override;

    // Writes what is left and ends. Returns 0, or the errno of the first write that failed.
    // REQUIRES: the writer is no sink of the journal any more.
    int Finish();

private:
    explicit JournalWriter(UniqueFd file) : file_(std::move(file)) {}
    static std::unique_ptr<JournalWriter> On(UniqueFd file);
    void Flush();

    // Everything here is guarded by the journal's lock, and by RemoveSink after that.
    UniqueFd file_;
    std::string pending_;
    int error_ = 0;
};

}  // namespace ZYRA::Host
