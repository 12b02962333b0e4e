// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/kernel/record_file.h"

namespace ZYRA::Host {

// The records that the facility knows, by scene: its cache, with the record files behind it. Not thread-safe.
class RecordStore {
public:
    // The record of a scene: the cached one, else that of the record file, which is cached from then on.
    Record Find(const std::string& scene, const std::string& path);

    // A new record, cached and written to its file. Returns 0 or the errno of the file; the record is cached either
    // way.
    int Put(const std::string& scene, const std::string& path, uint64_t pages);

    // Drops the cached record; the file is left alone.
    void Clear(const std::string& scene);

    // Writes every cached record to its file. Returns the scenes for which that failed, with the errno.
    std::vector<std::pair<std::string, int>> BackUp() const;

    // Decides what Find gives, whatever the record file holds. An absent record stays absent until a new one is put.
    void Preset(const std::string& scene, const Record& record);

private:
    struct Entry {
        Record record;
        std::string path;
    };

    std::map<std::string, Entry> entries_;
};

}  // namespace ZYRA::Host
