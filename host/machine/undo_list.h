// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// The pieces of which changes of the machine and their undoing are made, and the list of what is to be undone, which
// the host and its guardian both keep. What can fail returns 0 or an errno. Not thread-safe.

enum class ChangeKind : uint32_t { SETTING, GROUP };

struct UndoNote {
    ChangeKind kind;
    std::string path;
    // Of a setting: what is written to take the change back, and the file, open for both directions.
    std::string original = {};
    UniqueFd file = UniqueFd();
};

// Opens a setting and takes its lock, which lasts as long as any copy of the descriptor; EWOULDBLOCK where another has
// it. Reads what is set.
int OpenSetting(const std::string& path, UniqueFd& file, std::string& content);

// Writes in one write(2), in place of what was there.
int WriteSetting(int file, const std::string& content);

// How long a group that does not become empty is waited for.
enum class Patience { A_MOMENT, A_MINUTE };

// Moves the members of a control group to the nearest group above it that takes them (with some controllers only the
// hierarchy's root does), and removes it. A group that is gone is removed. EBUSY where it does not become empty.
int RemoveGroupFolder(const std::string& folder, Patience patience);

class UndoList {
public:
    const UndoNote* Find(const std::string& path) const;
    // REQUIRES: no note of this path.
    void Add(UndoNote note);
    void Forget(const std::string& path);

    // Undoes everything and forgets it: first what can be undone at once, newest first, then what is left, with
    // patience. What fails is left out, and its paths are returned, save for a setting that is in use
    // (EBUSY): it stays as it is for somebody else, or for a group that has failed.
    std::vector<std::string> UndoAll();

private:
    std::vector<UndoNote> notes_;
};

}  // namespace ZYRA::Host
