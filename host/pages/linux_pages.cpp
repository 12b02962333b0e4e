// SPDX-License-Identifier: Apache-2.0
#include "host/pages/linux_pages.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <system_error>

#include "host/pages/mapped_pages.h"
#include "host/pages/page_record_file.h"
#include "host/pages/preread_job.h"
#include "host/pages/record_builder.h"

namespace ZYRA::Host {

namespace {

std::vector<PageEventKind> KindsFor(bool countsAdditions) {
    std::vector<PageEventKind> kinds = PAGE_DEMANDS;
    kinds.push_back(PageEventKind::LOADED);
    if (countsAdditions) {
        kinds.push_back(PageEventKind::ADDED);
    }
    return kinds;
}

}  // namespace

LinuxPages::LinuxPages(const Machine& machine, CollectionMode mode)
    : machine_(machine),
      mode_(mode),
      readAhead_(machine.guardian, machine.readAheadFiles),
      watchListener_(machine_.events) {
    MutexLock lock(mutex_);
    if (!machine_.events.HasAdditions()) {
        Note(
            "no tracepoints of the page cache (tracefs, filemap events): recorded is what is in memory, after a start, "
            "of the files that were mapped");
    } else if (!machine_.events.HasDemands()) {
        Note(
            "no tracepoints of page faults and reads: records are made with read-ahead off, and are not compared "
            "later");
    }
}

LinuxPages::~LinuxPages() {
    FinishPrereads();
}

void LinuxPages::Note(const std::string& line) {
    if (std::find(notes_.begin(), notes_.end(), line) == notes_.end()) {
        notes_.push_back(line);
    }
}

LinuxPages::Known* LinuxPages::Find(const SceneLine& scene) {
    const auto known = records_.find(scene.scene);
    if (known != records_.end()) {
        return &known->second;
    }
    std::string reason;
    std::optional<PageRecord> loaded = LoadPageRecord(scene.recordPath, reason);
    if (!loaded) {
        if (!reason.empty()) {
            Note("record of " + scene.scene + " counts as absent: " + reason);
        }
        return nullptr;
    }
    const RecordState state = loaded->isOlder ? RecordState::OLDER : RecordState::UPTODATE;
    Known entry{std::make_shared<const PageRecord>(std::move(*loaded)), scene.recordPath, state, {}};
    return &records_.insert_or_assign(scene.scene, std::move(entry)).first->second;
}

std::shared_ptr<const OpenedRecord> LinuxPages::Open(Known* known) {
    if (known == nullptr) {
        return nullptr;
    }
    auto opened = std::make_shared<const OpenedRecord>(known->record, machine_.view);
    known->state = opened->State();
    if (!opened->HadRoom()) {
        Note("a record has more files than can be open at once: not all of it is preread");
    }
    return opened;
}

LinuxPages::Work* LinuxPages::WorkOf(int monitor) {
    const auto work = works_.find(monitor);
    return work == works_.end() ? nullptr : &work->second;
}

LinuxPages::Work& LinuxPages::Renew(int monitor, const SceneLine& scene) {
    Work* const present = WorkOf(monitor);
    if (present != nullptr && present->scene.scene == scene.scene) {
        present->scene = scene;
        return *present;
    }
    if (present != nullptr) {
        Finish(*present);
    }
    Work work;
    work.scene = scene;
    Known* const known = Find(scene);
    // Before anything else: the scene's processes may be about to open their files.
    if (std::string reason;
        known != nullptr && mode_ == CollectionMode::EXACT && !TurnDown(work, ReadAheadLevel::USUAL, reason)) {
        Note("preread with read-ahead as it is: " + reason);
    }
    work.opened = Open(known);
    return works_.insert_or_assign(monitor, std::move(work)).first->second;
}

RecordState LinuxPages::Bind(int monitor, const SceneLine& scene) {
    MutexLock lock(mutex_);
    Renew(monitor, scene);
    const Known* const known = Find(scene);
    return known == nullptr ? RecordState::ABSENT : known->state;
}

RecordState LinuxPages::StateOf(const SceneLine& scene) {
    MutexLock lock(mutex_);
    const Known* const known = Find(scene);
    return known == nullptr ? RecordState::ABSENT : known->state;
}

void LinuxPages::Begin(int monitor, const SceneLine& scene) {
    MutexLock lock(mutex_);
    Work& work = Renew(monitor, scene);
    Finish(work);
    std::string reason;
    const bool isExact = mode_ == CollectionMode::EXACT || !machine_.events.HasDemands();
    const bool isOff = isExact && TurnDown(work, ReadAheadLevel::NONE, reason);
    if (isExact && !isOff) {
        Note("recorded with read-ahead as it is: " + reason);
    }
    work.collection = PageCollection::Start(machine_.events, KindsFor(isOff || !machine_.events.HasDemands()), reason);
    work.isRecording = true;
    if (work.collection == nullptr) {
        Note(reason);
    }
}

void LinuxPages::Attach(int monitor, int32_t pid) {
    MutexLock lock(mutex_);
    Work* const work = WorkOf(monitor);
    if (work == nullptr || work->collection == nullptr) {
        return;
    }
    if (const int error = work->collection->Attach(pid); error != 0) {
        Note("cannot listen to process " + std::to_string(pid) + ": " + std::strerror(error));
    }
}

void LinuxPages::Detach(int monitor, int32_t pid) {
    MutexLock lock(mutex_);
    Work* const work = WorkOf(monitor);
    if (work != nullptr && work->collection != nullptr) {
        work->collection->Detach(pid);
    }
}

void LinuxPages::ClearYoung(int32_t pid) {
    MutexLock lock(mutex_);
    for (auto& [monitor, work] : works_) {
        if (work.collection != nullptr && work.collection->Has(pid)) {
            work.collection->Clear();
        }
    }
}

bool LinuxPages::TurnDown(Work& work, ReadAheadLevel level, std::string& reason) {
    TurnBack(work);
    if (readAhead_.TurnDown(level, reason)) {
        work.readAhead = level;
    }
    return work.readAhead.has_value();
}

void LinuxPages::TurnBack(Work& work) {
    if (const auto level = std::exchange(work.readAhead, std::nullopt); level) {
        readAhead_.TurnBack(*level);
    }
}

CollectedPages LinuxPages::Finish(Work& work) {
    CollectedPages result;
    if (work.collection != nullptr) {
        result = work.collection->Finish();
        work.collection.reset();
    }
    TurnBack(work);
    work.isRecording = false;
    if (result.lostEvents != 0) {
        Note("some page events were lost: the record may miss pages");
    }
    return result;
}

KeptRecord LinuxPages::Keep(int monitor) {
    MutexLock lock(mutex_);
    Work* const work = WorkOf(monitor);
    if (work == nullptr || work->collection == nullptr) {
        return {};
    }
    // With read-ahead off, only what was there before is around a demanded page without having been demanded.
    const bool aroundCounts = work->readAhead != ReadAheadLevel::NONE;
    CollectedPages collected = Finish(*work);
    if (machine_.events.HasDemands()) {
        Compare(*work, collected);
    }
    if (!machine_.events.HasAdditions()) {
        collected.touched = ResidentPagesOf(collected.mapped, machine_.view);
    }
    BuiltRecord built = BuildRecord(collected, aroundCounts, machine_.finder, machine_.view);
    if (built.lostFiles > built.record.files.size()) {
        Note("most files that were touched have no path that can be found: their pages are not recorded");
    }
    const uint64_t pages = built.record.Pages();
    return {pages, pages == 0 ? 0 : Store(work->scene, std::move(built.record))};
}

void LinuxPages::Drop(int monitor) {
    MutexLock lock(mutex_);
    if (Work* const work = WorkOf(monitor); work != nullptr) {
        Finish(*work);
    }
}

int LinuxPages::Store(const SceneLine& scene, PageRecord record) {
    const RecordState state = record.isOlder ? RecordState::OLDER : RecordState::UPTODATE;
    Known& known = records_[scene.scene];
    known.path = scene.recordPath;
    known.record = std::make_shared<const PageRecord>(std::move(record));
    known.state = state;
    return SavePageRecord(known.path, *known.record);
}

void LinuxPages::Watch(int monitor, const SceneLine& scene) {
    MutexLock lock(mutex_);
    Work& work = Renew(monitor, scene);
    // An older record is followed by a collection. Whether the scene is preread may turn out later.
    if (work.opened != nullptr && work.opened->State() == RecordState::UPTODATE && work.collection == nullptr) {
        work.collection = watchListener_.Take(scene.pid);
    }
}

void LinuxPages::Expect(int32_t pid) {
    MutexLock lock(mutex_);
    watchListener_.Expect(pid);
}

bool LinuxPages::IsUpToDate(const SceneLine& scene) {
    MutexLock lock(mutex_);
    const auto opened = Open(Find(scene));
    return opened != nullptr && opened->State() == RecordState::UPTODATE;
}

void LinuxPages::EndWork(int monitor, bool isWhole) {
    MutexLock lock(mutex_);
    Work* const work = WorkOf(monitor);
    if (work == nullptr) {
        return;
    }
    const bool isWatch = work->collection != nullptr && !work->isRecording;
    const CollectedPages collected = Finish(*work);
    if (isWatch && isWhole && work->wasPreread) {
        Compare(*work, collected);
        Known* const known = Find(work->scene);
        const bool isCurrent = known != nullptr && known->record.get() == &work->opened->Record();
        if (isCurrent && !known->record->isOlder) {
            Improve(work->scene, *known);
        }
    }
    works_.erase(monitor);
}

void LinuxPages::Compare(const Work& work, const CollectedPages& collected) {
    Known* const known = Find(work.scene);
    if (known != nullptr && work.wasPreread && work.opened != nullptr) {
        known->fit = CompareRecord(work.opened->Record(), collected, machine_.finder, machine_.view);
    }
}

void LinuxPages::Improve(const SceneLine& scene, const Known& known) {
    PageRecord better = *known.record;
    if (known.fit->IsPoor()) {
        better.isOlder = true;
    } else if (known.fit->IsToBeExtended()) {
        better = ExtendRecord(std::move(better), known.fit->missing);
    } else {
        return;
    }
    if (const int error = Store(scene, std::move(better)); error != 0) {
        Note("cannot keep what became of the record of " + scene.scene + ": " + std::strerror(error));
    }
}

void LinuxPages::ClearRecord(const std::string& scene) {
    MutexLock lock(mutex_);
    records_.erase(scene);
}

std::vector<std::pair<std::string, int>> LinuxPages::BackUp() {
    MutexLock lock(mutex_);
    std::vector<std::pair<std::string, int>> failures;
    for (const auto& [scene, known] : records_) {
        if (const int error = SavePageRecord(known.path, *known.record); error != 0) {
            failures.emplace_back(scene, error);
        }
    }
    return failures;
}

void LinuxPages::Preread(const SceneLine& scene, std::function<void(const PrereadResult&)> done) {
    std::shared_ptr<const OpenedRecord> opened;
    PrereadResult result{0, PrereadResult::NO_READ};
    {
        MutexLock lock(mutex_);
        for (auto& [monitor, work] : works_) {
            if (work.scene.scene == scene.scene && work.opened != nullptr) {
                opened = work.opened;
            }
        }
        std::erase_if(prereads_, [](const std::future<void>& one) {
            return one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        // Where only additions to the page cache are told of, what is in it already would not be collected again.
        const bool wouldHide = machine_.events.HasAdditions() && !machine_.events.HasDemands();
        if (opened != nullptr && opened->State() == RecordState::OLDER && wouldHide) {
            result.failure = "";
        } else if (opened != nullptr && StartReading(opened, done)) {
            for (auto& [monitor, work] : works_) {
                work.wasPreread = work.wasPreread || work.opened == opened;
            }
            return;
        }
    }
    done(result);
}

bool LinuxPages::StartReading(std::shared_ptr<const OpenedRecord> opened,
                              const std::function<void(const PrereadResult&)>& done) {
    // The files are closed when they have been read, not when the future goes.
    auto read = [this, opened = std::move(opened), done]() mutable {
        const std::shared_ptr<const OpenedRecord> record = std::move(opened);
        done(ReadRecordedPages(*record, machine_.view));
    };
    try {
        prereads_.push_back(std::async(std::launch::async, std::move(read)));
    } catch (const std::system_error& error) {
        Note(std::string("cannot preread: no thread: ") + error.what());
        return false;
    }
    return true;
}

void LinuxPages::FinishPrereads() {
    std::vector<std::future<void>> prereads;
    {
        MutexLock lock(mutex_);
        prereads.swap(prereads_);
    }
    for (const std::future<void>& one : prereads) {
        one.wait();
    }
}

std::vector<std::string> LinuxPages::Notes() {
    MutexLock lock(mutex_);
    return notes_;
}

std::shared_ptr<const PageRecord> LinuxPages::RecordOf(const std::string& scene) {
    MutexLock lock(mutex_);
    const auto known = records_.find(scene);
    return known == records_.end() ? nullptr : known->second.record;
}

std::optional<RecordFit> LinuxPages::FitOf(const std::string& scene) {
    MutexLock lock(mutex_);
    const auto known = records_.find(scene);
    return known == records_.end() ? std::nullopt : known->second.fit;
}

}  // namespace ZYRA::Host
