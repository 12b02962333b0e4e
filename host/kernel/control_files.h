// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace ZYRA::Host {

// One file of a facility: its name below the facility's root ("monitor0/workingset.state") and its permission bits.
struct ControlFile {
    std::string name;
    mode_t mode;
};

// The control files of one kernel facility, without the file system that shows them. Thread-safe.
class ControlFiles {
public:
    virtual ~ControlFiles() = default;

    // The folder of the device in which the files stand, with a slash at its end.
    virtual std::string DeviceRoot() const = 0;
    // Never changes.
    virtual std::vector<ControlFile> List() const = 0;

    // The whole text of a file. Returns 0 or an errno, then `content` is left alone.
    virtual int Read(std::string_view name, std::string& content) = 0;

    // Carries out one command, which is what one write(2) holds. Returns 0, or an errno and nothing has changed. Either
    // way the journal has the write, followed by what it caused, when the call returns.
    virtual int Write(std::string_view name, const std::string& content) = 0;

    // Whether a command, or a reading where there is none, may open files or use descriptors that stay open between two
    // calls. What does not is carried out on threads that have a descriptor table of their own.
    virtual bool NeedsDescriptors(std::string_view /*name*/, const std::string* /*command*/) const { return true; }
};

}  // namespace ZYRA::Host
