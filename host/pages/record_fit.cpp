#include "host/pages/record_fit.h"

#include <map>
#include <optional>
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

}  // namespace

RecordFit CompareRecord(const PageRecord& record, const TouchedPages& touched, const std::vector<MappedFile>& mapped,
                        const FileFinder& finder, const MachineView& machine) {
    std::map<FileKey, PageSet> recorded = PagesByFile(record);
    RecordFit fit;
    fit.recorded = record.Pages();
    fit.neverTouched = fit.recorded;
    TouchedPages missed;
    for (const TouchedPages::File& file : touched.Files()) {
        const PageSet& known = recorded[{file.device, file.inode}];
        fit.neverTouched -= known.CountCommon(file.sure) + known.CountCommon(file.around.Without(file.sure));
        for (const PageRange& range : file.sure.Without(known).Ranges()) {
            missed.Note({0, PageEventKind::READ, file.device, file.inode, range.first, range.first + range.count - 1});
        }
    }
    constexpr bool aroundCounts = false;
    fit.missing = BuildRecord(missed, mapped, aroundCounts, finder, machine).record;
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
