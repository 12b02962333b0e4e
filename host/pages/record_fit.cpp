// SPDX-License-Identifier: Apache-2.0
#include "host/pages/record_fit.h"

#include <map>
#include <set>
#include <utility>

#include "host/pages/record_builder.h"

namespace ZYRA::Host {

namespace {

using FileKey = std::pair<uint64_t, uint64_t>;  // Device and inode.

FileKey KeyOf(const FileIdentity& identity) {
    return {identity.device, identity.inode};
}

std::map<FileKey, PageSet> PagesByFile(const PageRecord& record) {
    std::map<FileKey, PageSet> pages;
    for (const RecordedRange& range : record.ranges) {
        pages[KeyOf(record.files[range.file].identity)].Add(range.pages);
    }
    return pages;
}

// The pages of a record, by the file as the kernel's events name it: some file systems have devices of their own for
// stat(2), of which the events know nothing.
class RecordedPages {
public:
    explicit RecordedPages(const PageRecord& record) : pages_(PagesByFile(record)) {
        for (const auto& [key, pages] : pages_) {
            devices_.insert(key.first);
            byInode_[key.second] = &pages;
        }
    }

    const PageSet& Of(const TouchedPages::File& file) const {
        if (const auto known = pages_.find({file.device, file.inode}); known != pages_.end()) {
            return known->second;
        }
        const auto known = byInode_.find(file.inode);
        return devices_.contains(file.device) || known == byInode_.end() ? none_ : *known->second;
    }

private:
    const std::map<FileKey, PageSet> pages_;
    const PageSet none_;
    std::set<uint64_t> devices_;
    std::map<uint64_t, const PageSet*> byInode_;
};

}  // namespace

RecordFit CompareRecord(const PageRecord& record, const CollectedPages& collected, const FileFinder& finder,
                        const MachineView& machine) {
    const RecordedPages recorded(record);
    RecordFit fit;
    fit.recorded = record.Pages();
    fit.neverTouched = fit.recorded;
    CollectedPages missed{{}, collected.mapped, collected.begunNs, 0};
    for (const TouchedPages::File& file : collected.touched.Files()) {
        const PageSet& known = recorded.Of(file);
        fit.neverTouched -= known.CountCommon(file.sure) + known.CountCommon(file.around.Without(file.sure));
        for (const PageRange& range : file.sure.Without(known).Ranges()) {
            missed.touched.Note(
                {0, PageEventKind::READ, file.device, file.inode, range.first, range.first + range.count - 1});
        }
    }
    constexpr bool aroundCounts = false;
    fit.missing = BuildRecord(missed, aroundCounts, finder, machine).record;
    return fit;
}

PageRecord ExtendRecord(PageRecord record, const PageRecord& more) {
    std::map<FileKey, PageSet> pages = PagesByFile(record);
    std::map<FileKey, uint32_t> indices;
    for (uint32_t index = 0; index < record.files.size(); ++index) {
        indices[KeyOf(record.files[index].identity)] = index;
    }
    for (const RecordedRange& range : more.ranges) {
        const RecordedFile& file = more.files[range.file];
        const FileKey key = KeyOf(file.identity);
        const auto [known, isNew] = indices.try_emplace(key, static_cast<uint32_t>(record.files.size()));
        if (isNew) {
            record.files.push_back(file);
        }
        if (record.files[known->second].identity == file.identity) {
            for (const PageRange& part : pages[key].Add(range.pages)) {
                record.ranges.push_back({known->second, part});
            }
        }
    }
    return record;
}

}  // namespace ZYRA::Host
