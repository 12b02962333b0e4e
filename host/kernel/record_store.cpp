// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/record_store.h"

#include "host/kernel/scene_line.h"

namespace ZYRA::Host {

Record RecordStore::Find(const std::string& scene, const std::string& path) {
    const auto known = entries_.find(scene);
    if (known != entries_.end()) {
        return known->second.record;
    }
    const std::optional<Record> loaded = LoadRecordFile(path);
    if (!loaded) {
        return Record{};
    }
    entries_[scene] = Entry{*loaded, path};
    return *loaded;
}

int RecordStore::Put(const std::string& scene, const std::string& path, uint64_t pages) {
    const Record record{RecordState::UPTODATE, pages};
    entries_[scene] = Entry{record, path};
    return SaveRecordFile(path, record);
}

void RecordStore::Clear(const std::string& scene) {
    const auto known = entries_.find(scene);
    if (known != entries_.end() && known->second.record.state != RecordState::ABSENT) {
        entries_.erase(known);
    }
}

std::vector<std::pair<std::string, int>> RecordStore::BackUp() const {
    std::vector<std::pair<std::string, int>> failures;
    for (const auto& [scene, entry] : entries_) {
        if (entry.record.state == RecordState::ABSENT) {
            continue;
        }
        const int error = SaveRecordFile(entry.path, entry.record);
        if (error != 0) {
            failures.emplace_back(scene, error);
        }
    }
    return failures;
}

void RecordStore::Preset(const std::string& scene, const Record& record) {
    entries_[scene] = Entry{record, std::string(RECORD_DIRECTORY) + scene};
}

}  // namespace ZYRA::Host
