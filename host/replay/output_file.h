#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/kernel/unique_fd.h"

namespace ZYRA::Host {

// A file, or standard output, that is written in large pieces. After a failed write nothing more is written. Not
// thread-safe.
class OutputFile {
public:
    static constexpr char STANDARD_OUTPUT[] = "-";

    // Creates or empties the file, or takes standard output for the path "-"; at once, because inside the sandbox a
    // path may lead elsewhere. Returns null with errno set on failure.
    static std::unique_ptr<OutputFile> Create(const std::string& path);

    void Write(std::string_view text);

    // Writes what is left and ends. Returns 0, or the errno of the first write that failed.
    int Finish();

private:
    explicit OutputFile(UniqueFd file) : file_(std::move(file)) {}
    void Flush();

    UniqueFd file_;
    std::string pending_;
    int error_ = 0;
};

}  // namespace ZYRA::Host
