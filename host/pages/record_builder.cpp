// SPDX-License-Identifier: Apache-2.0
#include "host/pages/record_builder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "host/pages/page_cache.h"
#include "host/pages/record_check.h"
#include "platform/clock.h"

namespace ZYRA::Host {

namespace {

// A touched file whose path is known.
struct KnownFile {
    uint32_t index;    // Into the record's files.
    PageSet resident;  // Looked at where it matters.
    PageSet recorded;  // What of it is in the record already.
};

class Builder {
public:
    Builder(const CollectedPages& collected, bool aroundCounts, const FileFinder& finder, const MachineView& machine)
        : collected_(collected),
          touched_(collected.touched),
          aroundCounts_(aroundCounts),
          finder_(finder),
          machine_(machine) {}

    BuiltRecord Build() {
        built_.record.madeAtS = Clock::NowSeconds();
        known_.resize(touched_.Files().size());
        isKnown_.resize(known_.size());
        for (const TouchedPages::Touch& touch : touched_.Touches()) {
            KnownFile* const file = Know(touch.file);
            if (file != nullptr) {
                Record(*file, touch);
            }
        }
        return std::move(built_);
    }

private:
    // Null for a file without a path.
    KnownFile* Know(uint32_t index) {
        if (!isKnown_[index]) {
            isKnown_[index] = true;
            known_[index] = Add(touched_.Files()[index]);
        }
        return known_[index] ? &*known_[index] : nullptr;
    }

    // Nothing for a file that does not belong to the record.
    std::optional<KnownFile> Add(const TouchedPages::File& touched) {
        const std::string path = finder_.PathOf(touched.device, touched.inode, collected_.mapped);
        UniqueFd file;
        if (path.empty() || path.size() > LONGEST_RECORDED_PATH) {
            ++built_.lostFiles;
            return std::nullopt;
        }
        struct stat status {};
        const bool isOpen = machine_.OpenFile(path, O_PATH, file) == 0 && fstat(file.Get(), &status) == 0;
        const std::optional<FileKind> kind = isOpen ? KindOf(status) : std::nullopt;
        // What stands at the path may be another file by now.
        if (!kind || status.st_ino != touched.inode) {
            ++built_.lostFiles;
            return std::nullopt;
        }
        const FileIdentity identity = IdentityOf(status);
        const bool isWrittenMeanwhile = identity.mtimeNs >= collected_.begunNs && identity.mtimeNs <= nowNs_;
        if (*kind == FileKind::REGULAR && isWrittenMeanwhile) {
            return std::nullopt;
        }
        if (!identities_.insert({identity.device, identity.inode}).second) {
            return std::nullopt;
        }
        KnownFile known{static_cast<uint32_t>(built_.record.files.size()), {}, {}};
        built_.record.files.push_back({*kind, identity, path});
        if (!aroundCounts_ && *kind == FileKind::REGULAR && touched.around.Without(touched.sure).Count() != 0) {
            UniqueFd readable;
            if (machine_.OpenFile(path, O_RDONLY, readable) == 0) {
                known.resident = ResidentPages(readable.Get(), PagesOf(identity.size));
            }
        }
        return known;
    }

    void Record(KnownFile& file, const TouchedPages::Touch& touch) {
        const RecordedFile& recorded = built_.record.files[file.index];
        const uint64_t pages = recorded.kind == FileKind::REGULAR ? PagesOf(recorded.identity.size) : 0;
        if (touch.pages.first >= pages) {
            return;
        }
        const PageRange inside{touch.pages.first, std::min(touch.pages.count, pages - touch.pages.first)};
        PageSet wanted;
        wanted.Add(inside);
        if (!touch.isSure && !aroundCounts_) {
            const PageSet absent = wanted.Without(file.resident);
            wanted = wanted.Without(absent);
        }
        for (const PageRange& range : wanted.Ranges()) {
            for (const PageRange& part : file.recorded.Add(range)) {
                Append({file.index, part});
            }
        }
    }

    // Pages that follow each other in the file and in time are one range.
    void Append(const RecordedRange& range) {
        std::vector<RecordedRange>& ranges = built_.record.ranges;
        if (!ranges.empty() && ranges.back().file == range.file &&
            ranges.back().pages.first + ranges.back().pages.count == range.pages.first) {
            ranges.back().pages.count += range.pages.count;
        } else {
            ranges.push_back(range);
        }
    }

    const CollectedPages& collected_;
    const TouchedPages& touched_;
    const int64_t nowNs_ = LatestFileTimeNs();
    const bool aroundCounts_;
    const FileFinder& finder_;
    const MachineView& machine_;
    BuiltRecord built_;
    std::vector<std::optional<KnownFile>> known_;
    std::vector<bool> isKnown_;
    std::set<std::pair<uint64_t, uint64_t>> identities_;
};

}  // namespace

BuiltRecord BuildRecord(const CollectedPages& collected, bool aroundCounts, const FileFinder& finder,
                        const MachineView& machine) {
    return Builder(collected, aroundCounts, finder, machine).Build();
}

}  // namespace ZYRA::Host
