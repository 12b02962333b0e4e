// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/kernel/control_files.h"
#include "host/kernel/fault_table.h"

namespace ZYRA::Host {

// The folders and files that the device's kernel shows, with the faults of the device in front of them. Built by one
// thread, then thread-safe.
class KernelTree {
public:
    struct Node {
        size_t parent;
        std::string name;
        // Kind and permission bits.
        mode_t mode;
        // Only of a file: its path on the device, who answers for it, and its name there.
        std::string devicePath;
        ControlFiles* owner;
        std::string ownerName;
    };

    static constexpr size_t ROOT = 0;

    // `faults` must outlive the tree.
    explicit KernelTree(FaultTable& faults);

    // Shows the files in the folder, which is made when it is not there; "" is the root. `files` must outlive the tree.
    void Add(const std::string& folder, ControlFiles& files);

    const std::vector<Node>& Nodes() const { return nodes_; }
    std::optional<size_t> Child(size_t parent, std::string_view name) const;

    // Each returns 0 or an errno. REQUIRES: `node` is a file.

    // Whether the command, or a reading where there is none, needs what only some threads have, or may take long.
    bool NeedsCallThread(size_t node, const std::string* command) const {
        return HasFaults() || nodes_[node].owner->NeedsDescriptors(nodes_[node].ownerName, command);
    }
    // Whether opening it may.
    bool HasFaults() const { return !faults_.IsEmpty(); }

    // `flags` are those of open(2). The first strikes no fault.
    int CheckOpen(size_t node, int flags) const;
    int Open(size_t node, int flags);
    // Up to `size` bytes of the text from `offset` on. One pass over the file is one operation for the faults,
    // whatever the number of read(2) calls it takes: the one at its start counts.
    int Read(size_t node, size_t offset, size_t size, std::string& content);
    // One command. `taken` is the number of bytes that the caller is told of.
    int Write(size_t node, const std::string& content, size_t& taken);

private:
    // Returns the folder's node, made with all above it when it is not there. `path` is relative to `parent`.
    size_t AddFolder(std::string_view path, size_t parent = ROOT);
    // Returns the fault that strikes the operation, after the journal was told and the answer's delay has passed.
    Fault Strike(const Node& file, FileOperation operation);

    FaultTable& faults_;
    std::vector<Node> nodes_;
};

}  // namespace ZYRA::Host
