#include "host/pages/record_fit.h"

#include <map>
#include <utility>

namespace ZYRA::Host {

RecordFit CompareRecord(const PageRecord& record, const TouchedPages& touched, const std::vector<MappedFile>& mapped,
                        const FileFinder& finder) {
    std::map<std::pair<uint64_t, uint64_t>, PageSet> recorded;
    for (const RecordedRange& range : record.ranges) {
        const FileIdentity& identity = record.files[range.file].identity;
        recorded[{identity.device, identity.inode}].Add(range.pages);
    }
    RecordFit fit;
    fit.recorded = record.Pages();
    fit.neverTouched = fit.recorded;
    for (const TouchedPages::File& file : touched.Files()) {
        const auto known = recorded.find({file.device, file.inode});
        if (known != recorded.end()) {
            const PageSet onlyAround = file.around.Without(file.sure);
            fit.neverTouched -= known->second.CountCommon(file.sure) + known->second.CountCommon(onlyAround);
            fit.missed += file.sure.Count() - file.sure.CountCommon(known->second);
        } else if (file.sure.Count() != 0 && !finder.PathOf(file.device, file.inode, mapped).empty()) {
            fit.missed += file.sure.Count();
        }
    }
    return fit;
}

}  // namespace ZYRA::Host
