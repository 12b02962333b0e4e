// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/fault_vfs.h"

namespace ZYRA::ResourceSchedule {

// Contents by path.
using Files = std::map<std::string, std::string>;

// A folder on a disk whose power may be cut. What is certain then is what was synced:
// - Each write since the last sync of its file may be lost on its own, as may each sector of it, and may have made the
//   file longer all the same, by zeros.
// - A file is created or deleted for certain once the folder was synced; to sync the file alone does not do. Up to then
//   that may be undone, the last creation or deletion first. A file that comes back has all that was synced of it.
class PowerCutDisk {
public:
    // All of it is certain.
    explicit PowerCutDisk(const Files& files) : folders_(1) {
        for (const auto& [path, bytes] : files) {
            folders_.back()[path] = std::make_shared<Content>(Content{bytes, {}});
        }
    }

    void Do(const Host::FileChange& change) {
        Folder folder = folders_.back();
        switch (change.kind) {
            case Host::FileChange::OPENED:
                if (folder.emplace(change.path, std::make_shared<Content>()).second) {
                    folders_.push_back(folder);
                }
                break;
            case Host::FileChange::WRITTEN:
                folder.at(change.path)->unsynced.push_back(change);
                break;
            case Host::FileChange::TRUNCATED:
                throw std::logic_error("nothing is known of what a truncation leaves");
            case Host::FileChange::SYNCED:
                *folder.at(change.path) = {Seen().at(change.path), {}};
                break;
            case Host::FileChange::DELETED:
                folder.erase(change.path);
                folders_.push_back(folder);
                break;
            case Host::FileChange::FOLDER_SYNCED:
                folders_ = {folder};
                break;
        }
    }

    // What the processes see, and what there is after the last of them was killed.
    Files Seen() const { return Left(folders_.back(), FATES[0]); }

    // What there may be after a power cut: each choice of fates, with none, all, or all but the last one or two of the
    // creations and deletions.
    std::set<Files> LeftByPowerCut() const {
        std::set<Files> left;
        for (size_t undone = 0; undone < folders_.size(); ++undone) {
            if (undone <= 2 || undone + 1 == folders_.size()) {
                for (const Fates fates : FATES) {
                    left.insert(Left(folders_[folders_.size() - 1 - undone], fates));
                }
            }
        }
        return left;
    }

private:
    struct Content {
        std::string synced;
        std::vector<Host::FileChange> unsynced;
    };
    using Folder = std::map<std::string, std::shared_ptr<Content>>;
    enum Fate { KEPT, LOST, LENGTH };  // The last: only the length that it gave the file is kept.
    // Of the sector of a write that `later` unsynced ones to the same file follow.
    using Fates = Fate (*)(bool isJournal, size_t later, size_t sector);

    static constexpr size_t SECTOR_SIZE = 512;
    static constexpr Fates FATES[] = {
        [](bool, size_t, size_t) { return KEPT; },
        [](bool, size_t, size_t) { return LOST; },
        [](bool, size_t, size_t) { return LENGTH; },
        [](bool isJournal, size_t, size_t) { return isJournal ? KEPT : LOST; },
        [](bool isJournal, size_t, size_t) { return isJournal ? LENGTH : KEPT; },
        [](bool, size_t later, size_t) { return later % 2 == 0 ? KEPT : LOST; },
        [](bool, size_t later, size_t) { return later % 2 == 0 ? LENGTH : KEPT; },
        [](bool, size_t later, size_t) { return later == 0 ? KEPT : LOST; },
        [](bool, size_t later, size_t) { return later == 0 ? LENGTH : KEPT; },
        [](bool, size_t later, size_t sector) { return later == 0 && sector > 0 ? LOST : KEPT; },
        [](bool, size_t later, size_t sector) { return later == 0 && sector < 4 ? LENGTH : KEPT; },
        [](bool, size_t, size_t sector) { return sector % 2 == 0 ? KEPT : LOST; },
    };

    static Files Left(const Folder& folder, Fates fates) {
        Files files;
        for (const auto& [path, content] : folder) {
            std::string& bytes = files[path] = content->synced;
            size_t later = content->unsynced.size();
            for (const Host::FileChange& write : content->unsynced) {
                --later;
                for (size_t from = 0, sector = 0, size = 0; from < write.bytes.size(); from += size, ++sector) {
                    const size_t offset = write.offset + from;
                    size = std::min(SECTOR_SIZE - offset % SECTOR_SIZE, write.bytes.size() - from);
                    const Fate fate = fates(path.ends_with("-journal"), later, sector);
                    bytes.resize(std::max(bytes.size(), fate != LOST ? offset + size : 0));
                    if (fate == KEPT) {
                        bytes.replace(offset, size, write.bytes, from, size);
                    }
                }
            }
        }
        return files;
    }

    // As it was synced, and after each change since then.
    std::vector<Folder> folders_;
};

}  // namespace ZYRA::ResourceSchedule
